// SPDX-License-Identifier: MIT
// Single lines between the host's blocks and the file.
#include "TDR_SoftimageFilter.h"

#include "base/diagnostics.h"
#include "matteBits.h"
#include "pixelOrder.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>

using namespace softimage;

namespace {

std::uint8_t* bytesOf(char* block) {
    return reinterpret_cast<std::uint8_t*>(block);
}

std::size_t indexOf(long k) {
    return static_cast<std::size_t>(k);
}

} // namespace

// --- Requests ------------------------------------------------------------------------------------

bool TDR_SoftimageFilter::isOpenFor(Transfer transfer) const {
    const bool put = transfer == Transfer::PutLine || transfer == Transfer::PutCache;
    return file && isOpen() && lineOffsets && lineCache && writing == put && !broken;
}

std::optional<std::size_t> TDR_SoftimageFilter::declaredLineBytes(Transfer transfer) const {
    return transfer == Transfer::PutLine ? hostLineBytes() : packedLineBytes();
}

std::size_t TDR_SoftimageFilter::hostLineBytes() const {
    return static_cast<std::size_t>(width()) *
           static_cast<std::size_t>(bytesPerHostPixel(currentFormat));
}

std::size_t TDR_SoftimageFilter::packedLineBytes() const {
    return tag ? packedMatteBytes(tag->width, tag->channelCount) : hostLineBytes();
}

int TDR_SoftimageFilter::getLine(char* block, int, long, long y) {
    if (!isOpenFor(Transfer::GetLine)) {
        return -1;
    }
    const long k = height() - 1 - y;
    if (lineOffsets[indexOf(k)] == 0 && !fill_offset_table()) {
        return -1;
    }
    return readLine(k, bytesOf(block)) ? 0 : -1;
}

int TDR_SoftimageFilter::putLine(char* block, int, long, long y) {
    if (!isOpenFor(Transfer::PutLine)) {
        return -1;
    }
    const long k = height() - 1 - y;
    const bool done =
        k == lastWrittenLine + 1L ? writeLine(k, bytesOf(block)) : keepLine(k, bytesOf(block));
    return done ? 0 : -1;
}

bool TDR_SoftimageFilter::keepLine(long k, const unsigned char* hostLine) {
    // Kept: A line out of order waits until the file is closed.
    // A reader would expect it to be written right after the line before it. It waits until the
    // file is closed; if it is sent twice, the second one counts; if it is sent after it was
    // written, it is dropped.
    const std::size_t bytes = hostLineBytes();
    auto& kept = lineCache[indexOf(k)];
    kept.reset(new (std::nothrow) std::uint8_t[bytes]);
    if (!kept) {
        noteWriteFailure(ENOMEM);
        return false;
    }
    std::memcpy(kept.get(), hostLine, bytes);
    return true;
}

// --- Between host lines and channels -------------------------------------------------------------

std::array<std::uint8_t*, kPictureChannels> TDR_SoftimageFilter::channelLines() const {
    ChannelLines lines{};
    std::ranges::transform(channelBuffers, lines.begin(),
                           [](const auto& buffer) { return buffer.get(); });
    return lines;
}

void TDR_SoftimageFilter::copyToTempBuffers(int format, unsigned char* hostLine,
                                            const unsigned char* next) {
    hostLineToChannels(format, hostLine, indexOf(width()), channelLines(), next);
}

void TDR_SoftimageFilter::copyFromTempBuffers(int format, unsigned char* hostLine,
                                              const unsigned char* next) {
    // Kept: A channel missing from the file leaves the host's bytes unchanged.
    // A reader would expect opaque alpha, or black. Hosts must fill the block before the read.
    channelsToHostLine(format, channelLines(), indexOf(width()), hostLine, next);
}

void TDR_SoftimageFilter::pointAtChannels(bool attach) {
    const ChannelLines lines = attach ? channelLines() : ChannelLines{};
    for (std::size_t i = 0; i < lines.size(); ++i) {
        picture->linePointers[kHostChannels[i]] = lines[i];
    }
}

// --- Writing -------------------------------------------------------------------------------------

bool TDR_SoftimageFilter::writeLine(long k, unsigned char* hostLine, const unsigned char* next) {
    if (!file || broken) {
        return false;
    }
    if (lineOffsets[indexOf(k)] == 0) {
        lineOffsets[indexOf(k)] = position();
    }
    if (picture) {
        if (hostLine != nullptr) {
            copyToTempBuffers(currentFormat, hostLine, next);
        }
        pointAtChannels(true);
        if (pictureWriterScanline(writer.get(), picture.get(), packets.get()) == 0) {
            noteWriteFailure(pictureWriterError(writer.get()));
        }
        pointAtChannels(false);
    } else {
        writeTagLine(k, hostLine);
    }
    lastWrittenLine = static_cast<std::int32_t>(k);
    if (k < height() - 1) {
        lineOffsets[indexOf(k + 1)] = position();
    }
    return !broken;
}

void TDR_SoftimageFilter::writeTagLine(long k, const unsigned char* hostLine) {
    // Kept: A matte line sets the mirrored row and writes its own.
    // A reader would expect the pixels of the host line in its own scanline. All pixels of row
    // height - 1 - k get the lowest bit of the line's first byte, and row k is written unchanged:
    // the upper half of a matte written from the top is empty.
    if (hostLine != nullptr) {
        matteRows[indexOf(height() - 1 - k)] = (hostLine[0] & 1) != 0;
    }
    if (matteRows[indexOf(k)] && !fillTagRow(static_cast<int>(k))) {
        noteWriteFailure(ENOMEM);
        return;
    }
    errno = 0;
    tagWriteScanline(file.get(), tag.get(), static_cast<int>(k));
    if (std::ferror(file.get()) != 0) {
        noteWriteFailure(errno);
    }
    tagDropRow(tag.get(), static_cast<int>(k));
}

