// SPDX-License-Identifier: MIT
// Reading scanlines: packet by packet through a window over the stream.
#include "base/prefetch.h"
#include "picture/coders/tinyPictureCoders.h"
#include "tinyPictureLine.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>

struct PictureReader {
    StreamWindow window;
    std::unique_ptr<std::uint8_t[]> bytes;
    std::unique_ptr<std::uint8_t[]> discarded; ///< a line for channels without a destination
    const std::uint8_t* expected;              ///< the next line, if the lines are in planes
};

namespace {

/// Large enough that the time of system calls does not matter, small enough to stay in the
/// second-level cache of most processors.
constexpr std::size_t kWindowSize = std::size_t{256} << 10;

StreamWindow windowOver(std::FILE* stream, std::uint8_t* bytes, std::size_t capacity) {
    return {.stream = stream,
            .bytes = bytes,
            .capacity = capacity,
            .at = bytes,
            .end = bytes,
            .endPosition = 0,
            .exact = false,
            .ended = false,
            .misplaced = false,
            .error = 0};
}

using Line = std::unique_ptr<std::uint8_t[]>;

/// The lines to decode to; `discarded` for a channel without one. False when out of memory.
bool linesOf(const Picture* record, const PacketChannels& channels, Line* discarded,
             std::uint8_t** lines) {
    for (int i = 0; i < channels.count; ++i) {
        lines[i] = record->linePointers[channels.channel[i]];
        if (lines[i] == nullptr && *discarded == nullptr) {
            discarded->reset(new (std::nothrow) std::uint8_t[INT16_MAX]);
            if (*discarded == nullptr) {
                return false;
            }
        }
        lines[i] = lines[i] != nullptr ? lines[i] : discarded->get();
    }
    return true;
}

/// The line of the first channel that has one.
const std::uint8_t* firstLine(const Picture* record) {
    const auto* const end = std::end(record->linePointers);
    const auto* const found =
        std::find_if(std::begin(record->linePointers), end,
                     [](const std::uint8_t* line) { return line != nullptr; });
    return found != end ? *found : nullptr;
}

/// Prefetches the next lines in their planes. Hardware prefetching does not keep up with four
/// planes at once: the processor would wait for every line before it is overwritten.
void fetchNextLines(const Picture* record) {
    for (const std::uint8_t* line : record->linePointers) {
        if (line != nullptr) {
            base::prefetch<base::Use::Write>(line, record->width,
                                             static_cast<std::size_t>(record->width));
        }
    }
}

/// Decodes one scanline. Returns false when a part of it was missing, damaged or could not be read:
/// then the window's `error` says why. If two packets name a channel, the later one counts.
bool readScanline(StreamWindow* window, Line* discarded, Picture* record,
                  const ChannelPacket* chain) {
    const CoderTable* coders = codersInUse();
    const int width = std::max<int>(record->width, 0);
    bool whole = true;
    for (const ChannelPacket* packet = chain; packet != nullptr; packet = packet->next) {
        const PacketChannels channels(packet->channels);
        const int encoding = packetEncoding(packet);
        // Kept: A packet of an unknown encoding decodes nothing and consumes nothing.
        // A reader would expect an error. Instead the lines of its channels are unchanged, and the
        // next packet begins at the same place.
        if (channels.count > 0 && encoding < kEncodings) {
            std::uint8_t* lines[kPictureChannels] = {};
            if (!linesOf(record, channels, discarded, lines)) {
                window->error = ENOMEM;
                whole = false;
                break;
            }
            whole = coders->read[encoding][channels.count - 1](window, width, lines) && whole;
        }
    }
    advanceLines(record, chain);
    return whole;
}

} // namespace

int pictureReadScanline(std::FILE* stream, Picture* record, const ChannelPacket* chain) {
    if (chain == nullptr) {
        return 1;
    }
    std::uint8_t bytes[kMinWindow + kWindowSlack];
    StreamWindow window = windowOver(stream, bytes, kMinWindow);
    window.exact = true;
    Line discarded;
    flockfile(stream);
    readScanline(&window, &discarded, record, chain);
    funlockfile(stream);
    return 1;
}

PictureReader* pictureReaderAllocate(std::FILE* stream) {
    std::unique_ptr<PictureReader> reader(new (std::nothrow) PictureReader{});
    if (reader == nullptr) {
        return nullptr;
    }
    reader->bytes.reset(new (std::nothrow) std::uint8_t[kWindowSize + kWindowSlack]);
    if (reader->bytes == nullptr) {
        return nullptr;
    }
    reader->window = windowOver(stream, reader->bytes.get(), kWindowSize);
    return streamPosition(stream, &reader->window.endPosition) ? reader.release() : nullptr;
}

void pictureReaderDispose(PictureReader** reader) {
    if (reader != nullptr) {
        delete *reader;
        *reader = nullptr;
    }
}

int pictureReaderScanline(PictureReader* reader, Picture* record, const ChannelPacket* chain) {
    const std::uint8_t* line = firstLine(record);
    if (line != nullptr && line == reader->expected) {
        fetchNextLines(record);
    }
    windowResume(&reader->window);
    const bool whole = readScanline(&reader->window, &reader->discarded, record, chain);
    reader->expected = firstLine(record);
    return whole ? 1 : 0;
}

int pictureReaderError(const PictureReader* reader) {
    return reader->window.error;
}

std::int64_t pictureReaderPosition(const PictureReader* reader) {
    return windowPosition(&reader->window);
}

int pictureReaderSeek(PictureReader* reader, std::int64_t position) {
    return windowSeek(&reader->window, position) ? 1 : 0;
}

void pictureReaderEndAt(PictureReader* reader, std::int64_t position) {
    reader->window.last = position;
}

int pictureReaderSync(PictureReader* reader) {
    const std::int64_t position = windowPosition(&reader->window);
    return fseeko(reader->window.stream, position, SEEK_SET) == 0 ? 1 : 0;
}
