// SPDX-License-Identifier: MIT
// The head of a file, read or written: its kind, size and channels.
#include "TDR_SoftimageFilter.h"

#include "pixelOrder.h"

#include <cstdio>
#include <new>

using namespace softimage;

namespace {

constexpr std::int16_t kFullFrame = 3; ///< field code of every file written
constexpr std::uint8_t kBitsPerChannel = 8;

/// A packet for `channels` in the mixed encoding, in front of `next`, which it takes over; null
/// when memory ran out.
ChannelPacket* makePacket(std::uint8_t channels, ChannelPacket* next = nullptr) {
    ChannelPacket* packet = channelPacketAllocate();
    if (packet == nullptr) {
        channelPacketDispose(&next);
        return nullptr;
    }
    packet->size = kBitsPerChannel;
    packet->type = kEncodingMixed;
    packet->channels = channels;
    packet->next = next;
    return packet;
}

/// The chain in which a picture of `format` is written; null for a format that has none.
ChannelPacket* makeChain(int format) {
    switch (format) {
    case kFormatRgba:
        return makePacket(kMaskRgb, makePacket(kMaskAlpha));
    case kFormatRgb:
        return makePacket(kMaskRgb);
    case kFormatAlpha:
        return makePacket(kMaskAlpha);
    default:
        return nullptr;
    }
}

} // namespace

bool TDR_SoftimageFilter::checkBounds(const char* name) {
    if (base::isPictureSide(width()) && base::isPictureSide(height())) {
        return true;
    }
    std::fprintf(stderr, "%s: Unable to create file '%s' - Size %ld x %ld is outside 1 to %d.\n",
                 me, name, width(), height(), base::kMaxPictureSide);
    return false;
}

// --- Writing -------------------------------------------------------------------------------------

int TDR_SoftimageFilter::createFileHeader(char* name) {
    if (!checkBounds(name)) {
        return -1;
    }
    return currentFormat == kFormatTag ? createTag(name) : createPicture(name);
}

int TDR_SoftimageFilter::createTag(char* name) {
    tag.reset(tagAllocate());
    if (!tag) {
        return -1;
    }
    tag->width = static_cast<std::int16_t>(width());
    tag->height = static_cast<std::int16_t>(height());
    tag->ratio = 1.0F;
    tag->fields = kFullFrame;
    tag->channelCount = tagChannelCount;
    setupChannelPackets(kFormatTag);
    file.reset(tagWriteFileHeader(name, tag.get()));
    if (!file) {
        tag.reset();
        return -1;
    }
    return 0;
}

int TDR_SoftimageFilter::createPicture(char* name) {
    picture.reset(pictureAllocate());
    if (!picture) {
        return -1;
    }
    picture->width = static_cast<std::int16_t>(width());
    picture->height = static_cast<std::int16_t>(height());
    picture->ratio = 1.0F;
    picture->fields = kFullFrame;
    setupChannelPackets(currentFormat);
    // Kept: A picture written before a pixel format was set is black.
    // A reader would expect the format to be refused or taken as RGBA. Until the host sets one the
    // format is -1: it has no chain, so that the toolkit supplies red, green and blue, and no pixel
    // layout, so that nothing is moved from the host's lines. Hosts rely on setting a format first.
    ChannelPacket* chain = packets.release();
    file.reset(pictureWriteFileHeader(name, picture.get(), &chain));
    packets.reset(chain);
    if (!file) {
        picture.reset();
        return -1;
    }
    if (!createTempBuffers()) {
        cleanup();
        return -1;
    }
    return 0;
}

void TDR_SoftimageFilter::setupChannelPackets(int format) {
    packets.reset();
    if (format != kFormatTag) {
        packets.reset(makeChain(format));
    } else if (tag) {
        tagAllocateChannels(tag.get());
    }
}

// --- Reading -------------------------------------------------------------------------------------

int TDR_SoftimageFilter::connectToFileHeader(char* name) {
    if (readPictureHeader(name)) {
        return takeChannelsOfPackets(name) ? 0 : -1;
    }
    if (!readTagHeader(name)) {
        return -1;
    }
    bounds[2] = tag->width;
    bounds[3] = tag->height;
    currentFormat = kFormatTag;
    tagChannelCount = tag->channelCount;
    setupChannelPackets(kFormatTag);
    return 0;
}

bool TDR_SoftimageFilter::readPictureHeader(char* name) {
    picture.reset(pictureAllocate());
    if (!picture) {
        return false;
    }
    ChannelPacket* chain = nullptr;
    file.reset(pictureReadFileHeader(name, picture.get(), &chain));
    packets.reset(chain);
    if (!file) {
        picture.reset();
    }
    return file != nullptr;
}

bool TDR_SoftimageFilter::readTagHeader(char* name) {
    tag.reset(tagAllocate());
    if (!tag) {
        return false;
    }
    file.reset(tagReadFileHeader(name, tag.get()));
    if (!file) {
        tag.reset();
    }
    return file != nullptr;
}

bool TDR_SoftimageFilter::takeChannelsOfPackets(const char* name) {
    bounds[2] = picture->width;
    bounds[3] = picture->height;
    bool colourSeen = false;
    for (const ChannelPacket* packet = packets.get(); packet != nullptr; packet = packet->next) {
        if (packet->channels == kMaskRgba) {
            currentFormat = kFormatRgba;
        } else if (packet->channels == kMaskRgb) {
            currentFormat = kFormatRgb;
            colourSeen = true;
        } else if (packet->channels == kMaskAlpha) {
            currentFormat = colourSeen ? kFormatRgba : kFormatAlpha;
        } else {
            // Kept: A picture with unsupported channels stays open after the refusal.
            // A reader would expect a failed connect to leave nothing behind. Record and stream
            // stay until the next connect or disconnect, which closes the file (with the post-write
            // command), and format and size cannot be changed until then; no line can be read.
            // Hosts rely on disconnecting after it.
            std::fprintf(stderr, "%s: Unable to open file '%s' - Unsupported pixel format.\n", me,
                         name);
            return false;
        }
    }
    if (!createTempBuffers()) {
        cleanup();
        return false;
    }
    currentFormat = kFormatRgba;
    return true;
}

// --- Both ----------------------------------------------------------------------------------------

bool TDR_SoftimageFilter::createTempBuffers() {
    for (auto& buffer : channelBuffers) {
        buffer.reset();
    }
    for (const ChannelPacket* packet = packets.get(); packet != nullptr; packet = packet->next) {
        for (std::size_t i = 0; i < channelBuffers.size(); ++i) {
            const std::size_t channel = kPictureChannels - 1 - i;
            if ((packet->channels & kChannelMasks[channel]) != 0 && !channelBuffers[i]) {
                channelBuffers[i].reset(new (std::nothrow)
                                            std::uint8_t[static_cast<std::size_t>(width())]{});
                if (!channelBuffers[i]) {
                    return false;
                }
            }
        }
    }
    return true;
}
