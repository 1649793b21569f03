// SPDX-License-Identifier: MIT
// What every module of the file toolkit shares: the versions it knows and where its messages go.
#pragma once

#include <cstdint>
#include <cstdio>

/// The toolkit's file versions, oldest first.
inline constexpr float kVersionTable[] = {2.0F, 2.1F, 2.5F, 2.6F};

/// Index into `kVersionTable` of the version that this toolkit writes (2.6).
inline constexpr std::int32_t VERSION = 3;

/// The newest file version that this toolkit understands.
inline constexpr float RELEASE_NUMBER = 2.6F;

/// Where the toolkit's messages go, and whether they are printed at all.
struct OptionRecord {
    std::int32_t level; ///< messages are printed only when this is 1
    std::FILE* stream;  ///< the stream they go to; owned by whoever set it
};

/// The process-wide message settings: level 1 and standard error until somebody changes them.
extern OptionRecord option;

/// Puts `option` back to level 1 and standard error. For tests, which share a process.
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
