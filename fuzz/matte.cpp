// SPDX-License-Identifier: MIT
// TAG mattes: header and rows; the matte is written and must read back the same.
#include "fuzzInput.h"

#include "base/uniqueFile.h"
#include "tinySoftType.h"
#include "tinyTag.h"

#include <algorithm>
#include <memory>

namespace {

// A larger claimed size would take time but reach no further code.
constexpr int kMostRows = 64;
constexpr int kMostChannels = 8;

using TagPointer = std::unique_ptr<Tag, TagDisposer>;

/// Null for a matte that is refused or larger than these limits.
TagPointer read(const std::string& path) {
    TagPointer record(tagAllocate());
    const base::UniqueFile stream(tagReadFileHeader(path.c_str(), record.get()));
    if (!stream || record->height > kMostRows || record->channelCount > kMostChannels) {
        return nullptr;
    }
    for (int row = 0; row < record->height; ++row) {
        static_cast<void>(tagReadScanline(stream.get(), record.get(), row));
    }
    return record;
}

/// A missing row of a matte is zero.
bool sameRow(const Tag& a, const Tag& b, int channel, int row) {
    static const std::uint8_t zeros[INT16_MAX + 7] = {};
    const auto bytes = [&](const Tag& tag) {
        const std::uint8_t* bits = tagRow(&tag, channel, row);
        return bits != nullptr ? bits : zeros;
    };
    return std::equal(bytes(a), bytes(a) + tagRowSize(&a), bytes(b));
}

bool same(const Tag& a, const Tag& b) {
    if (a.width != b.width || a.height != b.height || a.channelCount != b.channelCount) {
        return false;
    }
    for (int channel = 0; channel < a.channelCount; ++channel) {
        for (int row = 0; row < a.height; ++row) {
            if (!sameRow(a, b, channel, row)) {
                return false;
            }
        }
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::InputFolder folder;
    option.level = 0;
    const TagPointer record = read(folder.write("input.tag", data, size));
    if (!record) {
        return 0;
    }
    const std::string path = folder.path("echo.tag");
    const TagPointer echo = tagWriteFile(path.c_str(), record.get()) == 1 ? read(path) : nullptr;
    if (!echo || !same(*record, *echo)) {
        std::abort();
    }
    return 0;
}
