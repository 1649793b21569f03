// SPDX-License-Identifier: MIT
// PIC pictures: a header, a chain of channel packets that defines how the channels are stored, and
// one encoded record per scanline, top scanline first (docs/picture-format.md).
//
// A whole picture is read and written with `pictureReadFile` and `pictureWriteFile`. Line by line:
// read or write the header, set the record's line pointers, then one call per scanline. To read or
// write more than a few lines, use a PictureReader or PictureWriter. They keep their buffers and
// report damage and failed writes; `pictureReadScanline` and `pictureWriteScanline` need no object.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>

/// The channels of a picture, in the order in which a pixel stores them and in which every array of
/// four below is indexed.
enum PictureChannel : std::uint8_t { kRed, kGreen, kBlue, kAlpha };
inline constexpr int kPictureChannels = 4;

/// The bit of each channel in a packet's mask.
inline constexpr std::uint8_t kChannelMasks[kPictureChannels] = {0x80, 0x40, 0x20, 0x10};
inline constexpr std::uint8_t kMaskRgb = 0xE0;
inline constexpr std::uint8_t kMaskAlpha = 0x10;
inline constexpr std::uint8_t kMaskRgba = 0xF0;

/// The encodings: the low four bits of a packet's type.
enum PictureEncoding : std::uint8_t { kEncodingRaw = 0, kEncodingPure = 1, kEncodingMixed = 2 };

/// A picture, or only the header of one that is read or written line by line.
struct Picture {
    std::int16_t width;  ///< pixels per scanline, 1 to 32767
    std::int16_t height; ///< number of scanlines, 1 to 32767
    float ratio;         ///< pixel aspect ratio
    std::int16_t fields; ///< field code; 3 is a full frame
    /// Whole channels, `width` x `height` bytes each, top row first; null when there is none.
    /// Owned by the record (malloc).
    std::uint8_t* planes[kPictureChannels];
    std::uint32_t reserved[4];
    /// Source or destination of the next scanline of each channel: `width` bytes each, owned by the
    /// caller, advanced by `width` after each scanline. A channel whose pointer is null is skipped
    /// when reading and written as zeros.
    std::uint8_t* linePointers[kPictureChannels];
    std::uint32_t reservedToo[4];
};

/// One packet of the chain: a group of channels that are stored together.
struct ChannelPacket {
    std::uint8_t size;     ///< bits per channel: 8
    std::uint8_t type;     ///< low four bits: PictureEncoding
    std::uint8_t channels; ///< mask of kChannelMasks
    ChannelPacket* next;   ///< following packet, null at the end
};

/// A new zeroed record with ratio 1.0, or null when out of memory.
[[nodiscard]] Picture* pictureAllocate();

/// Frees the planes and the record. Always 1. The caller's pointer is *not* set to null. Accepts a
/// pointer that is null.
int pictureDispose(Picture** record);

struct PictureDisposer {
    void operator()(Picture* record) const noexcept { pictureDispose(&record); }
};

/// A new zeroed packet without a successor, or null when out of memory. Pass to
/// `channelPacketDispose` as (part of) a chain.
[[nodiscard]] ChannelPacket* channelPacketAllocate();

/// A new chain of one packet for each of `masks`, in their order: 8 bits, mixed run-length. Null
/// when there is no mask or when out of memory (errno is ENOMEM).
[[nodiscard]] ChannelPacket* channelPacketAllocateChain(std::span<const std::uint8_t> masks);

/// 1 when every packet of the chain has an encoding that the scanline calls can decode (raw, pure
/// or mixed), else 0: they leave the channels of other packets unchanged.
[[nodiscard]] int channelPacketIsDecodable(const ChannelPacket* chain);

/// Frees every packet of the chain and sets the pointer to null. Accepts null.
void channelPacketDispose(ChannelPacket** chain);

struct ChannelPacketDisposer {
    void operator()(ChannelPacket* chain) const noexcept { channelPacketDispose(&chain); }
};

/// Creates the file `name` (".pic" is appended unless it ends so) and writes header and packets.
/// An empty chain is replaced by the default one, which the caller then owns: red, green and blue
/// mixed run-length, and a second packet for alpha when the record has an alpha plane.
/// Returns the stream, which the caller closes, positioned at the first scanline; or null when the
/// file could not be opened (errno says why) or the size is outside 1 to 32767 (with a message; no
/// file is touched, errno is EINVAL). A failed write shows in `ferror` or at close.
[[nodiscard]] std::FILE* pictureWriteFileHeader(const char* name, const Picture* record,
                                                ChannelPacket** chain);

/// Opens the file `name` (".pic" is appended unless it ends so), fills width, height, ratio and
/// fields of the record and stores its packets in `*chain`, which must be null before and which the
/// caller then owns. Masks and encodings are returned unchanged: the caller decides which ones it
/// supports. Several packets may name the same channel; the last one counts. Returns the stream,
/// which the caller closes, positioned at the first scanline; or null, with `*chain` null. errno
/// then says why the file could not be opened. It is 0 when the file was opened but is not a PIC
/// picture (no message), cannot be read, ends inside header or chain, has a size outside 1 to
/// 32767, more than four packets or a packet of other than 8 bits (each with a message).
[[nodiscard]] std::FILE* pictureReadFileHeader(const char* name, Picture* record,
                                               ChannelPacket** chain);

