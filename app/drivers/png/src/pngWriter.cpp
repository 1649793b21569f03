// SPDX-License-Identifier: MIT
#include "pngWriter.h"

#include "pngDecoder.h"
#include "wholePng.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

namespace png_filter {

namespace {

// For photographs, cut-outs and drawings of RGBA pixels level 2 takes about a sixth more time than
// level 1 for files 2 to 3% smaller, level 3 half as much again as level 2 for at most 5%, level 6
// four times as much for 12%. The filter "up" alone is within 1% of the best choice among several
// for each row, which takes a tenth to two thirds more time.
constexpr int kCompressionLevel = 2;
constexpr int kFilters = PNG_FILTER_UP;

/// Compressed bytes that libpng collects for one chunk; its default of 8 KiB causes many small
/// writes.
constexpr std::size_t kChunkSize = std::size_t{64} << 10;

} // namespace

std::unique_ptr<PngWriter> PngWriter::create(const char* path, int width, int height,
                                             PngReport& report) {
    base::UniqueFile stream = base::openFile(path, 'w');
    if (!stream) {
        report.systemError = errno;
        return nullptr;
    }
    std::unique_ptr<PngWriter> writer(new (std::nothrow)
                                          PngWriter(std::move(stream), width, height));
    if (!writer) {
        report.systemError = ENOMEM;
    } else if (!writer->start()) {
        report = writer->report_;
        writer.reset();
    }
    return writer;
}

PngWriter::PngWriter(base::UniqueFile stream, int width, int height)
    : stream_(std::move(stream)), width_(width), height_(height),
      kept_(new (std::nothrow) Row[static_cast<std::size_t>(height)]) {}

PngWriter::~PngWriter() {
    png_destroy_write_struct(&png_, &info_);
}

/// Records the first failure; always false.
bool PngWriter::fail(int systemError) {
    if (!isBroken()) {
        report_.systemError = systemError;
    }
    return false;
}

void PngWriter::writeBytes(png_structp png, png_bytep bytes, png_size_t count) {
    auto* writer = static_cast<PngWriter*>(png_get_io_ptr(png));
    errno = 0;
    if (std::fwrite(bytes, 1, count, writer->stream_.get()) != count) {
        writer->fail(errno != 0 ? errno : EIO);
        png_error(png, "write failed");
    }
}

bool PngWriter::start() {
    png_ = createWriter(&report_);
    info_ = png_ != nullptr ? png_create_info_struct(png_) : nullptr;
    if (info_ == nullptr || !kept_) {
        return fail(ENOMEM);
    }
    return guarded(png_, [this] {
        png_set_write_fn(png_, this, writeBytes, nullptr);
        png_set_compression_buffer_size(png_, kChunkSize);
        png_set_compression_level(png_, kCompressionLevel);
        png_set_filter(png_, PNG_FILTER_TYPE_BASE, kFilters);
        png_set_IHDR(png_, info_, static_cast<png_uint_32>(width_),
                     static_cast<png_uint_32>(height_), 8, PNG_COLOR_TYPE_RGB_ALPHA,
                     PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png_, info_);
        png_set_bgr(png_);
        png_set_swap_alpha(png_);
    });
}

bool PngWriter::encode(const std::uint8_t* row) {
    ++nextRow_;
    return guarded(png_, [this, row] { png_write_row(png_, row); });
}

bool PngWriter::encodeKept() {
    while (nextRow_ < height_ && kept_[static_cast<std::size_t>(nextRow_)]) {
        const Row row = std::move(kept_[static_cast<std::size_t>(nextRow_)]);
        if (!encode(row.get())) {
            return false;
        }
    }
    return true;
}

bool PngWriter::encodeRest() {
    const Row blank(new (std::nothrow)
                        std::uint8_t[static_cast<std::size_t>(width_) * base::kHostPixelBytes]{});
    if (!blank) {
        return fail(ENOMEM);
    }
    bool fine = true;
    while (fine && nextRow_ < height_) {
        fine = encodeKept() && (nextRow_ == height_ || encode(blank.get()));
    }
    return fine;
}

bool PngWriter::keep(int index, const std::uint8_t* row) {
    Row& place = kept_[static_cast<std::size_t>(index)];
    const std::size_t size = static_cast<std::size_t>(width_) * base::kHostPixelBytes;
    if (!place) {
        place.reset(new (std::nothrow) std::uint8_t[size]);
    }
    if (place) {
        std::memcpy(place.get(), row, size);
    }
    return place != nullptr || fail(ENOMEM);
}

bool PngWriter::writeRow(int index, const std::uint8_t* row) {
    if (isBroken() || index < nextRow_) {
        return false;
    }
    return index == nextRow_ ? encode(row) && encodeKept() : keep(index, row);
}

bool PngWriter::writeWhole(const std::uint8_t* lines) {
    const auto isKept = [](const Row& row) { return row != nullptr; };
    if (isBroken() || nextRow_ > 0 || std::any_of(kept_.get(), kept_.get() + height_, isKept)) {
        return false;
    }
    const auto error = writeWholePng(stream_.get(), {width_, height_}, lines);
    if (!error) {
        return false;
    }
    nextRow_ = height_;
    complete_ = true;
    if (*error != 0) {
        fail(*error);
    }
    return true;
}

bool PngWriter::finish() {
    if (!isBroken() && !complete_ && (nextRow_ == height_ || encodeRest())) {
        static_cast<void>(guarded(png_, [this] { png_write_end(png_, nullptr); }));
    }
    if (const int error = base::closeWritten(std::move(stream_)); error != 0) {
        fail(error);
    }
    return !isBroken();
}

} // namespace png_filter
