// SPDX-License-Identifier: MIT
#include "scaler.h"

#include "alpha.h"
#include "base/byteOrder.h"
#include "base/hostPixel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <pixman.h>

namespace {

/// Longest sides of what the library is given at once: it counts in 1/65536 of a pixel, up to 32767
/// pixels. In a tile of this length the steps add up to an error of 1/128 of a pixel.
constexpr int kTile = 1024;
constexpr double kSource = 8192;

struct ImageDisposer {
    void operator()(pixman_image_t* image) const { pixman_image_unref(image); }
};
using Image = std::unique_ptr<pixman_image_t, ImageDisposer>;

/// A part of a raster, counted from its upper left corner. All its channels are the same to the
/// library, except alpha, so it may know them by other names.
Image imageOf(std::uint32_t* pixels, PixelSize whole, int left, int top, PixelSize part) {
    const auto width = static_cast<std::ptrdiff_t>(whole.width);
    std::uint32_t* first = pixels + (whole.height - 1 - top) * width + left;
    const int upwards = -4 * whole.width;
    Image image(pixman_image_create_bits(PIXMAN_a8r8g8b8, part.width, part.height, first, upwards));
    if (!image) {
        throw std::bad_alloc();
    }
    return image;
}

/// The more pixels are covered by one, the less it matters where exactly it begins.
int fractionBits(double step) {
    constexpr double kFew = 4;
    constexpr double kMany = 32;
    return step <= kFew ? 8 : step <= kMany ? 6 : 4;
}

template <typename Draw>
void forTiles(int begin, int end, int length, Draw draw) {
    for (; begin < end; begin += length) {
        draw(begin, std::min(begin + length, end));
    }
}

} // namespace

Raster::Raster(PixelSize sides)
    : size(sides),
      pixels(static_cast<std::size_t>(sides.width) * static_cast<std::size_t>(sides.height)) {}

tdr::Picture asPicture(const Raster& raster) {
    tdr::Picture picture{raster.size.width, raster.size.height, {}};
    picture.pixels.resize(raster.pixels.size() * base::kHostPixelBytes);
    for (std::size_t i = 0; i < raster.pixels.size(); ++i) {
        base::storeBe32(&picture.pixels[i * base::kHostPixelBytes], raster.pixels[i]);
    }
    changeAlpha(AlphaChange::Unpremultiply, picture.pixels);
    return picture;
}

int Scaler::Axis::tile() const {
    return std::clamp(static_cast<int>(kSource / step()), 1, kTile);
}

/// With the pixels around, which the filter may touch. Beyond the picture the last ones go on.
Scaler::Interval Scaler::Axis::source(Interval shown) const {
    const double margin = 1 + step();
    return {static_cast<int>(std::max(std::floor(shown.begin * step() - margin), 0.0)),
            static_cast<int>(std::min(std::ceil(shown.end * step() + margin), from * 1.0))};
}

Scaler::Scaler(PixelSize from, PixelSize to)
    : x_{from.width, to.width}, y_{from.height, to.height} {
    if (!x_.reduces() && !y_.reduces()) {
        return;
    }
    const auto repeatsOrMean = [](const Axis& axis) {
        return axis.reduces() ? PIXMAN_KERNEL_BOX : PIXMAN_KERNEL_IMPULSE;
    };
    const auto length = [](const Axis& axis) {
        return pixman_double_to_fixed(axis.reduces() ? axis.step() : 1);
    };
    const auto bits = [](const Axis& axis) {
        return axis.reduces() ? fractionBits(axis.step()) : 0;
    };
    int count = 0;
    const std::unique_ptr<pixman_fixed_t, decltype(&std::free)> made(
        pixman_filter_create_separable_convolution(
            &count, length(x_), length(y_), repeatsOrMean(x_), repeatsOrMean(y_), PIXMAN_KERNEL_BOX,
            PIXMAN_KERNEL_BOX, bits(x_), bits(y_)),
        &std::free);
    if (!made) {
        throw std::bad_alloc();
    }
    filter_.assign(made.get(), made.get() + count);
}

