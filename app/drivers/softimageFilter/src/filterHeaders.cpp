// SPDX-License-Identifier: MIT
// The header of a file, read or written: its kind, size and channels.
#include "TDR_SoftimageFilter.h"

#include "base/diagnostics.h"
#include "pixelOrder.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <span>

using namespace softimage;

namespace {

constexpr std::int16_t kFullFrame = 3; ///< field code of every file written

/// The masks of the packets of a written picture of `format`; none for a format without packets.
std::span<const std::uint8_t> masksOf(int format) {
    static constexpr std::uint8_t kMasks[] = {kMaskRgb, kMaskAlpha};
    static constexpr struct {
        int format;
        std::span<const std::uint8_t> masks;
    } kRows[] = {
        {kFormatRgba, kMasks},
        {kFormatRgb, {kMasks, 1}},
        {kFormatAlpha, {kMasks + 1, 1}},
    };
    for (const auto& row : kRows) {
        if (row.format == format) {
            return row.masks;
        }
    }
    return {};
}

/// Whether a header's reader found no file of the name, or has already reported the failure (0).
bool isAbsent(int error) {
    return error == 0 || error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG;
}

} // namespace

int TDR_SoftimageFilter::refuse(const char* action, const char* name, int systemError) {
    base::say("%s: Unable to %s file '%s' - %s.\n", me, action, name,
              systemError == ESPIPE ? "A pipe cannot give a line again"
                                    : std::strerror(systemError));
    cleanup();
    return -1;
}

bool TDR_SoftimageFilter::checkBounds(const char* name) {
    if (base::isPictureSide(width()) && base::isPictureSide(height())) {
        return true;
    }
    base::say("%s: Unable to create file '%s' - Size %ld x %ld is outside 1 to %d.\n", me, name,
              width(), height(), base::kMaxPictureSide);
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
        return refuse("create", name, ENOMEM);
    }
    tag->width = static_cast<std::int16_t>(width());
    tag->height = static_cast<std::int16_t>(height());
    tag->ratio = 1.0F;
    tag->fields = kFullFrame;
    tag->channelCount = tagChannelCount;
    setupChannelPackets(kFormatTag);
    if (tag->channels == nullptr) {
        return refuse("create", name, ENOMEM);
    }
    file.reset(tagWriteFileHeader(name, tag.get()));
    return file ? 0 : refuse("create", name, errno);
}

int TDR_SoftimageFilter::createPicture(char* name) {
    picture.reset(pictureAllocate());
    if (!picture) {
        return refuse("create", name, ENOMEM);
    }
    picture->width = static_cast<std::int16_t>(width());
    picture->height = static_cast<std::int16_t>(height());
    picture->ratio = 1.0F;
    picture->fields = kFullFrame;
    setupChannelPackets(currentFormat);
    if (!packets && !masksOf(currentFormat).empty()) {
        return refuse("create", name, ENOMEM);
    }
    // Kept: A picture written before a pixel format was set is black.
    // A reader would expect the format to be refused or taken as RGBA. Until the host sets one the
    // format is -1: it has no chain, so the toolkit supplies red, green and blue, and no pixel
    // layout, so nothing is copied from the host's lines. Hosts must set a format first.
    ChannelPacket* chain = packets.release();
    file.reset(pictureWriteFileHeader(name, picture.get(), &chain));
    packets.reset(chain);
    if (!file) {
        return refuse("create", name, errno);
    }
    return createTempBuffers() ? 0 : refuse("create", name, ENOMEM);
}

void TDR_SoftimageFilter::setupChannelPackets(int format) {
    packets.reset();
    if (format != kFormatTag) {
        packets.reset(channelPacketAllocateChain(masksOf(format)));
    } else if (tag) {
        tagAllocateChannels(tag.get());
    }
}

// --- Reading -------------------------------------------------------------------------------------

int TDR_SoftimageFilter::connectToFileHeader(char* name) {
    picture.reset(pictureAllocate());
    if (!picture) {
        return refuse("open", name, ENOMEM);
    }
    if (readPictureHeader(name)) {
        return takeChannelsOfPackets(name);
    }
    const int pictureError = errno;
    tag.reset(tagAllocate());
    if (!tag) {
        return refuse("open", name, ENOMEM);
    }
    if (!readTagHeader(name)) {
        // A file of another format is refused without a message. One that exists but could not be
        // opened may have this format, and is reported.
        const int error = isAbsent(errno) ? pictureError : errno;
        return isAbsent(error) ? -1 : refuse("open", name, error);
    }
    bounds[2] = tag->width;
    bounds[3] = tag->height;
    currentFormat = kFormatTag;
    tagChannelCount = tag->channelCount;
    setupChannelPackets(kFormatTag);
    return tag->channels != nullptr ? 0 : refuse("open", name, ENOMEM);
}

bool TDR_SoftimageFilter::readPictureHeader(char* name) {
    ChannelPacket* chain = nullptr;
    file.reset(pictureReadFileHeader(name, picture.get(), &chain));
    packets.reset(chain);
    const int error = errno;
    if (!file) {
        picture.reset();
    }
    errno = error;
    return file != nullptr;
}

bool TDR_SoftimageFilter::readTagHeader(char* name) {
    file.reset(tagReadFileHeader(name, tag.get()));
    const int error = errno;
    if (!file) {
        tag.reset();
    }
    errno = error;
    return file != nullptr;
}

int TDR_SoftimageFilter::takeChannelsOfPackets(const char* name) {
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
            // A reader would expect a failed connect to leave nothing open. Record and stream stay
            // until the next connect or disconnect, which closes the file (with the post-write
            // command); until then format and size cannot be changed and no line can be read.
            base::say("%s: Unable to open file '%s' - Unsupported pixel format.\n", me, name);
            return -1;
        }
    }
    if (!createTempBuffers()) {
        return refuse("open", name, ENOMEM);
    }
    currentFormat = kFormatRgba;
    return 0;
}

// --- Both ----------------------------------------------------------------------------------------

bool TDR_SoftimageFilter::createTempBuffers() {
    for (auto& buffer : channelBuffers) {
        buffer.reset();
    }
    for (const ChannelPacket* packet = packets.get(); packet != nullptr; packet = packet->next) {
        for (std::size_t i = 0; i < channelBuffers.size(); ++i) {
            if ((packet->channels & kChannelMasks[kHostChannels[i]]) != 0 && !channelBuffers[i]) {
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
