// SPDX-License-Identifier: MIT
// Rows of a matte as code words. Inner to the module.
//
// The top two bits of a word give its kind; n is the number in the other fourteen:
//   00 literal: the next 14 pixels (or the rest of the row) are its bits 13, 12, ...
//   01 stream: n pixels in the following words, 16 in each, top bit first
//   10 / 11 run: n pixels of 0 / of 1
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

inline constexpr int kTagLiteralPixels = 14;
inline constexpr int kTagMaxRun = 0x3FFF;

/// Maximum size of one encoded row.
[[nodiscard]] constexpr std::size_t tagEncodedRoom(int width) {
    return 2 * (static_cast<std::size_t>(width) / kTagLiteralPixels + 1);
}

/// Encodes `width` pixels of `row` (null for a row of zeros; else two bytes after the last pixel's
/// must be readable) to `to`. Returns the end of the written bytes.
std::uint8_t* tagEncodeRow(const std::uint8_t* row, int width, std::uint8_t* to);

/// Reads the words of one row, beginning with `word`, and sets the pixels that are 1 in `row`,
/// which must be zero and have at least two bytes after the last pixel's. False when the file ended
/// before the row did.
bool tagDecodeRow(std::FILE* stream, unsigned word, std::uint8_t* row, int width);

/// Reads the words of one row up to a literal of 14 zero pixels behind which the row goes on; false
/// if it has none: the encoder writes a run instead.
bool tagFindZeroLiteral(std::FILE* stream, int width);

/// Reads the next word of the stream; false when the file ends before it does.
bool tagReadWord(std::FILE* stream, unsigned* word);
