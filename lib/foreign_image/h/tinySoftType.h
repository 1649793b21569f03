// SPDX-License-Identifier: MIT
// Shared by every module of the file toolkit: the file versions and the destination of messages.
#pragma once

#include <cstdint>
#include <cstdio>

/// The toolkit's file versions, oldest first.
inline constexpr float kVersionTable[] = {2.0F, 2.1F, 2.5F, 2.6F};

/// Index into `kVersionTable` of the version that this toolkit writes (2.6).
inline constexpr std::int32_t VERSION = 3;

/// The newest file version that this toolkit understands.
inline constexpr float RELEASE_NUMBER = 2.6F;

/// The destination of the toolkit's messages, and whether they are printed.
struct OptionRecord {
    std::int32_t level; ///< messages are printed only when this is 1
    std::FILE* stream;  ///< where they are printed; owned by the code that set it
};

/// The process-wide message settings. The defaults are level 1 and standard error.
extern OptionRecord option;

/// Resets `option` to level 1 and standard error. For tests, which share a process.
void optionReset();

/// Prints one message, formatted as `printf` does, on `option.stream` when `option.level` is 1.
/// The text ends with its own newline and reaches an unbuffered stream in one write.
[[gnu::format(printf, 1, 2)]] void optionPrint(const char* format, ...);

/// The four letters of a file's type word as the number that `headerReadBinary` returns.
[[nodiscard]] constexpr std::uint32_t typeWord(const char (&letters)[5]) {
    std::uint32_t word = 0;
    for (int i = 0; i < 4; ++i) {
        word = (word << 8) | static_cast<std::uint8_t>(letters[i]);
    }
    return word;
}
