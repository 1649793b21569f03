// SPDX-License-Identifier: MIT
// Pixel layouts that the test server does not have.
#include "bufferWindowPixels.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

TEST(WindowPixels, AreStoredInTheScreensLayout) {
    // Red 255 green 0 blue 128, then red 0 green 8 blue 255.
    const std::uint32_t row[] = {0x7f8000ffU, 0x00ff0800U};
    const struct {
        const char* name;
        ScreenPixel screen;
        std::vector<unsigned char> bytes; ///< of the row's two pixels
    } layouts[] = {
        {"three bytes, low first",
         {0xff0000, 0xff00, 0xff, 24, 3, false},
         {0x80, 0x00, 0xff, 0xff, 0x08, 0x00}},
        {"three bytes, high first",
         {0xff0000, 0xff00, 0xff, 24, 3, true},
         {0xff, 0x00, 0x80, 0x00, 0x08, 0xff}},
        {"four bytes, high first, opacity",
         {0xff, 0xff00, 0xff0000, 32, 4, true},
         {0xff, 0x80, 0x00, 0xff, 0xff, 0xff, 0x08, 0x00}},
        {"two bytes, high first", // 128 * 31 / 255 = 15.6, 8 * 63 / 255 = 1.98
         {0xf800, 0x07e0, 0x001f, 16, 2, true},
         {0xf8, 0x10, 0x00, 0x5f}},
        {"a mask of all bits and two of none",
         {0xffffffffU, 0, 0, 32, 4, false},
         {0xff, 0xff, 0xff, 0xff, 0, 0, 0, 0}},
    };
    for (const auto& layout : layouts) {
        std::vector<unsigned char> bytes(layout.bytes.size() + 1, 0xaa);
        PixelEncoder(layout.screen).encodeRow(row, bytes.data());
        EXPECT_EQ(bytes.back(), 0xaa) << layout.name;
        bytes.pop_back();
        EXPECT_EQ(bytes, layout.bytes) << layout.name;
    }
}

} // namespace
