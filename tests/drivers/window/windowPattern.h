// SPDX-License-Identifier: MIT
// The picture that the window tests show: no two neighbours, edges or channels alike.
#pragma once

#include <cstdint>
#include <vector>

/// One pixel, red in the low byte; `row` counts from the bottom.
constexpr std::uint32_t patternPixel(int column, int row) {
    const auto x = static_cast<std::uint32_t>(column);
    const auto y = static_cast<std::uint32_t>(row);
    const std::uint32_t red = (3 * x + y) & 0xffU;
    const std::uint32_t green = (x / 2 + 5 * y + 40) & 0xffU;
    const std::uint32_t blue = (255 - x + y / 3) & 0xffU;
    return red | green << 8 | blue << 16 | ((x * y) & 0xffU) << 24;
}

inline std::vector<std::uint32_t> pattern(int width, int height) {
    std::vector<std::uint32_t> pixels;
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            pixels.push_back(patternPixel(column, row));
        }
    }
    return pixels;
}
