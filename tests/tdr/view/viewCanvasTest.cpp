// SPDX-License-Identifier: MIT
// Where a picture is in its window, and what of it is drawn.
#include "view/viewCanvas.h"
#include "view/viewCaption.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

namespace {

using Line = std::vector<std::uint8_t>;

TEST(ViewWindow, HasTheSizeOfItsPictureButAtLeastOfAHand) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        const char* name;
        PixelSize picture;
        double ratio;
        PixelSize window; ///< in a room of 800 x 600
    } rows[] = {
        {"as it is", {640, 480}, 1, {640, 480}},
        {"fits exactly", {800, 600}, 1, {800, 600}},
        {"one column too many", {801, 600}, 1, {800, 599}},
        {"twice too high", {400, 1200}, 1, {200, 600}},
        {"wide pixels", {300, 200}, 2, {600, 200}},
        {"high pixels", {300, 200}, 0.5, {300, 400}},
        {"stretched beyond the room", {720, 486}, 2, {800, 270}},
        {"a line", {32767, 1}, 1, {800, 1}},
        {"the largest", {32767, 32767}, 1, {600, 600}},
        {"no ratio", {600, 200}, 0, {600, 200}},
        {"negative ratio", {600, 200}, -1, {600, 200}},
        {"wild ratio", {600, 200}, 1e30, {600, 200}},
        {"not a number", {600, 200}, nan, {600, 200}},
        {"a hand", {320, 10}, 1, {320, 10}},
        {"smaller", {319, 10}, 1, {638, 20}},
        {"much smaller", {3, 1}, 1, {321, 107}},
        {"smaller, but no room for more", {310, 310}, 1, {310, 310}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(windowSize(row.picture, row.ratio, {800, 600}), row.window) << row.name;
    }
}

TEST(ViewPort, FitsScalesAndMoves) {
    ViewPort port({1000, 800}, 1, {400, 300});
    const auto expect = [&](const char* what, PixelSize shown, int left, int top) {
        EXPECT_EQ(port.shown(), shown) << what;
        EXPECT_EQ(port.left(), left) << what;
        EXPECT_EQ(port.top(), top) << what;
    };
    expect("fits", {375, 300}, 12, 0);
    EXPECT_EQ(port.pixelAt(11, 0), std::nullopt);
    EXPECT_EQ(port.pixelAt(387, 0), std::nullopt);
    EXPECT_EQ(port.pixelAt(12, 299), (ViewPort::Pixel{0, 797}));
    port.resizeWindow({200, 300});
    expect("still fits", {200, 160}, 0, 70);
    port.resizeWindow({400, 300});
    port.zoom(1, 200, 150); // 3/8 to 1/2
    expect("larger", {500, 400}, -51, -50);
    EXPECT_EQ(port.pixelAt(200, 150), (ViewPort::Pixel{502, 400}));
    port.pan(1000, -7);
    expect("at its left edge", {500, 400}, 0, -57);
    port.pan(-1000, -1000);
    expect("at its lower right corner", {500, 400}, -100, -100);
    port.resizeWindow({420, 300});
    expect("no longer refitted", {500, 400}, -80, -100);
    port.zoom(-1, 0, 0); // 1/3
    expect("smaller", {333, 267}, 43, 16);
    port.showPixels();
    expect("as it is", {1000, 800}, -291, -252);
    port.zoom(1, 0, 0);
    EXPECT_EQ(port.scale(), 2);
    port.zoom(100, 0, 0);
    EXPECT_EQ(port.scale(), 64);
    port.zoom(-100, 0, 0);
    EXPECT_EQ(port.shown(), (PixelSize{8, 6}));
    port.fit();
    expect("fits again", {375, 300}, 22, 0);

    ViewPort small({30, 20}, 0.5, {100, 100});
    EXPECT_EQ(small.shown(), (PixelSize{60, 80})); // by a whole number
}

std::uint32_t grey(std::uint32_t value) {
    return value | value << 8 | value << 16 | 0xff000000U;
}

