// SPDX-License-Identifier: MIT
// Converts the pixels of a picture to those of a screen. Independent of the window system.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// How a screen stores one pixel.
struct ScreenPixel {
    std::uint32_t red = 0;   ///< mask of the bits of the red sample; any width, contiguous
    std::uint32_t green = 0; ///< the same for green
    std::uint32_t blue = 0;  ///< the same for blue
    int depth = 0;           ///< significant bits, 1 to 32; those in no mask are opacity
    int bytes = 0;           ///< bytes a pixel takes in memory, 1 to 4
    bool highByteFirst = false;
};

/// Encodes picture pixels (red in the low byte) for a screen. Plain data: needs no destructor.
class PixelEncoder {
  public:
    PixelEncoder() = default;
    explicit PixelEncoder(const ScreenPixel& screen);

    /// The screen's value of one pixel. Samples are scaled to the width of their mask and rounded
    /// to the nearest value; bits of the depth that belong to no sample are set, so that a
    /// compositor that uses them as opacity shows the picture opaque.
    [[nodiscard]] std::uint32_t encode(std::uint32_t pixel) const {
        return red_[pixel & 0xffU] | green_[(pixel >> 8) & 0xffU] | blue_[(pixel >> 16) & 0xffU] |
               opaque_;
    }

    /// Stores `row` at `to`, which has room for `bytes` times its length.
    void encodeRow(std::span<const std::uint32_t> row, unsigned char* to) const;

  private:
    using Samples = std::array<std::uint32_t, 256>;
    static Samples scaled(std::uint32_t mask);

    Samples red_{};
    Samples green_{};
    Samples blue_{};
    std::uint32_t opaque_ = 0;
    std::size_t bytes_ = 0;
    std::array<int, 4> shifts_{}; ///< of the value, for each byte in memory order
};