void Scaler::draw(const Raster& from, Raster& to, int left, int top) const {
    const Interval columns{std::max(0, -left), std::min(x_.to, to.size.width - left)};
    const Interval rows{std::max(0, -top), std::min(y_.to, to.size.height - top)};
    forTiles(rows.begin, rows.end, y_.tile(), [&](int upper, int lower) {
        forTiles(columns.begin, columns.end, x_.tile(), [&](int first, int last) {
            drawTile(from, to, left, top, {first, last}, {upper, lower});
        });
    });
}

void Scaler::drawTile(const Raster& from, Raster& to, int left, int top, Interval columns,
                      Interval rows) const {
    const Interval x = x_.source(columns);
    const Interval y = y_.source(rows);
    auto* readOnly = const_cast<std::uint32_t*>(from.pixels.data()); // the library has one type
    const Image source =
        imageOf(readOnly, from.size, x.begin, y.begin, {x.end - x.begin, y.end - y.begin});
    const pixman_transform toSource{{{pixman_double_to_fixed(x_.step()), 0,
                                      pixman_double_to_fixed(columns.begin * x_.step() - x.begin)},
                                     {0, pixman_double_to_fixed(y_.step()),
                                      pixman_double_to_fixed(rows.begin * y_.step() - y.begin)},
                                     {0, 0, pixman_fixed_1}}};
    pixman_image_set_repeat(source.get(), PIXMAN_REPEAT_PAD);
    const bool set = pixman_image_set_transform(source.get(), &toSource) != 0 &&
                     pixman_image_set_filter(source.get(),
                                             filter_.empty() ? PIXMAN_FILTER_NEAREST
                                                             : PIXMAN_FILTER_SEPARABLE_CONVOLUTION,
                                             filter_.data(), static_cast<int>(filter_.size())) != 0;
    if (!set) {
        throw std::bad_alloc();
    }
    const Image target = imageOf(to.pixels.data(), to.size, 0, 0, to.size);
    pixman_image_composite32(PIXMAN_OP_OVER, source.get(), nullptr, target.get(), 0, 0, 0, 0,
                             left + columns.begin, top + rows.begin, columns.end - columns.begin,
                             rows.end - rows.begin);
}

// --- Line by line --------------------------------------------------------------------------------

LineReducer::LineReducer(PixelSize picture, PixelSize reduced)
    : reduced_(reduced), narrow_({picture.width, 1}, {reduced.width, 1}), line_({picture.width, 1}),
      lines_({reduced.width, picture.height}) {}

void LineReducer::add(std::span<std::uint8_t> line) {
    changeAlpha(AlphaChange::Premultiply, line);
    for (std::size_t i = 0; i < line_.pixels.size(); ++i) {
        line_.pixels[i] = base::loadBe32(&line[i * base::kHostPixelBytes]);
    }
    narrow_.draw(line_, lines_, 0, row_++);
}

void LineReducer::repeat() {
    const auto last = lines_.pixels.begin() + std::ptrdiff_t{row_ - 1} * reduced_.width;
    for (; row_ < lines_.size.height; ++row_) {
        std::copy_n(last, reduced_.width,
                    lines_.pixels.begin() + std::ptrdiff_t{row_} * reduced_.width);
    }
}

bool LineReducer::repeats(int count) const {
    if (count > row_) {
        return false;
    }
    const std::ptrdiff_t width = reduced_.width;
    const auto begin = lines_.pixels.begin() + (row_ - count) * width;
    const auto end = lines_.pixels.begin() + row_ * width;
    return std::equal(begin + width, end, begin);
}

Raster LineReducer::finish() const {
    Raster reduced(reduced_);
    Scaler(lines_.size, reduced_).draw(lines_, reduced, 0, 0);
    return reduced;
}
