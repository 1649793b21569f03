// SPDX-License-Identifier: MIT
// Writing scanlines: encoded into one buffer, which goes to the stream for each, or in pieces.
#include "picture/coders/tinyPictureCoders.h"
#include "tinyPictureLine.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <utility>

struct PictureWriter {
    std::FILE* stream;
    std::int64_t position;                 ///< after all that is encoded
    int error;                             ///< errno of the first failed write
    std::size_t piece;                     ///< see `pictureWriterCollect`; 0 if it was not called
    std::unique_ptr<std::uint8_t[]> bytes; ///< encoded scanlines
    std::size_t used;                      ///< bytes that are not written yet
    std::size_t capacity;
    std::unique_ptr<std::uint64_t[]> pairs; ///< scratch of the coders
    std::unique_ptr<std::uint8_t[]> zeros;  ///< a line for channels missing from the record
    int width;                              ///< line width of the two above
};

namespace {

/// Maximum size of one scanline.
std::size_t scanlineRoom(std::size_t width, const ChannelPacket* chain) {
    std::size_t room = 0;
    for (; chain != nullptr; chain = chain->next) {
        room += encodedRoom(width, static_cast<std::size_t>(PacketChannels(chain->channels).count));
    }
    return room;
}

/// Makes room for `size` bytes, keeping those that are used. False when out of memory.
bool grow(PictureWriter* writer, std::size_t size) {
    std::unique_ptr<std::uint8_t[]> larger(new (std::nothrow) std::uint8_t[size]);
    if (larger == nullptr) {
        return false;
    }
    std::copy_n(writer->bytes.get(), writer->used, larger.get());
    writer->bytes = std::move(larger);
    writer->capacity = size;
    return true;
}

/// Makes the writer's buffers large enough for a scanline. False when out of memory.
bool reserve(PictureWriter* writer, int width, const ChannelPacket* chain) {
    const auto pixels = static_cast<std::size_t>(width);
    const std::size_t room = scanlineRoom(pixels, chain);
    if (writer->used + room > writer->capacity &&
        !grow(writer, std::max(writer->piece, writer->used) + room)) {
        return false;
    }
    if (writer->pairs == nullptr || width > writer->width) {
        writer->pairs.reset(new (std::nothrow) std::uint64_t[pairWords(pixels)]);
        writer->zeros.reset();
        writer->width = width;
    }
    return writer->bytes != nullptr && writer->pairs != nullptr;
}

/// The lines to encode; a missing channel is a line of zeros. False when out of memory.
bool linesOf(PictureWriter* writer, const Picture* record, const PacketChannels& channels,
             const std::uint8_t** lines) {
    for (int i = 0; i < channels.count; ++i) {
        lines[i] = record->linePointers[channels.channel[i]];
        if (lines[i] == nullptr && writer->zeros == nullptr) {
            const auto size = static_cast<std::size_t>(writer->width) + 1;
            writer->zeros.reset(new (std::nothrow) std::uint8_t[size]());
            if (writer->zeros == nullptr) {
                return false;
            }
        }
        lines[i] = lines[i] != nullptr ? lines[i] : writer->zeros.get();
    }
    return true;
}

/// Encodes one scanline behind the used bytes. Returns its end, or null when out of memory.
std::uint8_t* encodeScanline(PictureWriter* writer, Picture* record, const ChannelPacket* chain) {
    const int width = std::max<int>(record->width, 0);
    std::uint8_t* to = reserve(writer, width, chain) ? &writer->bytes[writer->used] : nullptr;
    const CoderTable* coders = codersInUse();
    for (const ChannelPacket* packet = chain; packet != nullptr; packet = packet->next) {
        const PacketChannels channels(packet->channels);
        const int encoding = packetEncoding(packet);
        const std::uint8_t* lines[kPictureChannels] = {};
        if (to != nullptr && channels.count > 0 && encoding < kEncodings) {
            to = linesOf(writer, record, channels, lines)
                     ? coders->write[encoding][channels.count - 1](width, lines, to,
                                                                   writer->pairs.get())
                     : nullptr;
        }
    }
    advanceLines(record, chain);
    return to;
}

/// Writes the first `size` of the used bytes.
int writeUsed(PictureWriter* writer, std::size_t size) {
    if (size == 0) {
        return 1;
    }
    errno = 0;
    if (std::fwrite(writer->bytes.get(), 1, size, writer->stream) != size) {
        writer->error = errno != 0 ? errno : EIO;
        return 0;
    }
    writer->used -= size;
    std::copy_n(&writer->bytes[size], writer->used, writer->bytes.get());
    return 1;
}

/// The part of the used bytes that makes whole pieces.
std::size_t wholePieces(const PictureWriter* writer) {
    const auto end = static_cast<std::size_t>(writer->position);
    const std::size_t left = writer->piece == 0 ? 0 : end % writer->piece;
    return writer->used > left ? writer->used - left : 0;
}

} // namespace

PictureWriter* pictureWriterAllocate(std::FILE* stream) {
    std::unique_ptr<PictureWriter> writer(new (std::nothrow) PictureWriter{});
    if (writer == nullptr || !streamPosition(stream, &writer->position)) {
        return nullptr;
    }
    writer->stream = stream;
    return writer.release();
}

void pictureWriterDispose(PictureWriter** writer) {
    if (writer != nullptr) {
        delete *writer;
        *writer = nullptr;
    }
}

int pictureWriterScanline(PictureWriter* writer, Picture* record, const ChannelPacket* chain) {
    if (chain == nullptr || writer->error != 0) {
        advanceLines(record, chain);
        return writer->error == 0 ? 1 : 0;
    }
    const std::uint8_t* end = encodeScanline(writer, record, chain);
    if (writer->error != 0) {
        return 0;
    }
    if (end == nullptr) {
        writer->error = ENOMEM;
        return 0;
    }
    const std::uint8_t* const begin = &writer->bytes[writer->used];
    writer->used += static_cast<std::size_t>(end - begin);
    writer->position += end - begin;
    return writeUsed(writer, wholePieces(writer));
}

void pictureWriterCollect(PictureWriter* writer, std::size_t piece) {
    writer->piece = piece;
}

int pictureWriterFlush(PictureWriter* writer) {
    return writer->error == 0 ? writeUsed(writer, writer->used) : 0;
}

std::int64_t pictureWriterPosition(const PictureWriter* writer) {
    return writer->position;
}

int pictureWriterError(const PictureWriter* writer) {
    return writer->error;
}

int pictureWriteScanline(std::FILE* stream, Picture* record, const ChannelPacket* chain) {
    PictureWriter writer{};
    writer.stream = stream;
    pictureWriterScanline(&writer, record, chain);
    return 1;
}
