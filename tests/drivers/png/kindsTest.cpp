// SPDX-License-Identifier: MIT
// Every kind of PNG becomes RGBA of 8 bits.
#include "driverUnderTest.h"

namespace {

std::string nameOf(const PngKind& kind) {
    return "colour type " + std::to_string(kind.colour) + ", depth " + std::to_string(kind.depth) +
           (kind.interlaced ? ", interlaced" : "") + (kind.transparency ? ", tRNS" : "");
}

TEST_F(PngFilterTest, EveryKindComesOutAsHostPixels) {
    const struct {
        int colour;
        bool mayHaveTransparency;
        std::vector<int> depths;
    } colours[] = {
        {PNG_COLOR_TYPE_GRAY, true, {1, 2, 4, 8, 16}}, {PNG_COLOR_TYPE_PALETTE, true, {1, 2, 4, 8}},
        {PNG_COLOR_TYPE_RGB, true, {8, 16}},           {PNG_COLOR_TYPE_GRAY_ALPHA, false, {8, 16}},
        {PNG_COLOR_TYPE_RGB_ALPHA, false, {8, 16}},
    };
    for (const auto& c : colours) {
        for (const int depth : c.depths) {
            for (int option = 0; option < (c.mayHaveTransparency ? 4 : 2); ++option) {
                PngKind kind{37, 11, c.colour, depth};
                kind.interlaced = option % 2 != 0;
                kind.transparency = option / 2 != 0;
                SCOPED_TRACE(nameOf(kind));
                const support::CaptureStderr said;
                ASSERT_EQ(filter.read(folder.write("a.png", makePng(kind))), 0);
                EXPECT_EQ(filter.bounds[2], kind.width);
                EXPECT_EQ(filter.bounds[3], kind.height);
                for (int y = 0; y < kind.height; ++y) { // from the bottom
                    ASSERT_EQ(filter.line(y), expectedRow(kind, kind.height - 1 - y)) << y;
                }
                ASSERT_EQ(filter.read(folder / "a.png"), 0);
                for (int k = 0; k < kind.height; ++k) { // from the top
                    ASSERT_EQ(filter.line(kind.height - 1 - k), expectedRow(kind, k)) << k;
                }
                EXPECT_EQ(said.text(), "");
            }
        }
    }
}

} // namespace
