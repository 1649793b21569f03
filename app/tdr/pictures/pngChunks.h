// SPDX-License-Identifier: MIT
// The chunks of a PNG file except its pixels: read without the pixels, and inserted into another
// file without changing its own. Nothing is decoded here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// Maximum total size of the chunks kept from one file: room for colour profiles and long texts,
/// but a limit for hostile files.
inline constexpr std::size_t kKeptChunkBytes = std::size_t{2} << 20;

struct PngChunk {
    std::string name; ///< four letters
    std::string data;
};

struct PngChunks {
    int sampleBits = 8; ///< 1 to 16
    /// Those that keep their meaning in another PNG with the same pixels, in their order.
    std::vector<PngChunk> kept;
    /// Names of the others, which depend on how this file stores its pixels, are damaged or too
    /// large.
    std::vector<std::string> left;
    int error = 0; ///< errno if the file could not be read and so may have more chunks
};

/// The chunks of the PNG that `fd` is open on; nullopt when it is not a PNG. A cut file gives the
/// chunks before the cut. An unreadable file counts as a PNG.
[[nodiscard]] std::optional<PngChunks> readPngChunks(int fd);

struct PngDamage {
    std::string what; ///< "the checksum of tEXt is wrong"; empty for bytes after the end
    std::int64_t byte;
};

/// Finds the first damage that decoding the pixels does not show: in the other chunks of the PNG
/// that `fd` is open on, or after its end. None if it is not a PNG. 0, or errno if it cannot be
/// read.
[[nodiscard]] int findPngDamage(int fd, std::optional<PngDamage>& damage);

/// Inserts `chunks` after the header of the PNG that `fd` is open on for reading and writing, and
/// moves the following bytes. 0, or errno; the file is then useless.
[[nodiscard]] int insertPngChunks(int fd, std::span<const PngChunk> chunks);
