// SPDX-License-Identifier: MIT
// The outcomes of a subcommand.
#pragma once

#include "tdr/result.h"

#include <cstdint>
#include <string>
#include <string_view>

/// Exit status of the command; each has one meaning.
enum class ExitCode : int {
    Done = 0,
    Failed = 1,       ///< because of a file or an option's value
    Usage = 2,        ///< because of the command line
    DriverFailed = 3, ///< a driver could not be started, died or did not answer
    NotCompared = 4,  ///< of a comparison, where 1 means a difference
};

/// The worse one of two: a dead driver outweighs a file that failed.
[[nodiscard]] constexpr ExitCode worse(ExitCode a, ExitCode b) {
    return a < b ? b : a;
}

/// What is wrong with a file, for programs.
enum class Cause : std::uint8_t {
    Failed, ///< none of the others
    Missing,
    Empty,
    NotAFile,   ///< a folder, a pipe, a device
    Unreadable, ///< the system refuses
    Damaged,    ///< of a known kind, but cut or with impossible values
    WrongKind,  ///< of no known kind
    Driver,     ///< a driver could not be started, died or did not answer
    NoMemory,
    Exists, ///< already, and is not to be replaced
};

/// The cause as one word: "wrongKind".
[[nodiscard]] const char* wordOf(Cause cause);

/// A failure: the message for the user, and the exit status.
struct Problem {
    ExitCode code = ExitCode::Failed;
    std::string text;
    Cause cause = Cause::Failed;
};

/// A value (or success without a value, for `void`), or the problem.
template <typename T>
using Outcome = tdr::Result<T, Problem>;

/// The exit status for a failed call of the host library.
[[nodiscard]] ExitCode exitCodeOf(tdr::FailureKind kind);

/// "softimageFilter: get vendor name: refused: ...": the driver is the subject itself.
[[nodiscard]] Problem problemWith(const tdr::Failure& failure);

/// "a.png: IHDR: CRC error (pngFilter)": the driver's own reason, or "a.pic: get line: no answer
/// within 2 s (softimageFilter)".
[[nodiscard]] Problem problemWith(std::string_view file, const tdr::Failure& failure);

/// "a.pic: ..." from a problem without its file's name.
[[nodiscard]] Problem problemWith(std::string_view file, const Problem& problem);

/// "a.pic: No such file or directory" from an errno value.
[[nodiscard]] Problem problemWith(std::string_view file, int error);
