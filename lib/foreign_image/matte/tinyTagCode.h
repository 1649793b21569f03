// SPDX-License-Identifier: MIT
// Rows of a matte as code words. Inner to the module.
//
// The top two bits of a word say what it is, n being the other fourteen:
//   00 literal: the next 14 pixels (or what is left of the row) are its bits 13, 12, ...
//   01 stream: n pixels follow in words of their own, 16 in each, top bit first
//   10 / 11 run: n pixels of 0 / of 1
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

inline constexpr int kTagLiteralPixels = 14;
inline constexpr int kTagMaxRun = 0x3FFF;

/// Bytes that one encoded row needs at most.
[[nodiscard]] constexpr std::size_t tagEncodedRoom(int width) {
    return 2 * (static_cast<std::size_t>(width) / kTagLiteralPixels + 1);
}

/// Encodes `width` pixels of `row` (null for a row of zeros) to `to`. Returns the end of what was
/// written.
std::uint8_t* tagEncodeRow(const std::uint8_t* row, int width, std::uint8_t* to);

/// Reads the words of one row, the first of which is `word`, and sets the pixels that are 1 in
/// `row`, which is zero before and has at least two bytes behind the last pixel's. False when the
/// file ended before the row did.
bool tagDecodeRow(std::FILE* stream, unsigned word, std::uint8_t* row, int width);

/// The next word of the stream; nothing (false) when the file ends before it does.
bool tagReadWord(std::FILE* stream, unsigned* word);
