// SPDX-License-Identifier: MIT
// A line on a terminal that shows how far a long run is.
#pragma once

#include <chrono>
#include <cstddef>
#include <string_view>

/// Nothing is shown unless stderr is a terminal. Of one thread, which also writes the messages.
class ProgressLine {
  public:
    /// For `total` pieces of work.
    ProgressLine(std::size_t total, bool wanted);
    ~ProgressLine() { hide(); }
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    /// "37 of 200, 12.3/s, 13 s left: shot.0037.pic" after `done` of them, at most ten times a
    /// second.
    void show(std::size_t done, std::string_view file);
    /// Removes the line, if one is shown: before anything else is written to the terminal.
    static void hide();

  private:
    using Clock = std::chrono::steady_clock;

    std::size_t total_;
    bool wanted_;
    Clock::time_point begun_ = Clock::now();
    Clock::time_point next_{};

    inline static bool shown_ = false; ///< there is one line of a terminal
};
