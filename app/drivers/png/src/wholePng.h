// SPDX-License-Identifier: MIT
// Whole PNG pictures in memory, with libdeflate, which takes less than half of zlib's time. Only
// for what most files are; everything else is libpng's work, and so is saying what is wrong with a
// file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>

namespace png_filter {

/// The largest file and the most pixels in bytes that are kept in memory.
inline constexpr std::size_t kMostWholeBytes = std::size_t{64} << 20;

struct WholeShape {
    int width = 0;
    int height = 0;
};

/// Decodes a file of RGB or RGBA pixels of 8 bits, neither interlaced nor with a transparent
/// colour, into host lines, the bottom line first (width × 4 × height bytes). False for other
/// kinds, other sizes, and for every file with a fault, however small, even one that libpng does
/// not mind: then `lines` is unchanged. Changes `file`.
[[nodiscard]] bool readWholePng(std::span<std::uint8_t> file, WholeShape shape,
                                std::uint8_t* lines);

/// Encodes such lines as RGBA and writes everything after the file's IHDR to `stream`: 0, or errno.
/// None, and nothing is written, when they are too many or memory is short.
[[nodiscard]] std::optional<int> writeWholePng(std::FILE* stream, WholeShape shape,
                                               const std::uint8_t* lines);

} // namespace png_filter
