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
        {PNG_COLOR_TYPE_GRAY, true, {1, 2, 4, 8}}, {PNG_COLOR_TYPE_PALETTE, true, {1, 2, 4, 8}},
        {PNG_COLOR_TYPE_RGB, true, {8}},           {PNG_COLOR_TYPE_GRAY_ALPHA, false, {8}},
        {PNG_COLOR_TYPE_RGB_ALPHA, false, {8}},
    };
    for (const auto& c : colours) {
        for (const int depth : c.depths) {
            for (int option = 0; option < (c.mayHaveTransparency ? 4 : 2); ++option) {
                PngKind kind{37, 11, c.colour, depth};
                kind.interlaced = option % 2 != 0;
                kind.transparency = option / 2 != 0;
                SCOPED_TRACE(nameOf(kind));
                const support::CaptureStderr said;
                const std::string png = makePng(kind);
                const auto lines = hostLines(png);
                ASSERT_EQ(filter.read(folder.write("a.png", png)), 0);
                EXPECT_EQ(filter.bounds[2], kind.width);
                EXPECT_EQ(filter.bounds[3], kind.height);
                for (int y = 0; y < kind.height; ++y) { // from the bottom
                    ASSERT_EQ(filter.line(y), lines[static_cast<std::size_t>(y)]) << y;
                }
                EXPECT_EQ(said.text(), "");
            }
        }
    }
}

TEST_F(PngFilterTest, SixteenBitsAreRoundedToEight) {
    for (const int colour : {PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB,
                             PNG_COLOR_TYPE_RGB_ALPHA}) {
        const PngKind kind{37, 11, colour, 16};
        const int channels = channelsOf(colour);
        const int grey = channels < 3 ? 0 : 1; // 0: all three colours are the first channel
        ASSERT_EQ(filter.read(folder.write("a.png", makePng(kind))), 0);
        for (int y = 0; y < kind.height; ++y) {
            std::string line;
            for (int i = 0; i < 4 * kind.width; ++i) {
                const int channel = i % 4 == 0 ? channels - 1 : grey * (3 - i % 4);
                const int value = sampleAt(i / 4, kind.height - 1 - y, channel, 16);
                const bool opaque = i % 4 == 0 && channels % 2 != 0;
                line += static_cast<char>(opaque ? 255 : (value * 255 + 32767) / 65535);
            }
            EXPECT_EQ(filter.line(y), line) << "colour type " << colour << ", line " << y;
        }
    }
}

} // namespace
