// SPDX-License-Identifier: MIT
// How a subcommand can end.
#pragma once

#include "tdr/result.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>

/// Exit status of the command; each has one meaning.
enum class ExitCode : int {
    Done = 0,
    Failed = 1,       ///< a file or an option's value is the reason
    Usage = 2,        ///< the command line is
    DriverFailed = 3, ///< a driver could not be started, died or did not answer
    NotCompared = 4,  ///< of a comparison, where 1 says that there is a difference
};

/// The worse one of two: a dead driver outweighs a file that failed.
[[nodiscard]] constexpr ExitCode worse(ExitCode a, ExitCode b) {
    return a < b ? b : a;
}

/// Why something was not done: what the user is told, and the exit status for it.
struct Problem {
    ExitCode code = ExitCode::Failed;
    std::string text;
};

/// A value, or why there is none.
template <typename T>
class [[nodiscard]] Outcome {
  public:
    // NOLINTNEXTLINE(google-explicit-constructor)
    Outcome(T value) : value_(std::move(value)) {}
    // NOLINTNEXTLINE(google-explicit-constructor)
    Outcome(Problem problem) : problem_(std::move(problem)) {}

    explicit operator bool() const { return value_.has_value(); }
    T& operator*() { return *value_; }
    const T& operator*() const { return *value_; }
    T* operator->() { return &*value_; }
    const T* operator->() const { return &*value_; }
    [[nodiscard]] const Problem& problem() const { return problem_; }

  private:
    std::optional<T> value_;
    Problem problem_;
};

/// The exit status that goes with a failed call of the host library.
[[nodiscard]] ExitCode exitCodeOf(tdr::FailureKind kind);

/// "softimageFilter: get vendor name: refused: ...": the driver is the subject itself.
[[nodiscard]] Problem problemWith(const tdr::Failure& failure);

/// "a.pic: softimageFilter: get line: refused: ..."; without the first name where the driver's own
/// reason has it.
[[nodiscard]] Problem problemWith(std::string_view file, const tdr::Failure& failure);

/// "a.pic: No such file or directory" from an errno value.
[[nodiscard]] Problem problemWith(std::string_view file, int error);
