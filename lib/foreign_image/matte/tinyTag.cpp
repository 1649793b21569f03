// SPDX-License-Identifier: MIT
// Matte records: tables of rows that are allocated when they are first changed.
#include "tinyTag.h"

#include "tinyTagCode.h"

#include "base/limits.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {

bool sizesAreGood(const Tag* record) {
    return record->width > 0 && record->height > 0 && record->channelCount > 0;
}

bool inRange(const Tag* record, int channel, int row) {
    return channel >= 0 && channel < record->channelCount && row >= 0 && row < record->height;
}

void freeTables(Tag* record) {
    for (int c = 0; record->channels != nullptr && c < record->channelCount; ++c) {
        std::uint8_t** rows = record->channels[c];
        for (int r = 0; rows != nullptr && r < record->height; ++r) {
            std::free(rows[r]);
        }
        std::free(rows);
    }
    std::free(record->channels);
    record->channels = nullptr;
}

template <class Entry>
Entry* takeTable(int entries) {
    return static_cast<Entry*>(std::calloc(static_cast<std::size_t>(entries), sizeof(Entry)));
}

/// Reads one channel's row. A row without any data in the file is not allocated. False when out of
/// memory or on a read error; errno says which.
bool readRow(std::FILE* stream, Tag* record, int channel, int row) {
    std::uint8_t* bits = record->channels[channel][row];
    if (bits != nullptr) {
        std::memset(bits, 0, tagRowSize(record));
    }
    unsigned word = 0;
    if (!tagReadWord(stream, &word)) {
        return ferror_unlocked(stream) == 0;
    }
    bits = tagTakeRow(record, channel, row);
    return bits != nullptr &&
           (tagDecodeRow(stream, word, bits, record->width) || ferror_unlocked(stream) == 0);
}

} // namespace

Tag* tagAllocate() {
    auto* record = static_cast<Tag*>(std::calloc(1, sizeof(Tag)));
    if (record != nullptr) {
        record->ratio = 1.0F;
    }
    return record;
}

int tagAllocateChannels(Tag* record) {
    if (!sizesAreGood(record)) {
        return 0;
    }
    if (record->channels != nullptr) {
        return 1;
    }
    record->channels = takeTable<std::uint8_t**>(record->channelCount);
    for (int c = 0; record->channels != nullptr && c < record->channelCount; ++c) {
        record->channels[c] = takeTable<std::uint8_t*>(record->height);
        if (record->channels[c] == nullptr) {
            freeTables(record);
        }
    }
    return record->channels != nullptr ? 1 : 0;
}

int tagDispose(Tag** record) {
    if (record != nullptr && *record != nullptr) {
        freeTables(*record);
        std::free(*record);
        *record = nullptr;
    }
    return 1;
}

std::size_t tagRowSize(const Tag* record) {
    // Kept: A matte row takes one byte a pixel, rounded up to eight, although it holds bits.
    // A reader would expect an eighth of that.
    return (static_cast<std::size_t>(record->width) + 7) / 8 * 8;
}

const std::uint8_t* tagRow(const Tag* record, int channel, int row) {
    return record->channels != nullptr && inRange(record, channel, row)
               ? record->channels[channel][row]
               : nullptr;
}

std::uint8_t* tagTakeRow(Tag* record, int channel, int row) {
    if (!inRange(record, channel, row) || tagAllocateChannels(record) == 0) {
        return nullptr;
    }
    std::uint8_t*& bits = record->channels[channel][row];
    if (bits == nullptr) {
        bits = static_cast<std::uint8_t*>(std::calloc(tagRowSize(record), 1));
    }
    return bits;
}

void tagDropRow(Tag* record, int row) {
    for (int c = 0; record->channels != nullptr && inRange(record, c, row); ++c) {
        std::free(record->channels[c][row]);
        record->channels[c][row] = nullptr;
    }
}

int tagWriteScanline(std::FILE* stream, const Tag* record, int row) {
    if (!inRange(record, 0, row)) {
        return 0;
    }
    std::uint8_t words[tagEncodedRoom(base::kMaxPictureSide)];
    for (int c = 0; c < record->channelCount; ++c) {
        const std::uint8_t* end = tagEncodeRow(tagRow(record, c, row), record->width, words);
        std::fwrite(words, 1, static_cast<std::size_t>(end - words), stream);
    }
    return record->channelCount;
}

int tagReadScanline(std::FILE* stream, Tag* record, int row) {
    errno = 0;
    if (!inRange(record, 0, row) || tagAllocateChannels(record) == 0) {
        return 0;
    }
    flockfile(stream);
    if (ferror_unlocked(stream) != 0) {
        clearerr_unlocked(stream); // of an earlier scanline
    }
    bool read = true;
    for (int c = 0; c < record->channelCount && read; ++c) {
        read = readRow(stream, record, c, row);
    }
    funlockfile(stream);
    return read ? record->channelCount : 0;
}

int tagScanlineHasZeroLiteral(std::FILE* stream, const Tag* record) {
    bool found = false;
    for (int c = 0; c < record->channelCount && !found; ++c) {
        found = tagFindZeroLiteral(stream, record->width);
    }
    return found ? 1 : 0;
}
