// SPDX-License-Identifier: MIT
// What the command says, and how it survives readers that go away.
#pragma once

#include "outcome.h"

#include <new>
#include <string>
#include <string_view>

/// Writes `text` to stdout, all of it. A reader that has seen enough (`tdr drivers | head -1`) is
/// no failure, and no SIGPIPE gets through; any other trouble is reported and gives `Failed`.
[[nodiscard]] ExitCode say(std::string_view text);

/// Writes one line "tdr: text" to stderr.
void complain(std::string_view text);

/// Complains and hands back the problem's exit status.
[[nodiscard]] ExitCode complain(const Problem& problem);

/// What `work` gives; when it runs out of memory, that is reported as what became of `file`.
template <typename Work>
[[nodiscard]] ExitCode withinMemory(const std::string& file, Work work) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return complain(Problem{ExitCode::Failed, file + ": out of memory"});
    }
}

/// Writes a driver's own line to stderr.
void passOn(std::string_view driverLine);

/// `text` with control characters and broken bytes made visible ("\x1b"): for texts from outside.
[[nodiscard]] std::string printable(std::string_view text);
