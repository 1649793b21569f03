// SPDX-License-Identifier: MIT
// TAG files: the header, and whole mattes.
#include "tinyTag.h"

#include "base/byteOrder.h"
#include "base/checkedMath.h"
#include "base/limits.h"
#include "base/uniqueFile.h"
#include "file/tinyFileName.h"
#include "tinyFile.h"

#include <cerrno>
#include <cstring>
#include <memory>

namespace {

constexpr std::string_view kEnding = ".tag";
constexpr std::uint32_t kTypeTag = typeWord("STAG");
constexpr std::size_t kTagHeaderSize = 12; ///< width, height, ratio, fields, channel count

using UniqueTag = std::unique_ptr<Tag, TagDisposer>;

bool sizesAreGood(const char* name, const Tag& record) {
    // A number above 32767 reads as negative; print it unsigned.
    if (record.width <= 0 || record.height <= 0) {
        optionPrint("tinyTag: '%s' is %d pixels wide and %d high: must be 1 to 32767.\n", name,
                    static_cast<std::uint16_t>(record.width),
                    static_cast<std::uint16_t>(record.height));
        return false;
    }
    if (record.channelCount <= 0 || record.channelCount > base::kMaxTagChannels) {
        optionPrint("tinyTag: '%s' has %d channels: must be 1 to %d.\n", name,
                    static_cast<std::uint16_t>(record.channelCount), base::kMaxTagChannels);
        return false;
    }
    return true;
}

void sayUnreadable(const char* name, int error) {
    optionPrint("tinyTag: '%s' could not be read: %s.\n", name, std::strerror(error));
}

/// Reads the header after the type word.
bool readTagHeader(std::FILE* stream, const char* name, Tag* record) {
    std::uint8_t bytes[kTagHeaderSize];
    if (std::fread(bytes, 1, sizeof bytes, stream) != sizeof bytes) {
        if (std::ferror(stream) != 0) {
            sayUnreadable(name, errno);
        } else {
            optionPrint("tinyTag: '%s' ends inside its header.\n", name);
        }
        return false;
    }
    record->width = base::loadBeS16(bytes);
    record->height = base::loadBeS16(bytes + 2);
    record->ratio = base::loadBeFloat(bytes + 4);
    record->fields = base::loadBeS16(bytes + 8);
    record->channelCount = base::loadBeS16(bytes + 10);
    return sizesAreGood(name, *record);
}

bool mayBeReadWhole(const char* name, const Tag* record) {
    const auto total =
        base::checkedProduct(tagRowSize(record), record->height, record->channelCount);
    const bool fits = total && *total <= kMaxWholeTagBytes;
    if (!fits) {
        optionPrint("tinyTag: '%s' is too large to be read as a whole.\n", name);
    }
    return fits;
}

} // namespace

std::FILE* tagWriteFileHeader(const char* name, const Tag* record) {
    if (!sizesAreGood(name, *record)) {
        errno = EINVAL;
        return nullptr;
    }
    std::FILE* stream = fileOpen(name, kEnding, 'w').release();
    if (stream == nullptr) {
        return nullptr;
    }
    headerWriteBinary(stream, nullptr);
    std::uint8_t bytes[4 + kTagHeaderSize];
    base::storeBe32(bytes, kTypeTag);
    base::storeBeS16(bytes + 4, record->width);
    base::storeBeS16(bytes + 6, record->height);
    base::storeBeFloat(bytes + 8, record->ratio);
    base::storeBeS16(bytes + 12, record->fields);
    base::storeBeS16(bytes + 14, record->channelCount);
    std::fwrite(bytes, 1, sizeof bytes, stream);
    return stream;
}

std::FILE* tagReadFileHeader(const char* name, Tag* record) {
    base::UniqueFile stream = fileOpen(name, kEnding, 'r');
    if (stream != nullptr && tagReadHeader(stream.get(), name, record) != 1) {
        stream.reset();
        errno = 0;
    }
    return stream.release();
}

int tagReadHeader(std::FILE* stream, const char* name, Tag* record) {
    const std::uint32_t type = headerReadBinary(stream, nullptr, nullptr);
    if (type == 0 && std::ferror(stream) != 0) {
        sayUnreadable(name, errno);
        return -1;
    }
    if (type != kTypeTag) {
        return 0;
    }
    return readTagHeader(stream, name, record) ? 1 : -1;
}

int tagWriteFile(const char* name, const Tag* record) {
    std::FILE* stream = tagWriteFileHeader(name, record);
    if (stream == nullptr) {
        return 0;
    }
    errno = 0;
    for (int row = 0; row < record->height && std::ferror(stream) == 0; ++row) {
        tagWriteScanline(stream, record, row);
    }
    const int rowError = std::ferror(stream) != 0 ? errno : 0;
    const int closeError = base::closeWritten(base::UniqueFile(stream));
    if (const int error = rowError != 0 ? rowError : closeError; error != 0) {
        optionPrint("tinyTag: '%s' could not be written: %s.\n", name, std::strerror(error));
    }
    return 1;
}

Tag* tagReadFile(const char* name) {
    UniqueTag record(tagAllocate());
    if (record == nullptr) {
        return nullptr;
    }
    const base::UniqueFile stream(tagReadFileHeader(name, record.get()));
    if (stream == nullptr || !mayBeReadWhole(name, record.get())) {
        return nullptr;
    }
    for (int row = 0; row < record->height && std::feof(stream.get()) == 0; ++row) {
        if (tagReadScanline(stream.get(), record.get(), row) == 0) {
            sayUnreadable(name, errno);
            return nullptr;
        }
    }
    if (std::feof(stream.get()) != 0) {
        optionPrint("tinyTag: '%s' is cut short or damaged: what is missing is zero.\n", name);
    }
    return record.release();
}