bool TDR_SoftimageFilter::fillTagRow(int k) {
    for (int channel = 0; channel < tag->channelCount; ++channel) {
        std::uint8_t* row = tagTakeRow(tag.get(), channel, k);
        if (row == nullptr) {
            return false;
        }
        std::memset(row, 0xff, tagRowSize(tag.get()));
    }
    return true;
}

// --- Reading -------------------------------------------------------------------------------------

std::uint64_t TDR_SoftimageFilter::position() const {
    const std::int64_t at = reader   ? pictureReaderPosition(reader.get())
                            : writer ? pictureWriterPosition(writer.get())
                                     : ::ftello(file.get());
    return static_cast<std::uint64_t>(std::max<std::int64_t>(at, writing ? 1 : 0));
}

bool TDR_SoftimageFilter::seekTo(std::uint64_t offset) {
    if (reader) {
        const auto at = static_cast<std::int64_t>(offset);
        return pictureReaderSeek(reader.get(), at) != 0 ||
               noteReadFailure(pictureReaderError(reader.get()));
    }
    // Seeking discards the stream's read-ahead.
    return position() == offset ||
           ::fseeko(file.get(), static_cast<off_t>(offset), SEEK_SET) == 0 ||
           noteReadFailure(errno);
}

bool TDR_SoftimageFilter::readLine(long k, unsigned char* hostLine, const unsigned char* next) {
    if (!file) {
        return false;
    }
    if (lineOffsets[indexOf(k)] == 0) {
        lineOffsets[indexOf(k)] = position();
    } else if (!seekTo(lineOffsets[indexOf(k)])) {
        return false;
    }
    if (!(picture ? readPictureScanline() : readTagScanline(k))) {
        return false;
    }
    if (k < height() - 1) {
        lineOffsets[indexOf(k + 1)] = position();
    }
    if (picture && hostLine != nullptr) {
        copyFromTempBuffers(currentFormat, hostLine, next);
    } else if (tag) {
        packTagRow(k, hostLine);
        tagDropRow(tag.get(), static_cast<int>(k));
    }
    return true;
}

bool TDR_SoftimageFilter::readPictureScanline() {
    const std::uint64_t begin = position();
    if (emptyFrom != 0 && begin == emptyFrom) {
        return true; // missing like the line before, and the channels' lines are zero
    }
    pointAtChannels(true);
    const bool whole = pictureReaderScanline(reader.get(), picture.get(), packets.get()) != 0;
    pointAtChannels(false);
    emptyFrom = 0;
    if (!whole) {
        if (const int error = pictureReaderError(reader.get()); error != 0) {
            return noteReadFailure(error);
        }
        noteDamage();
        emptyFrom = position() == begin ? begin : 0;
    }
    return true;
}

bool TDR_SoftimageFilter::nothingFollows(long row) const {
    const bool all = std::none_of(channelBuffers.begin(), channelBuffers.end(),
                                  [](const auto& buffer) { return buffer == nullptr; });
    const std::uint64_t* const offsets = lineOffsets.get();
    return picture && all && row > 0 && emptyFrom != 0 && position() == emptyFrom &&
           std::all_of(offsets + 1, offsets + row + 1,
                       [this](std::uint64_t offset) { return offset == 0 || offset == emptyFrom; });
}

bool TDR_SoftimageFilter::readTagScanline(long k) {
    if (tagReadScanline(file.get(), tag.get(), static_cast<int>(k)) == 0) {
        const int error = errno;
        tagDropRow(tag.get(), static_cast<int>(k));
        return noteReadFailure(error);
    }
    if (std::feof(file.get()) != 0) {
        noteDamage();
    }
    return true;
}

void TDR_SoftimageFilter::packTagRow(long k, unsigned char* hostLine) {
    // Kept: Matte bits are OR-ed into the host's block.
    // A reader would expect the block to be overwritten. Hosts must clear it first.
    for (int channel = 0; hostLine != nullptr && channel < tag->channelCount; ++channel) {
        const std::uint8_t* row = tagRow(tag.get(), channel, static_cast<int>(k));
        if (row != nullptr) {
            packMatteRow(row, tag->width, channel, tag->channelCount, hostLine);
        }
    }
}

bool TDR_SoftimageFilter::fill_offset_table() {
    if (!file || !isOpen()) {
        return false;
    }
    if (known.recall(opened, {lineOffsets.get(), indexOf(height())})) {
        return true;
    }
    long unknown = 1; // the first line's position is known from the start
    while (unknown < height() && lineOffsets[indexOf(unknown)] != 0) {
        ++unknown;
    }
    if (unknown == height()) {
        return true;
    }
    for (long k = unknown - 1; k < height(); ++k) {
        if (!readLine(k, nullptr)) {
            return false;
        }
        if (position() == lineOffsets[indexOf(k)]) {
            // The file has ended: all later lines begin here too.
            while (++k < height()) {
                lineOffsets[indexOf(k)] = position();
            }
        }
    }
    return true;
}

/// Reports why the file cannot be read, once for each reason; always false.
bool TDR_SoftimageFilter::noteReadFailure(int systemError) {
    if (readError != systemError) {
        base::say("%s: Unable to read file '%s' - %s.\n", me, openName, std::strerror(systemError));
    }
    readError = systemError;
    return false;
}

void TDR_SoftimageFilter::noteDamage() {
    if (!damageReported) {
        base::say("%s: File '%s' is cut short or damaged - What is missing reads as zero.\n", me,
                  openName);
    }
    damageReported = true;
}
