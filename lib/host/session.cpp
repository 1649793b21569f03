// SPDX-License-Identifier: MIT
#include "tdr/session.h"

#include "driverProcess.h"

#include <utility>

namespace tdr {

Session::Session(std::unique_ptr<DriverProcess> process) : process_(std::move(process)) {}
Session::Session(Session&&) noexcept = default;
Session& Session::operator=(Session&&) noexcept = default;
Session::~Session() = default;

Result<Session> Session::start(const std::filesystem::path& program, StartOptions options) {
    return withoutThrowing([&]() -> Result<Session> {
        auto process = DriverProcess::start(program, std::move(options));
        if (!process) {
            return process.failure();
        }
        return Session(std::move(*process));
    });
}

const std::filesystem::path& Session::program() const {
    return process_->program();
}

pid_t Session::pid() const {
    return process_->pid();
}

bool Session::alive() const {
    return process_->alive();
}

const std::string& Session::lastLine() const {
    return process_->lastLine();
}

const std::string& Session::damage() const {
    return process_->damage();
}

void Session::setDeadline(std::optional<std::chrono::steady_clock::time_point> deadline) {
    process_->setDeadline(deadline);
}

void Session::kill() {
    process_->kill();
}

void Session::dismiss() {
    // end() handles a failure
    [[maybe_unused]] const Status sent = process_->attempt([this] { return process_->dismiss(); });
}

Result<DriverEnd> Session::end() {
    return process_->attempt([this] { return process_->end(); });
}

} // namespace tdr
