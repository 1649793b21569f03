// SPDX-License-Identifier: MIT
// The head of a PIC file: the common header, the picture header and the chain of channel packets.
#include "tinyPicture.h"

#include "base/byteOrder.h"
#include "base/uniqueFile.h"
#include "tinyFile.h"
#include "tinyFileName.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace {

constexpr std::string_view kEnding = ".pic";
constexpr std::uint32_t kTypePicture = typeWord("PICT");
constexpr std::size_t kPictureHeaderSize = 12; ///< width, height, ratio, fields, padding
constexpr std::size_t kPacketSize = 4;         ///< chained, size, type, channels
constexpr std::uint8_t kBitsPerChannel = 8;

using Chain = std::unique_ptr<ChannelPacket, ChannelPacketDisposer>;

bool sizeIsGood(const char* name, const Picture& record) {
    if (record.width > 0 && record.height > 0) {
        return true;
    }
    // A number above 32767 reads as a negative one: show it as the file means it.
    optionPrint("tinyPicture: '%s' is %d pixels wide and %d high: must be 1 to 32767.\n", name,
                static_cast<std::uint16_t>(record.width),
                static_cast<std::uint16_t>(record.height));
    return false;
}

/// The chain of a picture that names none: red, green and blue, then alpha if there is any.
ChannelPacket* defaultChain(const Picture& record) {
    constexpr std::uint8_t kMasks[] = {kMaskRgb, kMaskAlpha};
    return channelPacketAllocateChain({kMasks, record.planes[kAlpha] != nullptr ? 2U : 1U});
}

void writePictureHeader(std::FILE* stream, const Picture& record) {
    std::uint8_t bytes[4 + kPictureHeaderSize] = {};
    base::storeBe32(bytes, kTypePicture);
    base::storeBeS16(bytes + 4, record.width);
    base::storeBeS16(bytes + 6, record.height);
    base::storeBeFloat(bytes + 8, record.ratio);
    base::storeBeS16(bytes + 12, record.fields);
    std::fwrite(bytes, 1, sizeof bytes, stream);
}

void writePacket(std::FILE* stream, const ChannelPacket& packet) {
    const std::uint8_t chained = packet.next != nullptr ? 1 : 0;
    const std::uint8_t bytes[kPacketSize] = {chained, packet.size, packet.type, packet.channels};
    std::fwrite(bytes, 1, sizeof bytes, stream);
}

bool readPictureHeader(std::FILE* stream, const char* name, Picture* record) {
    std::uint8_t bytes[kPictureHeaderSize];
    if (std::fread(bytes, 1, sizeof bytes, stream) != sizeof bytes) {
        optionPrint("tinyPicture: '%s' ends inside its header.\n", name);
        return false;
    }
    record->width = base::loadBeS16(bytes);
    record->height = base::loadBeS16(bytes + 2);
    record->ratio = base::loadBeFloat(bytes + 4);
    record->fields = base::loadBeS16(bytes + 8);
    return sizeIsGood(name, *record);
}

/// Reads the chain. Each channel belongs to one packet at most, so that there are no more packets
/// than channels and no line is stored twice.
Chain readChain(std::FILE* stream, const char* name) {
    Chain chain;
    ChannelPacket* last = nullptr;
    std::uint8_t bytes[kPacketSize] = {1};
    unsigned seen = 0;
    for (int count = 0; bytes[0] != 0; ++count) {
        if (count == kPictureChannels) {
            optionPrint("tinyPicture: '%s' has more channel packets than channels.\n", name);
            return nullptr;
        }
        if (std::fread(bytes, 1, sizeof bytes, stream) != sizeof bytes) {
            optionPrint("tinyPicture: '%s' ends inside its channel packets.\n", name);
            return nullptr;
        }
        if ((seen & bytes[3]) != 0) {
            optionPrint("tinyPicture: '%s' stores a channel twice.\n", name);
            return nullptr;
        }
        seen |= bytes[3];
        ChannelPacket* packet = channelPacketAllocate();
        if (packet == nullptr) {
            optionPrint("tinyPicture: '%s' could not be read: out of memory.\n", name);
            return nullptr;
        }
        packet->size = bytes[1];
        packet->type = bytes[2];
        packet->channels = bytes[3];
        if (last == nullptr) {
            chain.reset(packet);
        } else {
            last->next = packet;
        }
        last = packet;
    }
    return chain;
}

} // namespace

ChannelPacket* channelPacketAllocate() {
    return static_cast<ChannelPacket*>(std::calloc(1, sizeof(ChannelPacket)));
}

ChannelPacket* channelPacketAllocateChain(std::span<const std::uint8_t> masks) {
    ChannelPacket* chain = nullptr;
    ChannelPacket** end = &chain;
    for (const std::uint8_t mask : masks) {
        *end = channelPacketAllocate();
        if (*end == nullptr) {
            channelPacketDispose(&chain);
            return nullptr;
        }
        (*end)->size = kBitsPerChannel;
        (*end)->type = kEncodingMixed;
        (*end)->channels = mask;
        end = &(*end)->next;
    }
    return chain;
}

void channelPacketDispose(ChannelPacket** chain) {
    while (chain != nullptr && *chain != nullptr) {
        ChannelPacket* packet = *chain;
        *chain = packet->next;
        std::free(packet);
    }
}

std::FILE* pictureWriteFileHeader(const char* name, const Picture* record, ChannelPacket** chain) {
    if (!sizeIsGood(name, *record)) {
        errno = EINVAL;
        return nullptr;
    }
    if (*chain == nullptr) {
        *chain = defaultChain(*record);
    }
    std::FILE* stream = *chain != nullptr ? fileOpen(name, kEnding, 'w').release() : nullptr;
    if (stream == nullptr) {
        return nullptr;
    }
    headerWriteBinary(stream, nullptr);
    writePictureHeader(stream, *record);
    for (const ChannelPacket* packet = *chain; packet != nullptr; packet = packet->next) {
        writePacket(stream, *packet);
    }
    return stream;
}

std::FILE* pictureReadFileHeader(const char* name, Picture* record, ChannelPacket** chain) {
    *chain = nullptr;
    base::UniqueFile stream = fileOpen(name, kEnding, 'r');
    if (stream == nullptr || headerReadBinary(stream.get(), nullptr, nullptr) != kTypePicture ||
        !readPictureHeader(stream.get(), name, record)) {
        return nullptr;
    }
    *chain = readChain(stream.get(), name).release();
    return *chain != nullptr ? stream.release() : nullptr;
}