/// Lines come from the top, pixels leave from the bottom.
std::vector<std::uint32_t> shown(PixelSize size, PixelSize window, const std::vector<Line>& lines,
                                 const ViewLayer& layer = {}) {
    tdr::Picture picture{size.width, size.height, {}};
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        picture.pixels.insert(picture.pixels.end(), line->begin(), line->end());
    }
    return drawView(layerOf(picture, layer), ViewPort(size, 1, window)).pixels;
}

/// The scaling rounds more than once.
void expectNear(const std::vector<std::uint32_t>& found, const std::vector<std::uint32_t>& wanted) {
    ASSERT_EQ(found.size(), wanted.size());
    for (std::size_t i = 0; i < found.size(); ++i) {
        for (const int shift : {0, 8, 16, 24}) {
            const auto sample = [&](std::uint32_t pixel) {
                return static_cast<int>(pixel >> shift & 0xffU);
            };
            EXPECT_LE(std::abs(sample(found[i]) - sample(wanted[i])), 1) << i << " " << shift;
        }
    }
}

const std::vector<Line> kLines = {
    {255, 1, 2, 3, /**/ 0, 9, 9, 9, /**/ 128, 0, 100, 255},
    {255, 255, 255, 255, /**/ 255, 0, 0, 0, /**/ 1, 0, 0, 0},
};

/// The checkerboard's first square is 204.
TEST(ViewCanvas, LaysPixelsOverTheCheckerboard) {
    // 128 of 255: 204 * 127 / 255 = 101.6, and 128 * 100 / 255 = 50.2, 128 * 255 / 255 = 128.
    const std::vector<std::uint32_t> expected = {grey(255),   grey(0),   grey(203),
                                                 0xff010203U, grey(204), 0xff6698e6U};
    EXPECT_EQ(shown({3, 2}, {3, 2}, kLines), expected);
}

TEST(ViewCanvas, ShowsOneChannelOrColoursAlreadyMultiplied) {
    const struct {
        ViewLayer layer;
        std::uint32_t upperRight;
    } cases[] = {
        {{ViewChannel::Red}, grey(255)},
        {{ViewChannel::Green}, grey(100)},
        {{ViewChannel::Blue, true}, grey(0)},
        {{ViewChannel::Alpha}, grey(128)},
        {{ViewChannel::Colours, true}, 0xff66caffU}, // 102 + 0, 100, 255
    };
    for (const auto& c : cases) {
        EXPECT_EQ(shown({3, 2}, {3, 2}, kLines, c.layer)[5], c.upperRight)
            << static_cast<int>(c.layer.channel);
    }
}

TEST(ViewCanvas, ChangesSquaresEveryEightPixelsAndLeavesTheRestBlack) {
    const auto pixels = shown({17, 9}, {19, 9}, std::vector<Line>(9, Line(68, 0)));
    const auto at = [&](std::size_t column, std::size_t row) {
        return pixels[(8 - row) * 19 + column];
    };
    EXPECT_EQ(at(0, 0), 0U); // the picture is in the middle
    EXPECT_EQ(at(1, 0), grey(204));
    EXPECT_EQ(at(7, 7), grey(204));
    EXPECT_EQ(at(8, 7), grey(153));
    EXPECT_EQ(at(7, 8), grey(153));
    EXPECT_EQ(at(8, 8), grey(204));
    EXPECT_EQ(at(17, 8), grey(153));
    EXPECT_EQ(at(18, 8), 0U);
}

