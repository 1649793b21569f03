// SPDX-License-Identifier: MIT
// TAG mattes: pictures of one bit per pixel in one or more channels, each row a sequence of 16-bit
// code words (docs/picture-format.md).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

/// A matte. `channels[c][r]` is row r (0 = top) of channel c: pixel x is bit 7 - (x mod 8) of byte
/// x / 8. Rows are taken when they are first touched: a null row is a row of zeros, and so is every
/// row of a record whose tables have not been allocated yet.
struct Tag {
    std::int16_t width;        ///< pixels per row, 1 to 32767
    std::int16_t height;       ///< rows, 1 to 32767
    float ratio;               ///< pixel aspect ratio
    std::int16_t fields;       ///< field code; 3 is a full frame
    std::int16_t channelCount; ///< matte channels, 1 to 253
    /// `channelCount` tables of `height` pointers to rows of `tagRowSize` bytes; owned by the
    /// record. Do not change the sizes above while it exists.
    std::uint8_t*** channels;
};

/// A new zeroed record with ratio 1.0, or null when memory ran out.
[[nodiscard]] Tag* tagAllocate();

/// Allocates the channel table and its row tables; the rows follow when they are touched. Tables
/// that exist already are kept. Returns 1, or 0 (nothing allocated) when channel count, height or
/// width is 0 or negative, or memory ran out.
int tagAllocateChannels(Tag* record);

/// Frees rows, tables and record, and sets the pointer to null. Always 1. Accepts null.
int tagDispose(Tag** record);

struct TagDisposer {
    void operator()(Tag* record) const noexcept { tagDispose(&record); }
};

/// Bytes that are allocated for one row.
[[nodiscard]] std::size_t tagRowSize(const Tag* record);

/// Row `row` of channel `channel`, or null when it is all zero, or does not exist.
[[nodiscard]] const std::uint8_t* tagRow(const Tag* record, int channel, int row);

/// The same row for changing: taken, zeroed, at the first call. Null when `channel` or `row` is out
/// of range or memory ran out.
[[nodiscard]] std::uint8_t* tagTakeRow(Tag* record, int channel, int row);

/// Gives back the memory of row `row` of every channel, which is all zero then: for readers that
/// need one scanline at a time, since the rows of a large matte would not fit any memory.
void tagDropRow(Tag* record, int row);

/// Creates the file `name` (".tag" is appended unless it ends so) and writes the header.
/// Returns the stream, which the caller closes, positioned at the first scanline; or null when the
/// file could not be opened (errno says why) or a size is out of range (a message says so, no file
/// is touched, errno is EINVAL). A failed write shows in `ferror` or at close.
[[nodiscard]] std::FILE* tagWriteFileHeader(const char* name, const Tag* record);

/// Opens the file `name` (".tag" is appended unless it ends so) and fills sizes, ratio and fields
/// of the record. Channels are not allocated. Returns the stream, which the caller closes,
/// positioned at the first scanline; or null. errno then says why the file could not be opened. It
/// is 0 when the file was opened, but is no TAG (no message), cannot be read, ends inside the
/// header, has a width or height outside 1 to 32767 or a channel count outside 1 to 253 (each with
/// a message).
[[nodiscard]] std::FILE* tagReadFileHeader(const char* name, Tag* record);

/// Appends row `row` of every channel as one scanline. Returns the channel count, or 0 when `row`
/// is out of range. A failed write shows in `ferror(stream)`.
int tagWriteScanline(std::FILE* stream, const Tag* record, int row);

/// Reads one scanline into row `row` of every channel, allocating tables and rows that do not exist
/// yet. What a cut scanline lacks is zero; the end-of-file indicator of the stream is set exactly
/// when something was missing. A row of which the file holds nothing is not taken. The stream is
/// left exactly after the scanline. Returns the channel count, or 0 when `row` is out of range, the
/// stream cannot be read (`ferror` is set) or memory ran out; errno says which of the latter.
int tagReadScanline(std::FILE* stream, Tag* record, int row);

/// Writes a whole matte and closes the file. Returns 1, or 0 when the file could not be opened. A
/// failed write prints a message with the system's reason.
int tagWriteFile(const char* name, const Tag* record);

/// Largest sum of the rows of a matte that `tagReadFile` reads: 512 MiB.
inline constexpr std::size_t kMaxWholeTagBytes = std::size_t{512} << 20;

/// Reads a whole matte and closes the file. Returns a record that the caller disposes of, or null
/// when the header is refused, all rows would exceed kMaxWholeTagBytes or the file cannot be read
/// (each with a message). What a cut file lacks reads as zero, and a message says so; rows of which
/// it holds nothing are null, so that a claim costs nothing.
[[nodiscard]] Tag* tagReadFile(const char* name);
