// SPDX-License-Identifier: MIT
// Scales pixels in memory, by libpixman.
#pragma once

#include "tdr/picture.h"

#include <cstdint>
#include <span>
#include <vector>

struct PixelSize {
    int width = 0;
    int height = 0;
    bool operator==(const PixelSize&) const = default;
};

/// Pixels in memory, the bottom row first, as windows take them: red in the lowest byte, then
/// green, blue and alpha, by which the colours are multiplied.
struct Raster {
    explicit Raster(PixelSize sides);

    PixelSize size;
    std::vector<std::uint32_t> pixels; ///< at first invisible
};

/// The pixels as drivers take them.
[[nodiscard]] tdr::Picture asPicture(const Raster& raster);

/// A scaling from one size to another, for any number of rasters of the first size. An enlarged
/// direction repeats pixels; in a reduced one each pixel is the mean of what it covers.
class Scaler {
  public:
    /// Both sizes have sides of 1 ... 32767.
    Scaler(PixelSize from, PixelSize to);

    /// Draws `from`, scaled, over `to`: its upper left corner at these pixels from that of `to`.
    /// What lies outside is left out.
    void draw(const Raster& from, Raster& to, int left, int top) const;

  private:
    struct Interval {
        int begin = 0;
        int end = 0;
    };
    /// One direction.
    struct Axis {
        int from;
        int to;
        [[nodiscard]] double step() const { return static_cast<double>(from) / to; }
        [[nodiscard]] bool reduces() const { return from > to; }
        [[nodiscard]] int tile() const;
        [[nodiscard]] Interval source(Interval shown) const;
    };
    void drawTile(const Raster& from, Raster& to, int left, int top, Interval columns,
                  Interval rows) const;

    Axis x_;
    Axis y_;
    std::vector<std::int32_t> filter_; ///< of the library; empty: nothing is reduced
};

/// Reduces a picture that arrives line by line. It narrows every line at once, so that it needs
/// only the memory of the narrow lines.
class LineReducer {
  public:
    LineReducer(PixelSize picture, PixelSize reduced);

    /// Adds the next line, beginning with the top one: pixels of four bytes, in the order alpha,
    /// blue, green, red, which it multiplies by their alpha.
    void add(std::span<std::uint8_t> line);

    /// Adds the last line once more for each line that is left, if any.
    void repeat();

    /// True if the last `count` lines are one and the same.
    [[nodiscard]] bool repeats(int count) const;

    /// The picture, once all lines have been added.
    [[nodiscard]] Raster finish() const;

  private:
    PixelSize reduced_;
    Scaler narrow_;
    Raster line_;
    Raster lines_;
    int row_ = 0; ///< of the next line
};
