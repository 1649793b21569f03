// SPDX-License-Identifier: MIT
// What stderr shows of a run over many files besides what is wrong with them.
#pragma once

#include "console.h"
#include "progressLine.h"
#include "tdr/interruptGuard.h"

#include <chrono>
#include <cstddef>
#include <string>

/// The options -q and -v.
struct Talk {
    bool quiet = false;   ///< no progress
    bool verbose = false; ///< the time that each file takes
};

class FileRun {
  public:
    FileRun(std::size_t files, const Talk& talk)
        : verbose_(talk.verbose), progress_(files, files > 1 && !talk.quiet) {}

    /// The result of `work`, which is about `file`; when out of memory, a problem of the file.
    /// After a signal nothing more is done.
    template <typename Work>
    [[nodiscard]] ExitCode workOn(const std::string& file, Work work) {
        if (tdr::InterruptGuard::signal() != 0) {
            return ExitCode::Failed;
        }
        progress_.show(done_++, file);
        const auto begun = Clock::now();
        const ExitCode exit = withinMemory(file, work);
        if (verbose_) {
            tellTime(file, std::chrono::duration<double>(Clock::now() - begun).count());
        }
        return exit;
    }

  private:
    using Clock = std::chrono::steady_clock;
    static void tellTime(const std::string& file, double seconds);

    bool verbose_;
    ProgressLine progress_;
    std::size_t done_ = 0;
};
