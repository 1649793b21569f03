// SPDX-License-Identifier: MIT
// The six scanline coders, and the forms of them that this machine can run. Inner to the module.
//
// A pixel is the bytes of one packet's channels in the order red, green, blue, alpha. Every coder
// gets one line of `width` bytes per channel, in that order, and never accesses a byte outside of
// them.
#pragma once

#include "picture/tinyPictureWindow.h"

#include <cstddef>
#include <cstdint>
#include <span>

inline constexpr int kEncodings = 3;   ///< raw, pure, mixed: index of a coder in its table
inline constexpr int kMaxChannels = 4; ///< channels of a packet

/// Decodes one line from the window. Returns false when the file ended before the line did or a
/// packet overran it; the line is then zero from there on.
using ChannelsReader = bool (*)(StreamWindow* window, int width, std::uint8_t* const* lines);

/// Encodes one line to `to`, which has room for `encodedRoom` bytes, and returns the end of what
/// was written. `pairs` is scratch memory of `pairWords(width)` words.
using ChannelsWriter = std::uint8_t* (*)(int width, const std::uint8_t* const* lines,
                                         std::uint8_t* to, std::uint64_t* pairs);

/// One form of the coders: [encoding][channels - 1].
struct CoderTable {
    const char* name;
    ChannelsReader read[kEncodings][kMaxChannels];
    ChannelsWriter write[kEncodings][kMaxChannels];
};

/// The forms that this machine can run: plain C++ first, the fastest last. All give the same
/// result.
[[nodiscard]] std::span<const CoderTable* const> coderTables();

/// The form in use: the fastest one until another is chosen (null chooses the fastest again).
[[nodiscard]] const CoderTable* codersInUse();
void codersUse(const CoderTable* table);

/// Maximum size of one encoded line: a lone pixel takes its bytes and one more, and vector stores
/// write slightly past the end.
[[nodiscard]] constexpr std::size_t encodedRoom(std::size_t width, std::size_t channels) {
    return 2 * width * channels + 64;
}

/// Words of the bit set of a line's pixels that equal their right neighbour, followed by zeros as
/// far as a search for the end of a literal may read.
[[nodiscard]] constexpr std::size_t pairWords(std::size_t width) {
    return width / 64 + 4;
}
