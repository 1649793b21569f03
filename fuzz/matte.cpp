// SPDX-License-Identifier: MIT
// TAG mattes: header and rows; what was read is written and must read the same again.
#include "fuzzInput.h"

#include "base/uniqueFile.h"
#include "tinySoftType.h"
#include "tinyTag.h"

#include <algorithm>
#include <memory>

namespace {

constexpr int kMostRows = 64;

using TagPointer = std::unique_ptr<Tag, TagDisposer>;

TagPointer read(const std::string& path, int rows) {
    TagPointer record(tagAllocate());
    const base::UniqueFile stream(tagReadFileHeader(path.c_str(), record.get()));
    if (!stream) {
        return nullptr;
    }
    for (int row = 0; row < std::min<int>(record->height, rows); ++row) {
        static_cast<void>(tagReadScanline(stream.get(), record.get(), row));
    }
    return record;
}

bool pixel(const Tag& record, int channel, int row, int x) {
    const std::uint8_t* bits = tagRow(&record, channel, row);
    return bits != nullptr && ((bits[x / 8] >> (7 - x % 8)) & 1) != 0;
}

bool same(const Tag& a, const Tag& b) {
    for (int channel = 0; channel < a.channelCount; ++channel) {
        for (int row = 0; row < a.height; ++row) {
            for (int x = 0; x < a.width; ++x) {
                if (pixel(a, channel, row, x) != pixel(b, channel, row, x)) {
                    return false;
                }
            }
        }
    }
    return a.width == b.width && a.height == b.height && a.channelCount == b.channelCount;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::InputFolder folder;
    option.level = 0;
    const TagPointer record = read(folder.write("input.tag", data, size), kMostRows);
    if (!record || record->height > kMostRows || record->channelCount > 8) {
        return 0;
    }
    const std::string path = folder.path("echo.tag");
    const TagPointer echo =
        tagWriteFile(path.c_str(), record.get()) == 1 ? read(path, kMostRows) : nullptr;
    if (!echo || !same(*record, *echo)) {
        std::abort();
    }
    return 0;
}
