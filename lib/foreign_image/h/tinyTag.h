// SPDX-License-Identifier: MIT
// TAG mattes: pictures of one bit per pixel in one or more channels, each row a sequence of 16-bit
// code words (docs/picture-format.md).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

/// A matte. `channels[c][r]` is row r (0 = top) of channel c: pixel x is bit 7 - (x mod 8) of byte
/// x / 8. A row is allocated when it is first changed: a null row is a row of zeros, and so is
/// every row of a record without tables.
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

/// A new zeroed record with ratio 1.0, or null when out of memory.
[[nodiscard]] Tag* tagAllocate();

/// Allocates the channel table and its row tables, but no rows. Existing tables are kept. Returns
/// 1, or 0 (nothing allocated) when channel count, height or width is 0 or negative, or when out of
/// memory.
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

/// The same row for changing: allocated and zeroed by the first call. Null when `channel` or `row`
/// is out of range, or when out of memory.
[[nodiscard]] std::uint8_t* tagTakeRow(Tag* record, int channel, int row);

/// Frees row `row` of every channel, which is then all zero. For readers that need one scanline at
/// a time: all rows of a large matte would not fit in memory.
void tagDropRow(Tag* record, int row);

/// Creates the file `name` (".tag" is appended unless it ends so) and writes the header.
/// Returns the stream, which the caller closes, positioned at the first scanline; or null when the
/// file could not be opened (errno says why) or a size is out of range (with a message; no file is
/// touched, errno is EINVAL). A failed write shows in `ferror` or at close.
[[nodiscard]] std::FILE* tagWriteFileHeader(const char* name, const Tag* record);

/// Opens the file `name` (".tag" is appended unless it ends so) and fills sizes, ratio and fields
/// of the record. Channels are not allocated. Returns the stream, which the caller closes,
/// positioned at the first scanline; or null. errno then says why the file could not be opened. It
/// is 0 when the file was opened but is not a TAG (no message), cannot be read, ends inside the
/// header, has a width or height outside 1 to 32767 or a channel count outside 1 to 253 (each with
/// a message).
[[nodiscard]] std::FILE* tagReadFileHeader(const char* name, Tag* record);

/// As `tagReadFileHeader` of a file that is open: `stream` is at its beginning, `name` is for
/// messages. Returns 1, with the stream at the first scanline; 0 when it is not a TAG (no message);
/// -1 when it is refused or cannot be read (with a message).
[[nodiscard]] int tagReadHeader(std::FILE* stream, const char* name, Tag* record);

/// Appends row `row` of every channel as one scanline. Returns the channel count, or 0 when `row`
/// is out of range. A failed write shows in `ferror(stream)`.
int tagWriteScanline(std::FILE* stream, const Tag* record, int row);

/// Reads one scanline into row `row` of every channel, and allocates missing tables and rows.
/// Missing pixels of a cut scanline are zero; the end-of-file indicator of the stream is set
/// exactly when something was missing. A row without any data in the file is not allocated. The
/// stream is left exactly after the scanline. Returns the channel count, or 0 when `row` is out of
/// range, the stream cannot be read (`ferror` is set), or when out of memory; errno tells the last
/// two apart.
int tagReadScanline(std::FILE* stream, Tag* record, int row);

/// Reads one scanline only to tell how it is coded. Returns 1 if a literal in it is 14 zero pixels
/// and the row goes on behind them, where `tagWriteScanline` writes a run; 0 if not, with the
/// stream after the scanline, or if the file ends before.
[[nodiscard]] int tagScanlineHasZeroLiteral(std::FILE* stream, const Tag* record);

/// Writes a whole matte and closes the file. Returns 1, or 0 when the file could not be opened. A
/// failed write prints a message with the system's reason.
int tagWriteFile(const char* name, const Tag* record);

/// Largest sum of the rows of a matte that `tagReadFile` reads: 512 MiB.
inline constexpr std::size_t kMaxWholeTagBytes = std::size_t{512} << 20;

/// Reads a whole matte and closes the file. Returns a record that the caller disposes of, or null
/// when the header is refused, all rows would exceed kMaxWholeTagBytes or the file cannot be read
/// (each with a message). Missing pixels of a cut file are zero, and a message reports it; rows
/// without data are null, so that claimed sizes take no memory.
[[nodiscard]] Tag* tagReadFile(const char* name);
