// SPDX-License-Identifier: MIT
// Converts the lines of a picture to the contents of a window: scaled, and over a checkerboard
// where it is not opaque.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

struct ViewSize {
    int width = 0;
    int height = 0;
    bool operator==(const ViewSize&) const = default;
};

/// The size of a picture in the window: stretched by the width to height ratio of its pixels
/// (`meantRatio`), then reduced, if necessary, to fit into `room`; at least 1 x 1.
[[nodiscard]] ViewSize viewSize(ViewSize picture, double ratio, ViewSize room);

/// Grey of the checkerboard at a pixel of the window, counted from its upper left corner.
[[nodiscard]] constexpr std::uint32_t checkerboard(int column, int row) {
    constexpr int kSquare = 8;
    return (column / kSquare + row / kSquare) % 2 == 0 ? 204 : 153;
}

/// Takes a picture line by line, so that a picture of any size needs only the memory of a screen.
/// Every shown pixel is the mean of the area of the picture that it covers (a box filter), weighted
/// by alpha. The arithmetic is exact; at its own size a picture keeps its opaque pixels exactly.
class ViewCanvas {
  public:
    /// Both sizes have sides of 1 ... 32767.
    ViewCanvas(ViewSize picture, ViewSize shown);

    /// Adds the next line, beginning with the top one: pixels of four bytes, in the order alpha,
    /// blue, green, red, not multiplied by alpha. `line` holds at least the picture's width.
    void addLine(std::span<const std::uint8_t> line);

    /// The picture in the layout of pasteBuffer: red in the low byte, bottom row first. Complete
    /// when every line has been added.
    [[nodiscard]] const std::vector<std::uint32_t>& pixels() const { return pixels_; }

  private:
    /// Sums over an area: alpha, and blue, green and red multiplied by alpha.
    template <typename Number>
    using Sums = std::array<Number, 4>;

    void narrowLine(std::span<const std::uint8_t> line);
    void emitRow(int row);

    ViewSize picture_;
    ViewSize shown_;
    std::vector<Sums<std::uint32_t>> line_; ///< one line at the shown width
    std::vector<Sums<std::uint64_t>> rows_; ///< sums of the row being filled
    std::uint64_t position_ = 0;            ///< from the top; the picture is height x height long
    std::vector<std::uint32_t> pixels_;
};
