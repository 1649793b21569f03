// SPDX-License-Identifier: MIT
// Shared by the tests of the host library: drivers by behaviour, and counters of leaks.
#pragma once

#include "support/leakCounters.h"
#include "support/processState.h"
#include "support/tempDir.h"
#include "tdr/session.h"

#include <stdexcept>

namespace tdr {

/// Prints a kind in a failed comparison.
inline void PrintTo(FailureKind kind, std::ostream* out) {
    *out << nameOf(kind);
}

} // namespace tdr

namespace testing_host {

using namespace std::chrono_literals;
using namespace tdr;

class HostTest : public support::NothingLeft {
  protected:
    /// Path of a scripted driver that behaves like this.
    std::filesystem::path scripted(const std::string& behaviour) {
        return linkTo(TDR_SCRIPTED_DRIVER, behaviour);
    }
    /// Path of the manual's driver with this flaw.
    std::filesystem::path flawed(const std::string& flaw) {
        return linkTo(TDR_FLAWED_DRIVER, flaw);
    }
    /// Path of a driver of this project.
    static std::filesystem::path real(const std::string& driver) {
        return std::filesystem::path(TDR_BIN_DIR) / driver;
    }

    /// A session that starts; otherwise the test ends here.
    static Result<Session> mustStart(const std::filesystem::path& driver,
                                     StartOptions options = {}) {
        auto session = Session::start(driver, std::move(options));
        if (!session) {
            throw std::runtime_error(session.failure().text());
        }
        return session;
    }
    Result<Session> start(const std::string& behaviour, StartOptions options = {}) {
        return mustStart(scripted(behaviour), std::move(options));
    }

    [[nodiscard]] const support::TempDir& folder() const { return folder_; }

  private:
    std::filesystem::path linkTo(const char* program, const std::string& name) {
        std::filesystem::path link = folder_.path() / name;
        std::error_code isThere;
        std::filesystem::create_symlink(program, link, isThere);
        return link;
    }

    support::TempDir folder_;
};

/// False once the process has ended (even if it has not been waited for).
inline bool isRunning(pid_t pid) {
    return std::string_view(std::string{'\0', 'Z', 'X'}).find(support::stateOf(pid)) ==
           std::string_view::npos;
}

} // namespace testing_host
