// SPDX-License-Identifier: MIT
#include "tdr/driver.h"

#include "driverProcess.h"

#include <utility>

namespace tdr {

Driver::Driver(std::unique_ptr<DriverProcess> process) : process_(std::move(process)) {}
Driver::Driver(Driver&&) noexcept = default;
Driver& Driver::operator=(Driver&&) noexcept = default;
Driver::~Driver() = default;

Result<Driver> Driver::start(const std::filesystem::path& program, StartOptions options) {
    return withoutThrowing([&]() -> Result<Driver> {
        auto process = DriverProcess::start(program, std::move(options));
        if (!process) {
            return process.failure();
        }
        return Driver(std::move(*process));
    });
}

const std::filesystem::path& Driver::program() const {
    return process_->program();
}

pid_t Driver::pid() const {
    return process_->pid();
}

bool Driver::alive() const {
    return process_->alive();
}

const std::string& Driver::lastLine() const {
    return process_->lastLine();
}

const std::string& Driver::damage() const {
    return process_->damage();
}

void Driver::kill() {
    process_->kill();
}

void Driver::dismiss() {
    // end() handles a failure
    [[maybe_unused]] const Status sent = process_->attempt([this] { return process_->dismiss(); });
}

Result<DriverEnd> Driver::end() {
    return process_->attempt([this] { return process_->end(); });
}

} // namespace tdr
