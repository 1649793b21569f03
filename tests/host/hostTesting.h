// SPDX-License-Identifier: MIT
// Shared by the tests of the host library: drivers by behaviour, and counters of leaks.
#pragma once

#include "support/leakCounters.h"
#include "support/processState.h"
#include "support/tempDir.h"
#include "tdr/session.h"

#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>

namespace tdr {

/// Prints a kind in a failed comparison.
inline void PrintTo(FailureKind kind, std::ostream* out) {
    *out << nameOf(kind);
}

} // namespace tdr

namespace testing_host {

using namespace std::chrono_literals;

/// Checks that every test leaves as many descriptors, children and segments as before.
class NothingLeft : public ::testing::Test {
  protected:
    void SetUp() override {
        descriptors_ = support::openDescriptors();
        segments_ = support::segmentsOf();
    }
    void TearDown() override {
        EXPECT_EQ(support::openDescriptors(), descriptors_);
        EXPECT_EQ(support::segmentsOf(), segments_);
        EXPECT_FALSE(support::hasChildren());
    }

    /// Path of a scripted driver that behaves like this.
    std::filesystem::path scripted(const std::string& behaviour) {
        std::filesystem::path link = folder_.path() / behaviour;
        if (!std::filesystem::exists(std::filesystem::symlink_status(link))) {
            std::filesystem::create_symlink(TDR_SCRIPTED_DRIVER, link);
        }
        return link;
    }

    tdr::Result<tdr::Session> start(const std::string& behaviour, tdr::StartOptions options = {}) {
        return tdr::Session::start(scripted(behaviour), std::move(options));
    }

    /// Path of a driver of this project.
    static std::filesystem::path real(const std::string& driver) {
        return std::filesystem::path(TDR_BIN_DIR) / driver;
    }

    [[nodiscard]] const support::TempDir& folder() const { return folder_; }

    /// Limits for drivers that will be late: short for a fast test, but long enough for a start on
    /// a busy machine.
    static tdr::StartOptions impatient() {
        tdr::StartOptions options;
        options.limits.request = 300ms;
        options.limits.end = 300ms;
        return options;
    }

  private:
    support::TempDir folder_;
    std::set<std::string> descriptors_;
    std::set<int> segments_;
};

/// False once the process has ended (even if it has not been waited for).
inline bool isRunning(pid_t pid) {
    return std::string_view(std::string{'\0', 'Z', 'X'}).find(support::stateOf(pid)) ==
           std::string_view::npos;
}

} // namespace testing_host