/// As `pictureReadFileHeader` of a file that is open: `stream` is at its beginning, `name` is for
/// messages. Returns 1, with the stream at the first scanline; or, with `*chain` null, 0 when it is
/// not a PIC picture (no message) and -1 when it is refused or cannot be read (with a message).
[[nodiscard]] int pictureReadHeader(std::FILE* stream, const char* name, Picture* record,
                                    ChannelPacket** chain);

/// Encodes one scanline from the record's line pointers and advances them. Always 1, also when
/// nothing is written because the chain is null; a failed write shows in `ferror(stream)`.
int pictureWriteScanline(std::FILE* stream, Picture* record, const ChannelPacket* chain);

/// Decodes one scanline to the record's line pointers and advances them. Leaves the stream exactly
/// after the scanline without ever seeking back. The missing part of a cut or damaged scanline is
/// zero; a read error shows in `ferror(stream)`. Always 1.
int pictureReadScanline(std::FILE* stream, Picture* record, const ChannelPacket* chain);

/// Largest sum of the planes of a picture that `pictureReadFile` reads: 512 MiB.
inline constexpr std::size_t kMaxWholePictureBytes = std::size_t{512} << 20;

/// Reads a whole picture and closes the file. Planes exist for the channels that the file names;
/// their memory is only reserved, and used only as far as the file fills it. Line pointers are null
/// in the result. Returns a record that the caller disposes of, or null when the header is refused,
/// the planes would exceed kMaxWholePictureBytes, the file cannot be read (each with a message) or
/// out of memory. Missing pixels of a cut or damaged file are zero, and a message reports it.
[[nodiscard]] Picture* pictureReadFile(const char* name);

/// Writes a whole picture from its planes, with the given chain or, when it is null, the default
/// one, and closes the file. Always 1, even when the file could not be opened; a failed write
/// prints a message with the system's reason. Line pointers are null afterwards.
int pictureWriteFile(const char* name, Picture* record, const ChannelPacket* chain);

// --- Line by line --------------------------------------------------------------------------------

/// Reads the scanlines of one open picture through its own window. While it exists the stream
/// belongs to it: the stream's position is undefined until `pictureReaderSync`. Positions here are
/// exact, between scanlines. Reads the same as `pictureReadScanline`.
struct PictureReader;

/// A reader that continues at the position of `stream`, or null when out of memory or when the
/// system does not report that position (errno); a stream that cannot seek starts at 0. The caller
/// keeps the stream, which must outlive the reader.
[[nodiscard]] PictureReader* pictureReaderAllocate(std::FILE* stream);

/// Releases the reader, not its stream, and sets the pointer to null. Accepts null.
void pictureReaderDispose(PictureReader** reader);

struct PictureReaderDisposer {
    void operator()(PictureReader* reader) const noexcept { pictureReaderDispose(&reader); }
};

/// As `pictureReadScanline`. Returns 1, or 0 when the scanline was cut or damaged or could not be
/// read; the rest of the scanline is then zero. A scanline that could not be read may be tried
/// again after `pictureReaderSeek` to its beginning.
int pictureReaderScanline(PictureReader* reader, Picture* record, const ChannelPacket* chain);

/// errno of the read, seek or allocation that made the scanline fail; 0 if it was cut or damaged.
[[nodiscard]] int pictureReaderError(const PictureReader* reader);

/// The file position of the next scanline.
[[nodiscard]] std::int64_t pictureReaderPosition(const PictureReader* reader);

/// Moves to a file position, without a system call inside the window. Returns 1, or 0 when the
/// stream cannot seek there; `pictureReaderError` then says why, and the next scanline tries again.
int pictureReaderSeek(PictureReader* reader, std::int64_t position);

/// Makes the file end at that position for the scanlines from now on, however long it is.
void pictureReaderEndAt(PictureReader* reader, std::int64_t position);

/// Moves the stream itself to the reader's position, for a caller that then uses the stream.
/// Returns 1, or 0 when the stream cannot seek.
int pictureReaderSync(PictureReader* reader);

/// Writes the scanlines of one open picture, with one write to the stream per scanline unless they
/// are collected.
struct PictureWriter;

/// A writer that appends at the position of `stream`, or null as for a reader. The caller keeps the
/// stream, which must outlive the writer.
[[nodiscard]] PictureWriter* pictureWriterAllocate(std::FILE* stream);

/// Releases the writer, not its stream, and sets the pointer to null. Accepts null.
void pictureWriterDispose(PictureWriter** writer);

struct PictureWriterDisposer {
    void operator()(PictureWriter* writer) const noexcept { pictureWriterDispose(&writer); }
};

/// As `pictureWriteScanline`. Returns 1, or 0 when this or an earlier write failed: after a failure
/// nothing more is written, and `pictureWriterError` says why. A stream is buffered, so a failure
/// may show lines later or when the stream is closed: check that too.
int pictureWriterScanline(PictureWriter* writer, Picture* record, const ChannelPacket* chain);

/// Collects scanlines from now on, and writes them in pieces that end where the file position is a
/// multiple of `piece` (at least 1). The system stores a file that is written in large, aligned
/// pieces so that it is read faster; a small buffer of the stream would spoil them. The last ones
/// need `pictureWriterFlush`.
void pictureWriterCollect(PictureWriter* writer, std::size_t piece);

/// Writes what is collected. Returns 1, or 0 when this or an earlier write failed.
[[nodiscard]] int pictureWriterFlush(PictureWriter* writer);

/// The file position after the last scanline written.
[[nodiscard]] std::int64_t pictureWriterPosition(const PictureWriter* writer);

/// errno of the first write that failed, 0 when none did.
[[nodiscard]] int pictureWriterError(const PictureWriter* writer);
