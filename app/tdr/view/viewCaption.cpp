// SPDX-License-Identifier: MIT
#include "viewCaption.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace {

constexpr int kWidth = 6; ///< of a character with the gap after it, in dots
constexpr int kRows = 7;
constexpr int kMargin = 2;

/// The five dots of each row are the low bits, the left one is the highest.
struct Glyph {
    char character;
    std::array<std::uint8_t, kRows> rows;
};

constexpr Glyph kGlyphs[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
    {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}},
    {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}},
    {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}},
    {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}},
    {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {',', {0x00, 0x00, 0x00, 0x00, 0x0C, 0x04, 0x08}},
    {':', {0x00, 0x0C, 0x0C, 0x00, 0x0C, 0x0C, 0x00}},
};

/// Whether the text has a dot there; none is in its margin.
bool hasDot(std::string_view text, int column, int row) {
    column -= kMargin;
    row -= kMargin;
    const auto at = static_cast<std::size_t>(std::max(column, 0) / kWidth);
    if (column < 0 || row < 0 || row >= kRows || at >= text.size()) {
        return false;
    }
    const auto* glyph = std::ranges::find(kGlyphs, text[at], &Glyph::character);
    if (glyph == std::end(kGlyphs)) {
        return false;
    }
    const int withGap = glyph->rows[static_cast<std::size_t>(row)] << 1;
    return (withGap >> (kWidth - 1 - column % kWidth) & 1) != 0;
}

} // namespace

void drawCaption(std::string_view text, CaptionPlace place, Raster& window) {
    constexpr int kLines = 240; ///< of the screen, with one pixel for a dot
    const int scale = std::max(window.size.height / kLines, 1);
    const int width = (static_cast<int>(text.size()) * kWidth - 1 + 2 * kMargin) * scale;
    const int height = (kRows + 2 * kMargin) * scale;
    const int top = place == CaptionPlace::Top ? 0 : std::max(window.size.height - height, 0);
    for (int row = 0; row < std::min(height, window.size.height); ++row) {
        const auto fromBottom = static_cast<std::size_t>(window.size.height - 1 - top - row);
        std::uint32_t* line =
            &window.pixels[fromBottom * static_cast<std::size_t>(window.size.width)];
        for (int column = 0; column < std::min(width, window.size.width); ++column) {
            line[column] = hasDot(text, column / scale, row / scale) ? 0xffffffffU : 0xff000000U;
        }
    }
}