/// A pixel shown covers 1.5 of the picture's in each direction: weights 2 and 1 of 3.
TEST(ViewCanvas, ReducesByTheMeanOfTheAreaCovered) {
    const auto line = [](std::uint8_t a, std::uint8_t b, std::uint8_t c) {
        return Line{255, a, a, a, 255, b, b, b, 255, c, c, c};
    };
    const std::vector<std::uint32_t> expected = {
        grey((1 * 40 * 2 + 1 * 50 + 2 * 70 * 2 + 2 * 80 + 4) / 9), // lower left
        grey((1 * 50 + 1 * 60 * 2 + 2 * 80 + 2 * 90 * 2 + 4) / 9),
        grey((2 * 10 * 2 + 2 * 20 + 1 * 40 * 2 + 1 * 50 + 4) / 9), // upper left
        grey((2 * 20 + 2 * 30 * 2 + 1 * 50 + 1 * 60 * 2 + 4) / 9)};
    expectNear(shown({3, 3}, {2, 2}, {line(10, 20, 30), line(40, 50, 60), line(70, 80, 90)}),
               expected);
    // Half of the area is opaque white, the other half has an invisible colour.
    const Line half = {255, 255, 255, 255, 0, 9, 0, 0};
    expectNear(shown({2, 1}, {1, 1}, {half}), {grey(230)}); // (255 + 204) / 2 = 229.5
}

TEST(ViewCanvas, RepeatsPixelsWhenItEnlarges) {
    const Line line = {255, 10, 20, 30, 255, 40, 50, 60};
    const std::uint32_t left = 0xff0a141eU;
    const std::uint32_t right = 0xff28323cU;
    EXPECT_EQ(shown({2, 1}, {4, 2}, {line}),
              (std::vector{left, left, right, right, left, left, right, right}));
    // Far into a picture every column is still at its place.
    std::vector<Line> wide(1);
    for (int column = 0; column < 1100; ++column) {
        const auto value = static_cast<std::uint8_t>(column * 7);
        wide[0].insert(wide[0].end(), {255, value, value, value});
    }
    const auto pixels = shown({1100, 1}, {3300, 3}, wide);
    for (std::size_t column = 0; column < 3300; ++column) {
        ASSERT_EQ(pixels[column] & 0xffU, column / 3 * 7 % 256) << column;
    }
}

TEST(ViewCanvas, KeepsWhiteWhiteAtTheLargestSize) {
    const Line white(std::size_t{4} * 32767, 255);
    EXPECT_EQ(shown({32767, 1}, {5, 1}, {white}), std::vector<std::uint32_t>(5, grey(255)));
    EXPECT_EQ(shown({1, 32767}, {1, 5}, std::vector<Line>(32767, Line(4, 255))),
              std::vector<std::uint32_t>(5, grey(255)));
}

TEST(ViewCaption, WritesNumbersIntoACorner) {
    const std::vector<std::string> lines = {
        "                                 ", //
        "                                 ", //
        "    #          ###   ###   ###   ", //
        "   ##    ##   #   # #   # #   #  ", //
        "    #    ##       # #  ## #   #  ", //
        "    #            #  # # #  ###   ", //
        "    #    ##     #   ##  # #   #  ", //
        "    #    ##    #    #   # #   #  ", //
        "   ###        #####  ###   ###   ", //
        "                                 ", //
        "                                 ", //
    };
    const struct {
        CaptionPlace place;
        int top, scale;
        PixelSize window;
    } cases[] = {
        {CaptionPlace::Bottom, 19, 1, {40, 30}},
        {CaptionPlace::Top, 0, 1, {40, 30}},
        {CaptionPlace::Top, 0, 2, {66, 480}},
        {CaptionPlace::Bottom, 0, 1, {9, 5}}, // cut off
    };
    for (const auto& c : cases) {
        Raster window(c.window);
        drawCaption("1:208", c.place, window);
        for (int row = 0; row < c.window.height; ++row) {
            for (int column = 0; column < c.window.width; ++column) {
                const int line = (row - c.top) / c.scale;
                const bool inside = row >= c.top && line < 11 && column / c.scale < 33;
                const bool dot = inside && lines[static_cast<std::size_t>(line)]
                                                [static_cast<std::size_t>(column / c.scale)] == '#';
                const auto at =
                    static_cast<std::size_t>((c.window.height - 1 - row) * c.window.width + column);
                ASSERT_EQ(window.pixels[at], inside ? grey(dot ? 255 : 0) : 0U)
                    << row << " " << column;
            }
        }
    }
}

} // namespace
