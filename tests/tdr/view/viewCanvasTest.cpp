// SPDX-License-Identifier: MIT
#include "view/viewCanvas.h"

#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace {

using Line = std::vector<std::uint8_t>;

TEST(ViewSize, StretchesByTheRatioAndFitsTheRoom) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const struct {
        const char* name;
        ViewSize picture;
        double ratio;
        ViewSize shown; ///< in a room of 800 x 600
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
        {"no ratio", {300, 200}, 0, {300, 200}},
        {"negative ratio", {300, 200}, -1, {300, 200}},
        {"wild ratio", {300, 200}, 1e30, {300, 200}},
        {"not a number", {300, 200}, nan, {300, 200}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(viewSize(row.picture, row.ratio, {800, 600}), row.shown) << row.name;
    }
}

std::uint32_t grey(std::uint32_t value) {
    return value | value << 8 | value << 16 | 0xff000000U;
}

std::vector<std::uint32_t> shown(ViewSize picture, ViewSize size, const std::vector<Line>& lines) {
    ViewCanvas canvas(picture, size);
    for (const Line& line : lines) {
        canvas.addLine(line);
    }
    return canvas.pixels();
}

/// The checkerboard's first square is 204. Lines come from the top, pixels leave from the bottom.
TEST(ViewCanvas, LaysPixelsOverTheCheckerboard) {
    const std::vector<Line> lines = {
        {255, 1, 2, 3, /**/ 0, 9, 9, 9, /**/ 128, 0, 100, 255},
        {255, 255, 255, 255, /**/ 255, 0, 0, 0, /**/ 1, 0, 0, 0},
    };
    // 128 of 255: 204 * 127 / 255 = 101.6, and 128 * 100 / 255 = 50.2, 128 * 255 / 255 = 128.
    const std::vector<std::uint32_t> expected = {grey(255),   grey(0),   grey(203),
                                                 0xff010203U, grey(204), 0xff6698e6U};
    EXPECT_EQ(shown({3, 2}, {3, 2}, lines), expected);
}

TEST(ViewCanvas, ChangesSquaresEveryEightPixels) {
    const auto pixels = shown({17, 9}, {17, 9}, std::vector<Line>(9, Line(68, 0)));
    const auto at = [&](std::size_t column, std::size_t row) {
        return pixels[(8 - row) * 17 + column];
    };
    EXPECT_EQ(at(7, 7), grey(204));
    EXPECT_EQ(at(8, 7), grey(153));
    EXPECT_EQ(at(7, 8), grey(153));
    EXPECT_EQ(at(8, 8), grey(204));
    EXPECT_EQ(at(16, 7), grey(204));
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
    EXPECT_EQ(shown({3, 3}, {2, 2}, {line(10, 20, 30), line(40, 50, 60), line(70, 80, 90)}),
              expected);
}

/// Half of the area is opaque white, the other half has an invisible colour.
TEST(ViewCanvas, WeighsColoursByTheirAlpha) {
    const Line line = {255, 255, 255, 255, 0, 0, 0, 0};
    EXPECT_EQ(shown({2, 1}, {1, 1}, {line}), std::vector{grey(230)}); // (255 + 204) / 2 = 229.5
}

TEST(ViewCanvas, RepeatsPixelsWhenItStretches) {
    const Line line = {255, 10, 20, 30, 255, 40, 50, 60};
    const std::uint32_t left = 0xff0a141eU;
    const std::uint32_t right = 0xff28323cU;
    EXPECT_EQ(shown({2, 1}, {4, 2}, {line}),
              (std::vector{left, left, right, right, left, left, right, right}));
}

/// Every sum at its largest, in one direction and in the other.
TEST(ViewCanvas, KeepsWhiteWhiteAtTheLargestSize) {
    const Line white(std::size_t{4} * 32767, 255);
    EXPECT_EQ(shown({32767, 1}, {1, 5}, {white}), std::vector<std::uint32_t>(5, grey(255)));

    const Line narrow(4, 255);
    EXPECT_EQ(shown({1, 32767}, {5, 1}, std::vector<Line>(32767, narrow)),
              std::vector<std::uint32_t>(5, grey(255)));
}

} // namespace
