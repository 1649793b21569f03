// SPDX-License-Identifier: MIT
// The chunks of a PNG file that are not its pixels: read without the pixels, and put into another
// file without touching its own. Nothing here decodes anything.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// Most bytes of chunks that are kept of one file, all together: room for colour profiles and long
/// texts, and no room for what a hostile file would like to have kept.
inline constexpr std::size_t kKeptChunkBytes = std::size_t{2} << 20;

struct PngChunk {
    std::string name; ///< four letters
    std::string data;
};

struct PngChunks {
    int sampleBits = 8; ///< 1 to 16
    /// Those that mean the same in another PNG with the same pixels, in their order.
    std::vector<PngChunk> kept;
    /// Names of the others: bound to the way in which this file stores its pixels, damaged, or too
    /// large.
    std::vector<std::string> left;
    int error = 0; ///< errno when the file could not be read, and so may hold more
};

/// The chunks of the PNG that `fd` is open on; none when it is not a PNG. A file that is cut has
/// those that it has. What cannot be read could be a PNG.
[[nodiscard]] std::optional<PngChunks> readPngChunks(int fd);

/// Puts `chunks` behind the header of the PNG that `fd` is open on for reading and writing. The
/// bytes that follow move on as they stand. 0, or the errno of what failed; the file is then
/// useless.
[[nodiscard]] int insertPngChunks(int fd, std::span<const PngChunk> chunks);
