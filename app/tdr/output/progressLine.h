// SPDX-License-Identifier: MIT
// A line on a terminal that shows how far a long run is.
#pragma once

#include <chrono>
#include <cstddef>
#include <string_view>

/// Nothing is shown unless stderr is a terminal.
class ProgressLine {
  public:
    /// For `total` pieces of work.
    ProgressLine(std::size_t total, bool wanted);
    ~ProgressLine() { clear(); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// "37 of 200, 12.3/s, 13 s left: shot.0037.pic" after `done` of them, at most ten times a
    /// second.
    void show(std::size_t done, std::string_view file);
    /// Removes the line, before anything else is written to stderr.
    void clear();

  private:
    using Clock = std::chrono::steady_clock;

    std::size_t total_;
    bool wanted_;
    bool shown_ = false;
    Clock::time_point begun_ = Clock::now();
    Clock::time_point next_{};
};
