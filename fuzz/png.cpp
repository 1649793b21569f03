// SPDX-License-Identifier: MIT
// PNG files: whole pictures that the driver reads without libpng have the pixels of libpng, which
// accepts the file too.
#include "fuzzInput.h"

#include "base/byteOrder.h"
#include "pngDecoder.h"
#include "wholePng.h"

#include <algorithm>
#include <libdeflate.h>
#include <vector>

namespace {

constexpr int kMostSide = 64; // a larger claim would take time but reach no further code

/// The file with the right checksums, which no change of it would have.
std::vector<std::uint8_t> withSums(const std::uint8_t* data, std::size_t size) {
    std::vector<std::uint8_t> file(data, data + size);
    for (std::size_t at = 8; size > at && size - at >= 12;) {
        const std::size_t length = base::loadBe32(&file[at]);
        if (length > size - at - 12) {
            break;
        }
        base::storeBe32(&file[at + 8 + length], libdeflate_crc32(0, &file[at + 4], length + 4));
        at += length + 12;
    }
    return file;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::InputFolder folder;
    std::vector<std::uint8_t> file = withSums(data, size);
    png_filter::PngReport report;
    const auto decoder =
        png_filter::PngDecoder::open(folder.write("a.png", file.data(), size).c_str(), report);
    if (!decoder || decoder->width() > kMostSide || decoder->height() > kMostSide) {
        return 0;
    }
    const png_filter::WholeShape shape{decoder->width(), decoder->height()};
    const std::size_t line = static_cast<std::size_t>(shape.width) * 4;
    std::vector<std::uint8_t> lines(line * static_cast<std::size_t>(shape.height));
    if (!png_filter::readWholePng(file, shape, lines.data())) {
        return 0;
    }
    std::vector<std::uint8_t> row(line);
    for (std::size_t y = lines.size(); y > 0; y -= line) {
        if (!decoder->readRow(row.data()) ||
            !std::equal(row.begin(), row.end(), &lines[y - line])) {
            std::abort();
        }
    }
    return 0;
}
