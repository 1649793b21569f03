// SPDX-License-Identifier: MIT
// Picture records and whole picture files.
#include "tinyPicture.h"

#include "base/checkedMath.h"
#include "base/uniqueFile.h"
#include "file/tinyFileName.h"
#include "tinyFile.h"
#include "tinyPictureLine.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

using UniquePicture = std::unique_ptr<Picture, PictureDisposer>;
using UniqueReader = std::unique_ptr<PictureReader, PictureReaderDisposer>;
using UniqueWriter = std::unique_ptr<PictureWriter, PictureWriterDisposer>;
using UniqueChain = std::unique_ptr<ChannelPacket, ChannelPacketDisposer>;

void linesFromPlanes(Picture* record) {
    std::copy(std::begin(record->planes), std::end(record->planes), record->linePointers);
}

void forgetLines(Picture* record) {
    std::fill(std::begin(record->linePointers), std::end(record->linePointers), nullptr);
}

/// Allocates the planes, within the limit. They are untouched zero pages, so that a small file with
/// a large claimed size takes little memory.
bool takePlanes(const char* name, Picture* record, const PacketChannels& channels) {
    const auto plane = base::checkedProduct(record->width, record->height);
    const auto total = base::checkedProduct(record->width, record->height, channels.count);
    if (!plane || !total || *total > kMaxWholePictureBytes) {
        optionPrint("tinyPicture: '%s' is too large to be read as a whole.\n", name);
        return false;
    }
    for (int i = 0; i < channels.count; ++i) {
        std::uint8_t*& to = record->planes[channels.channel[i]];
        to = static_cast<std::uint8_t*>(std::calloc(*plane, 1));
        if (to == nullptr) {
            return false;
        }
    }
    return true;
}

/// Reads the scanlines into the planes. After an incomplete line there are no more: the planes are
/// already zero from there on.
bool readPlanes(PictureReader* reader, Picture* record, const ChannelPacket* chain) {
    linesFromPlanes(record);
    bool whole = true;
    for (int row = 0; row < record->height && whole; ++row) {
        whole = pictureReaderScanline(reader, record, chain) != 0;
    }
    forgetLines(record);
    return whole && channelPacketIsDecodable(chain) != 0;
}

int writePlanes(std::FILE* stream, Picture* record, const ChannelPacket* chain) {
    constexpr std::size_t kPiece = std::size_t{1} << 20;
    const UniqueWriter writer(pictureWriterAllocate(stream));
    if (writer == nullptr) {
        return ENOMEM;
    }
    pictureWriterCollect(writer.get(), kPiece);
    linesFromPlanes(record);
    bool written = true;
    for (int row = 0; row < record->height && written; ++row) {
        written = pictureWriterScanline(writer.get(), record, chain) != 0;
    }
    forgetLines(record);
    return pictureWriterFlush(writer.get()) == 1 ? 0 : pictureWriterError(writer.get());
}

} // namespace

Picture* pictureAllocate() {
    auto* record = static_cast<Picture*>(std::calloc(1, sizeof(Picture)));
    if (record != nullptr) {
        record->ratio = 1.0F;
    }
    return record;
}

int pictureDispose(Picture** record) {
    // Kept: Disposing of a picture leaves the caller's pointer unchanged.
    // A reader would expect null there, as from every other dispose of the toolkit.
    if (record != nullptr && *record != nullptr) {
        for (std::uint8_t* plane : (*record)->planes) {
            std::free(plane);
        }
        std::free(*record);
    }
    return 1;
}

Picture* pictureReadFile(const char* name) {
    UniquePicture record(pictureAllocate());
    if (record == nullptr) {
        return nullptr;
    }
    ChannelPacket* packets = nullptr;
    const base::UniqueFile stream(pictureReadFileHeader(name, record.get(), &packets));
    const UniqueChain chain(packets);
    if (stream == nullptr || !takePlanes(name, record.get(), chainChannels(chain.get()))) {
        return nullptr;
    }
    const UniqueReader reader(pictureReaderAllocate(stream.get()));
    if (reader == nullptr) {
        return nullptr;
    }
    if (!readPlanes(reader.get(), record.get(), chain.get())) {
        if (const int error = pictureReaderError(reader.get()); error != 0) {
            optionPrint("tinyPicture: '%s' could not be read: %s.\n", name, std::strerror(error));
            return nullptr;
        }
        optionPrint("tinyPicture: '%s' is cut short or damaged: what is missing is zero.\n", name);
    }
    return record.release();
}

int pictureWriteFile(const char* name, Picture* record, const ChannelPacket* chain) {
    ChannelPacket* packets = const_cast<ChannelPacket*>(chain);
    std::FILE* stream = pictureWriteFileHeader(name, record, &packets);
    const UniqueChain ownChain(chain == nullptr ? packets : nullptr);
    // Kept: Writing a whole picture reports success even if the file could not be opened.
    // A reader would expect 0; the call always returns 1.
    if (stream == nullptr) {
        return 1;
    }
    const int lineError = writePlanes(stream, record, packets);
    const int closeError = base::closeWritten(base::UniqueFile(stream));
    if (const int error = lineError != 0 ? lineError : closeError; error != 0) {
        optionPrint("tinyPicture: '%s' could not be written: %s.\n", name, std::strerror(error));
    }
    return 1;
}
