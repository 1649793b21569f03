// SPDX-License-Identifier: MIT
// The header of a PIC file: the common header, the picture header and the chain of channel packets.
#include "tinyPicture.h"

#include "base/byteOrder.h"
#include "base/uniqueFile.h"
#include "file/tinyFileName.h"
#include "picture/coders/tinyPictureCoders.h"
#include "tinyFile.h"
#include "tinyPictureLine.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

namespace {

constexpr std::string_view kEnding = ".pic";
constexpr std::uint32_t kTypePicture = typeWord("PICT");
constexpr std::size_t kPictureHeaderSize = 12; ///< width, height, ratio, fields, padding
constexpr std::size_t kPacketSize = 4;         ///< chained, size, type, channels
constexpr std::uint8_t kBitsPerChannel = 8;

using UniqueChain = std::unique_ptr<ChannelPacket, ChannelPacketDisposer>;

bool sizeIsGood(const char* name, const Picture& record) {
    if (record.width > 0 && record.height > 0) {
        return true;
    }
    // A number above 32767 reads as negative; print it unsigned.
    optionPrint("tinyPicture: '%s' is %d pixels wide and %d high: must be 1 to 32767.\n", name,
                static_cast<std::uint16_t>(record.width),
                static_cast<std::uint16_t>(record.height));
    return false;
}

void sayUnreadable(const char* name, int error) {
    optionPrint("tinyPicture: '%s' could not be read: %s.\n", name, std::strerror(error));
}

/// The chain of a picture without one: red, green and blue, then alpha if there is any.
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

/// Reads exactly `size` bytes of the part of a file that `where` names, or reports why not.
bool readBytes(std::FILE* stream, const char* name, const char* where, std::uint8_t* bytes,
               std::size_t size) {
    if (std::fread(bytes, 1, size, stream) == size) {
        return true;
    }
    if (std::ferror(stream) != 0) {
        sayUnreadable(name, errno);
    } else {
        optionPrint("tinyPicture: '%s' ends inside its %s.\n", name, where);
    }
    return false;
}

bool readPictureHeader(std::FILE* stream, const char* name, Picture* record) {
    std::uint8_t bytes[kPictureHeaderSize];
    if (!readBytes(stream, name, "header", bytes, sizeof bytes)) {
        return false;
    }
    record->width = base::loadBeS16(bytes);
    record->height = base::loadBeS16(bytes + 2);
    record->ratio = base::loadBeFloat(bytes + 4);
    record->fields = base::loadBeS16(bytes + 8);
    return sizeIsGood(name, *record);
}

/// Reads the chain: at most as many packets as there are channels, so that it ends.
UniqueChain readChain(std::FILE* stream, const char* name) {
    UniqueChain chain;
    ChannelPacket* last = nullptr;
    std::uint8_t bytes[kPacketSize] = {1};
    for (int count = 0; bytes[0] != 0; ++count) {
        if (count == kPictureChannels) {
            optionPrint("tinyPicture: '%s' has more channel packets than channels.\n", name);
            return nullptr;
        }
        if (!readBytes(stream, name, "channel packets", bytes, sizeof bytes)) {
            return nullptr;
        }
        if (bytes[1] != kBitsPerChannel) {
            optionPrint("tinyPicture: '%s' stores %d bits per channel: must be 8.\n", name,
                        bytes[1]);
            return nullptr;
        }
        ChannelPacket* packet = channelPacketAllocate();
        if (packet == nullptr) {
            sayUnreadable(name, ENOMEM);
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

int channelPacketIsDecodable(const ChannelPacket* chain) {
    while (chain != nullptr && packetEncoding(chain) < kEncodings) {
        chain = chain->next;
    }
    return chain == nullptr ? 1 : 0;
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
    if (stream != nullptr && pictureReadHeader(stream.get(), name, record, chain) != 1) {
        stream.reset();
        errno = 0;
    }
    return stream.release();
}

int pictureReadHeader(std::FILE* stream, const char* name, Picture* record, ChannelPacket** chain) {
    *chain = nullptr;
    const std::uint32_t type = headerReadBinary(stream, nullptr, nullptr);
    if (type == 0 && std::ferror(stream) != 0) {
        sayUnreadable(name, errno);
        return -1;
    }
    if (type != kTypePicture) {
        return 0;
    }
    if (readPictureHeader(stream, name, record)) {
        *chain = readChain(stream, name).release();
    }
    return *chain != nullptr ? 1 : -1;
}
