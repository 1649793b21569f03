// SPDX-License-Identifier: MIT
// The output of the command, which tolerates readers that stop early.
#pragma once

#include "outcome.h"

#include <new>
#include <string>
#include <string_view>
#include <utility>

/// Writes all of `text` to stdout. A reader that stops early (`tdr drivers | head -1`) is not a
/// failure and causes no SIGPIPE; any other error is reported once and gives `Failed`. Nothing is
/// written after either.
[[nodiscard]] ExitCode say(std::string_view text);

/// False when results would go nowhere: after a signal, after an error of stdout, and when its
/// reader has stopped.
[[nodiscard]] bool resultsAreWanted();

/// The same for commands whose exit status is a result too: a reader that stops early does not end
/// them, because the status speaks of all files.
[[nodiscard]] bool verdictIsWanted();

/// Writes one line "tdr: text" to stderr: a message for the user.
void warn(std::string_view text);

/// Writes the reason of a failure in the same way and returns its exit status.
[[nodiscard]] ExitCode fail(const Problem& problem);

/// While it exists, what this thread would write to stderr is collected instead.
class CollectedMessages {
  public:
    CollectedMessages();
    ~CollectedMessages();
    CollectedMessages(const CollectedMessages&) = delete;
    CollectedMessages& operator=(const CollectedMessages&) = delete;

    std::string take() { return std::exchange(lines_, {}); }

  private:
    std::string lines_;
};

/// Writes to stderr what was collected.
void showMessages(std::string_view lines);

/// The result of `work`; when out of memory, a problem of `file`.
template <typename Work>
[[nodiscard]] ExitCode withinMemory(const std::string& file, Work work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return fail({ExitCode::Failed, file + ": out of memory"});
    }
}

/// Writes a driver's own line to stderr.
void passOn(std::string_view driverLine);

/// `text` with control characters and invalid UTF-8 escaped ("\x1b"): for texts from outside.
[[nodiscard]] std::string printable(std::string_view text);
