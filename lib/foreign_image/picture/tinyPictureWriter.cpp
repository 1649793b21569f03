// SPDX-License-Identifier: MIT
// Writing scanlines: encoded into one buffer, one write to the stream for each.
#include "picture/coders/tinyPictureCoders.h"
#include "tinyPictureLine.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>

struct PictureWriter {
    std::FILE* stream;
    std::int64_t position;
    int error;                             ///< errno of the first failed write
    std::unique_ptr<std::uint8_t[]> bytes; ///< one encoded scanline
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

/// Makes the writer's buffers large enough for a scanline. False when out of memory.
bool reserve(PictureWriter* writer, int width, const ChannelPacket* chain) {
    const auto pixels = static_cast<std::size_t>(width);
    const std::size_t room = scanlineRoom(pixels, chain);
    if (room > writer->capacity) {
        writer->bytes.reset(new (std::nothrow) std::uint8_t[room]);
        writer->capacity = writer->bytes != nullptr ? room : 0;
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

/// Encodes one scanline into the writer's buffer. Returns its end, or null when out of memory.
std::uint8_t* encodeScanline(PictureWriter* writer, Picture* record, const ChannelPacket* chain) {
    const int width = std::max<int>(record->width, 0);
    std::uint8_t* to = reserve(writer, width, chain) ? writer->bytes.get() : nullptr;
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
    if (chain == nullptr) {
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
    const auto size = static_cast<std::size_t>(end - writer->bytes.get());
    errno = 0;
    if (std::fwrite(writer->bytes.get(), 1, size, writer->stream) != size) {
        writer->error = errno != 0 ? errno : EIO;
        return 0;
    }
    writer->position += static_cast<std::int64_t>(size);
    return 1;
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
