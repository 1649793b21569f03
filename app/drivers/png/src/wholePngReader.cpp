// SPDX-License-Identifier: MIT
#include "base/byteOrder.h"
#include "base/hostPixel.h"
#include "base/hugePages.h"
#include "wholePng.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <libdeflate.h>
#include <memory>
#include <new>
#include <string_view>

namespace png_filter {

namespace {

using Bytes = std::span<std::uint8_t>;

constexpr std::string_view kSignature("\x89PNG\r\n\x1a\n", 8);
constexpr std::size_t kFrame = 12; ///< length, name and checksum of a chunk
constexpr std::size_t kHeaderSize = 13;
constexpr std::size_t kZlibHeaderSize = 2;

constexpr std::size_t kMostPixelBytes = 4; ///< also read from a pixel of fewer
constexpr std::size_t kSlack = kMostPixelBytes;

std::string_view textOf(std::span<const std::uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

struct Chunk {
    std::string_view name;
    Bytes data;
};

/// Takes the first chunk of `rest`; none if it is not whole.
std::optional<Chunk> takeChunk(Bytes& rest) {
    const std::size_t length = rest.size() < kFrame ? 0 : base::loadBe32(rest.data());
    if (rest.size() < kFrame || length > rest.size() - kFrame) {
        return {};
    }
    const Bytes named = rest.subspan(4, 4 + length);
    rest = rest.subspan(kFrame + length);
    const std::uint32_t sum = base::loadBe32(named.data() + named.size());
    if (libdeflate_crc32(0, named.data(), named.size()) != sum) {
        return {};
    }
    return Chunk{textOf(named.first(4)), named.subspan(4)};
}

/// True for a chunk that says nothing about the pixels.
bool isAncillary(std::string_view name) {
    const auto isLetter = [](unsigned char c) { return std::isalpha(c) != 0; };
    return std::ranges::all_of(name, isLetter) && (name[0] & 0x20) != 0 && name != "tRNS";
}

/// The bytes of a pixel in the file, from its header; 0 if it is of another kind or size.
std::size_t pixelBytesIn(const Chunk& header, WholeShape shape) {
    if (header.name != "IHDR" || header.data.size() != kHeaderSize ||
        base::loadBe32(header.data.data()) != static_cast<std::uint32_t>(shape.width) ||
        base::loadBe32(header.data.data() + 4) != static_cast<std::uint32_t>(shape.height)) {
        return 0;
    }
    const std::string_view kind = textOf(header.data.subspan(8));
    using namespace std::string_view_literals;
    return kind == "\x08\x02\0\0\0"sv ? 3 : kind == "\x08\x06\0\0\0"sv ? 4 : 0;
}

/// The compressed pixels, moved together over the first of their chunks; empty if a chunk is not
/// whole, unusual or out of place.
Bytes collectPixels(Bytes rest) {
    Bytes pixels;
    std::string_view before;
    while (auto chunk = takeChunk(rest)) {
        if (chunk->name == "IEND") {
            return chunk->data.empty() ? pixels : Bytes();
        }
        const bool first = pixels.data() == nullptr;
        if (chunk->name == "IDAT" && (first || before == "IDAT")) {
            std::uint8_t* const begin = first ? chunk->data.data() : pixels.data();
            std::memmove(begin + pixels.size(), chunk->data.data(), chunk->data.size());
            pixels = {begin, pixels.size() + chunk->data.size()};
            before = "IDAT"; // its own name may just have been overwritten
        } else if (isAncillary(chunk->name)) {
            before = {};
        } else {
            break;
        }
    }
    return {};
}

/// False if zlib might refuse a distance between repeated bytes that libdeflate accepts.
bool isWindowLargeEnough(Bytes compressed, std::size_t size) {
    return compressed.size() > kZlibHeaderSize &&
           std::size_t{256} << (compressed[0] >> 4) >= std::min(size, std::size_t{32} << 10);
}

bool inflate(Bytes compressed, Bytes out) {
    const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)>
        inflater(libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
    std::size_t used = 0;
    return inflater && isWindowLargeEnough(compressed, out.size()) &&
           libdeflate_zlib_decompress_ex(inflater.get(), compressed.data(), compressed.size(),
                                         out.data(), out.size(), &used,
                                         nullptr) == LIBDEFLATE_SUCCESS &&
           used == compressed.size();
}

// --- Filters -------------------------------------------------------------------------------------

/// The channels of a pixel, computed at once; the upper lanes stay unused.
using Lanes = std::int16_t __attribute__((vector_size(16)));
using LaneBytes = std::uint8_t __attribute__((vector_size(8)));

Lanes load(const std::uint8_t* pixel) {
    LaneBytes bytes{};
    std::memcpy(&bytes, pixel, kMostPixelBytes);
    return __builtin_convertvector(bytes, Lanes);
}

/// Stores the low bytes and returns them.
template <std::size_t kBytes>
Lanes store(std::uint8_t* pixel, Lanes lanes) {
    lanes &= 0xff;
    const LaneBytes bytes = __builtin_convertvector(lanes, LaneBytes);
    std::memcpy(pixel, &bytes, kBytes);
    return lanes;
}

Lanes magnitude(Lanes a) {
    return a > -a ? a : -a;
}

Lanes average(Lanes left, Lanes above, Lanes /*corner*/) {
    return (left + above) >> 1;
}

Lanes nearest(Lanes left, Lanes above, Lanes corner) {
    const Lanes toLeft = magnitude(above - corner);
    const Lanes toAbove = magnitude(left - corner);
    const Lanes toCorner = magnitude(left + above - corner - corner);
    const Lanes aboveOrCorner = toAbove <= toCorner ? above : corner;
    return ((toLeft <= toAbove) & (toLeft <= toCorner)) ? left : aboveOrCorner;
}

Lanes leftOnly(Lanes left, Lanes /*above*/, Lanes /*corner*/) {
    return left;
}

template <std::size_t kBytes, Lanes (*kPredict)(Lanes left, Lanes above, Lanes corner)>
void addPrediction(std::uint8_t* row, const std::uint8_t* above, std::size_t size) {
    Lanes left{};
    Lanes corner{};
    for (std::size_t at = 0; at < size; at += kBytes) {
        const Lanes up = load(above + at);
        left = store<kBytes>(row + at, load(row + at) + kPredict(left, up, corner));
        corner = up;
    }
}

void addAbove(std::uint8_t* row, const std::uint8_t* above, std::size_t size) {
    for (std::size_t at = 0; at < size; ++at) {
        row[at] = static_cast<std::uint8_t>(row[at] + above[at]);
    }
}

void addNothing(std::uint8_t*, const std::uint8_t*, std::size_t) {}

/// By the number of the filter.
template <std::size_t kBytes>
constexpr void (*kFilters[])(std::uint8_t* row, const std::uint8_t* above, std::size_t size) = {
    addNothing, addPrediction<kBytes, leftOnly>, addAbove, addPrediction<kBytes, average>,
    addPrediction<kBytes, nearest>};

/// From red, green, blue(, alpha) to the host's order.
template <std::size_t kBytes>
void toHostLine(const std::uint8_t* row, int width, std::uint8_t* line) {
    for (int x = 0; x < width; ++x, row += kBytes, line += base::kHostPixelBytes) {
        std::uint32_t pixel = base::loadBe32(row);
        pixel = kBytes == 4 ? pixel : pixel | 0xff;
        pixel = __builtin_bswap32(pixel);
        base::storeBe32(line, pixel);
    }
}

template <std::size_t kBytes>
bool toHostLines(Bytes rows, WholeShape shape, std::uint8_t* lines) {
    const auto height = static_cast<std::size_t>(shape.height);
    const std::size_t size = static_cast<std::size_t>(shape.width) * kBytes;
    const std::size_t lineSize = static_cast<std::size_t>(shape.width) * base::kHostPixelBytes;
    for (std::size_t y = 0; y < height; ++y) {
        if (rows[y * (size + 1)] >= std::size(kFilters<kBytes>)) {
            return false;
        }
    }
    const std::unique_ptr<std::uint8_t[]> zeros(new (std::nothrow) std::uint8_t[size + kSlack]());
    if (!zeros) {
        return false;
    }
    base::populate(lines, height * lineSize);
    const std::uint8_t* above = zeros.get();
    for (std::size_t y = 0; y < height; ++y) {
        std::uint8_t* const row = &rows[y * (size + 1) + 1];
        kFilters<kBytes>[row[-1]](row, above, size);
        toHostLine<kBytes>(row, shape.width, lines + (height - 1 - y) * lineSize);
        above = row;
    }
    return true;
}

} // namespace

bool readWholePng(Bytes file, WholeShape shape, std::uint8_t* lines) {
    if (!textOf(file).starts_with(kSignature)) {
        return false;
    }
    Bytes rest = file.subspan(kSignature.size());
    const auto header = takeChunk(rest);
    const std::size_t pixelBytes = header ? pixelBytesIn(*header, shape) : 0;
    const std::size_t size = (static_cast<std::size_t>(shape.width) * pixelBytes + 1) *
                             static_cast<std::size_t>(shape.height);
    if (pixelBytes == 0 || size > kMostWholeBytes) {
        return false;
    }
    const std::unique_ptr<std::uint8_t[]> rows(new (std::nothrow) std::uint8_t[size + kSlack]);
    if (!rows || !inflate(collectPixels(rest), {rows.get(), size})) {
        return false;
    }
    return pixelBytes == 3 ? toHostLines<3>({rows.get(), size}, shape, lines)
                           : toHostLines<4>({rows.get(), size}, shape, lines);
}

} // namespace png_filter
