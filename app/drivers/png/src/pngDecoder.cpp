// SPDX-License-Identifier: MIT
#include "pngDecoder.h"

#include "base/byteOrder.h"
#include "base/limits.h"
#include "base/retry.h"
#include "wholePng.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

namespace png_filter {

namespace {

/// The beginning of a file: PNG's signature, length and name of the first chunk, width and height.
constexpr std::size_t kSignatureSize = 8;
constexpr std::size_t kWidthOffset = 16;
constexpr std::size_t kHeightOffset = 20;
constexpr std::size_t kHeadSize = 24;

/// Maximum memory for a single chunk: the palette and its transparency are less than 1 KiB.
constexpr std::size_t kMostChunkBytes = std::size_t{64} << 10;

/// Makes libpng convert every kind of file to host pixels.
void requestHostPixels(png_structp png) {
    png_set_expand(png); // palettes, fewer than 8 bits, transparent colours
    png_set_scale_16(png);
    png_set_gray_to_rgb(png);
    // libpng swaps only an alpha from the file; an added one is placed directly.
    png_set_add_alpha(png, 0xff, PNG_FILLER_BEFORE);
    png_set_bgr(png);
    png_set_swap_alpha(png);
}

} // namespace

std::unique_ptr<PngDecoder> PngDecoder::open(const char* path, PngReport& report) {
    report = {};
    base::UniqueFile stream = base::openFile(path, 'r');
    if (!stream) {
        report.systemError = errno == ENOENT ? 0 : errno;
        return nullptr;
    }
    std::unique_ptr<PngDecoder> decoder(new (std::nothrow) PngDecoder(std::move(stream)));
    if (!decoder) {
        report.systemError = ENOMEM;
    } else if (!decoder->checkHead() || !decoder->toBegin() || !decoder->start()) {
        report = decoder->report_;
        decoder.reset();
    }
    return decoder;
}

/// Checks the header of a file, because libpng's messages do not distinguish these cases: false
/// when it is not a PNG; false with a report when it cannot be read or is a PNG of an unsupported
/// size.
bool PngDecoder::checkHead() {
    std::uint8_t head[kHeadSize];
    const std::size_t got = std::fread(head, 1, sizeof head, stream_.get());
    if (std::ferror(stream_.get()) != 0) {
        report_.systemError = errno == EISDIR ? 0 : errno; // a folder is not a PNG
        return false;
    }
    if (got < kSignatureSize || png_sig_cmp(head, 0, kSignatureSize) != 0) {
        return false;
    }
    const std::uint32_t width = base::loadBe32(head + kWidthOffset);
    const std::uint32_t height = base::loadBe32(head + kHeightOffset);
    if (got == kHeadSize && (!base::isPictureSide(width) || !base::isPictureSide(height))) {
        std::snprintf(report_.text, sizeof report_.text, "Size %u x %u is outside 1 to %d", width,
                      height, base::kMaxPictureSide);
        return false;
    }
    return true;
}

bool PngDecoder::toBegin() {
    if (::fseeko(stream_.get(), 0, SEEK_SET) != 0) {
        report_.systemError = errno;
        return false;
    }
    return true;
}

void PngDecoder::readBytes(png_structp png, png_bytep bytes, png_size_t count) {
    auto* decoder = static_cast<PngDecoder*>(png_get_io_ptr(png));
    errno = 0;
    if (std::fread(bytes, 1, count, decoder->stream_.get()) != count) {
        if (std::ferror(decoder->stream_.get()) != 0) {
            decoder->report_.systemError = errno != 0 ? errno : EIO;
        }
        png_error(png, "it ends too early");
    }
}

PngDecoder::~PngDecoder() {
    stop();
}

void PngDecoder::stop() {
    png_destroy_read_struct(&png_, &info_, nullptr);
}

bool PngDecoder::start() {
    png_ = createReader(&report_);
    info_ = png_ != nullptr ? png_create_info_struct(png_) : nullptr;
    if (info_ == nullptr) {
        report_.systemError = ENOMEM;
        return false;
    }
    return guarded(png_, [this] {
        png_set_read_fn(png_, this, readBytes);
        png_set_user_limits(png_, base::kMaxPictureSide, base::kMaxPictureSide);
        // Palette and transparency only: any other ancillary chunk may claim two gigabytes, which
        // libpng would allocate and clear, or hold text that takes seconds to expand.
        png_set_keep_unknown_chunks(png_, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
        png_set_chunk_malloc_max(png_, kMostChunkBytes);
        png_set_chunk_cache_max(png_, 1);
        png_read_info(png_, info_);
        requestHostPixels(png_);
        passes_ = png_set_interlace_handling(png_);
        png_read_update_info(png_, info_);
        width_ = static_cast<int>(png_get_image_width(png_, info_));
        height_ = static_cast<int>(png_get_image_height(png_, info_));
        if (png_get_rowbytes(png_, info_) !=
            static_cast<std::size_t>(width_) * base::kHostPixelBytes) {
            png_error(png_, "unexpected row size");
        }
    });
}

bool PngDecoder::restart() {
    const int width = width_;
    const int height = height_;
    stop();
    nextRow_ = 0;
    const bool same = toBegin() && start() && width_ == width && height_ == height && !interlaced();
    width_ = width;
    height_ = height;
    lost_ = !same;
    return same;
}

bool PngDecoder::readRow(std::uint8_t* row) {
    ++nextRow_;
    // libpng fills a row only when it is complete, even if it then fails at the next bytes.
    std::memset(row, 0, static_cast<std::size_t>(width_) * base::kHostPixelBytes);
    lost_ = lost_ || !guarded(png_, [this, row] { png_read_row(png_, row, nullptr); });
    if (nextRow_ == height_) {
        readEnd();
    }
    return !lost_;
}

/// A file that ends after its pixels but before IEND is also cut short: text may be missing.
void PngDecoder::readEnd() {
    lost_ = lost_ || !guarded(png_, [this] { png_read_end(png_, nullptr); });
}

bool PngDecoder::readWhole(std::uint8_t* lines) const {
    const int fd = ::fileno(stream_.get());
    struct stat status {};
    if (interlaced() || ::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode) ||
        static_cast<std::size_t>(status.st_size) > kMostWholeBytes) {
        return false;
    }
    const auto size = static_cast<std::size_t>(status.st_size);
    const std::unique_ptr<std::uint8_t[]> file(new (std::nothrow) std::uint8_t[size]);
    std::size_t have = 0;
    for (ssize_t got = 1; file && have < size && got > 0; have += static_cast<std::size_t>(got)) {
        got = std::max<ssize_t>(0, base::retried([&] {
                                    return ::pread(fd, &file[have], size - have,
                                                   static_cast<off_t>(have));
                                }));
    }
    return file && have == size && readWholePng({file.get(), size}, {width_, height_}, lines);
}

bool PngDecoder::readInterlaced(std::uint8_t* rows) {
    nextRow_ = height_;
    lost_ = !guarded(png_, [this, rows] {
        const std::size_t rowSize = static_cast<std::size_t>(width_) * base::kHostPixelBytes;
        for (int pass = 0; pass < passes_; ++pass) {
            for (int y = 0; y < height_; ++y) {
                png_read_row(png_, rows + static_cast<std::size_t>(y) * rowSize, nullptr);
            }
        }
    });
    readEnd();
    return !lost_;
}

} // namespace png_filter
