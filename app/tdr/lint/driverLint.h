// SPDX-License-Identifier: MIT
// Checks a driver against what docs/writing-a-driver.md asks of it.
#pragma once

#include "output/outcome.h"
#include "pictures/driverSet.h"

#include <filesystem>
#include <string>
#include <vector>

/// The result of a run.
struct LintReport {
    std::vector<std::string> faults;
    std::vector<std::string> notes; ///< what was not checked, and why
};

/// Runs all checks, each with a new process of the driver. It writes and reads back a small
/// picture, and also reads `file` if that is not empty. Fails if the driver does not start or a
/// signal ends the run.
[[nodiscard]] Outcome<LintReport> lintDriver(const std::filesystem::path& program,
                                             const DriverOptions& options, const std::string& file);
