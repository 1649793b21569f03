// SPDX-License-Identifier: MIT
// Rows in any order, within a memory limit.
#include "driverUnderTest.h"
#include "pngPicture.h"

namespace {

using png_filter::PngPicture;

constexpr PngKind kPicture{9, 20, PNG_COLOR_TYPE_RGB_ALPHA, 8};
constexpr std::size_t kRow = std::size_t{9} * 4;

/// Row `y` of it from the top.
std::string rowOf(const PngKind& kind, int y) {
    return hostLines(makePng(kind))[static_cast<std::size_t>(kind.height - 1 - y)];
}

TEST_F(PngFilterTest, EveryOrderGivesEveryRowUnderEveryLimit) {
    const auto path = folder.write("a.png", makePng(kPicture));
    const std::pair<const char*, int (*)(int)> orders[] = {
        {"downwards", [](int i) { return i % 20; }},
        {"upwards", [](int i) { return 19 - i % 20; }},
        {"every other", [](int i) { return (2 * i + 1) % 21 % 20; }},
        {"scattered", [](int i) { return 7 * i % 20; }},
        {"down, then up", [](int i) { return i < 20 ? i : 39 - i; }},
    };
    for (const auto& [name, rowAt] : orders) {
        for (const std::size_t keptRows : {0U, 1U, 2U, 7U, 19U, 20U, 1000U}) {
            SCOPED_TRACE(std::string(name) + ", limit " + std::to_string(keptRows));
            png_filter::PngReport report;
            const auto picture = PngPicture::open(path.c_str(), report, keptRows * kRow);
            ASSERT_TRUE(picture);
            for (int i = 0; i < 40; ++i) { // every row twice
                const int row = rowAt(i);
                std::string got(kRow, 'x');
                ASSERT_TRUE(picture->readRow(row, reinterpret_cast<std::uint8_t*>(got.data())));
                EXPECT_EQ(got, rowOf(kPicture, row)) << row;
            }
            EXPECT_STREQ(picture->damage(), "");
        }
    }
}

TEST_F(PngFilterTest, AnInterlacedPictureAboveTheLimitIsRefused) {
    PngKind kind = kPicture;
    kind.interlaced = true;
    const auto path = folder.write("a.png", makePng(kind));
    png_filter::PngReport report;
    EXPECT_TRUE(PngPicture::open(path.c_str(), report, kRow * 20));
    EXPECT_FALSE(PngPicture::open(path.c_str(), report, kRow * 20 - 1));
    EXPECT_NE(std::string_view(report.reason()).find("interlaced"), std::string::npos);
}

TEST_F(PngFilterTest, AFileThatChangesUnderneathIsDamage) {
    PngKind kind{90, 90}; // more than a stream's read-ahead
    const auto path = folder.write("a.png", makePng(kind));
    png_filter::PngReport report;
    const auto picture = PngPicture::open(path.c_str(), report, 1);
    ASSERT_TRUE(picture);
    std::string row(90UL * 4, 'x');
    auto* out = reinterpret_cast<std::uint8_t*>(row.data());
    ASSERT_TRUE(picture->readRow(89, out));
    EXPECT_EQ(row, rowOf(kind, 89));
    kind.width = 91;
    folder.write("a.png", makePng(kind));
    ASSERT_TRUE(picture->readRow(0, out));
    EXPECT_EQ(row, std::string(row.size(), '\0'));
    EXPECT_STREQ(picture->damage(), "the file has changed");
    ASSERT_TRUE(picture->readRow(89, out));
    EXPECT_EQ(row, std::string(row.size(), '\0'));
}

TEST_F(PngFilterTest, EveryFlippedBitIsSurvived) {
    for (const Sample& sample : samples()) {
        for (std::size_t bit = 0; bit < sample.bytes.size() * 8; ++bit) {
            std::string bent = sample.bytes;
            bent[bit / 8] = static_cast<char>(bent[bit / 8] ^ (0x80 >> bit % 8));
            const auto path = folder.write(sample.name, bent);
            const support::CaptureStderr said;
            if (filter.read(path) == 0) {
                EXPECT_NE(filter.line(0), "?") << bit;
                EXPECT_NE(filter.line(filter.bounds[3] - 1), "?") << bit;
            }
            EXPECT_LE(said.lines(), 1) << said.text();
        }
    }
}

} // namespace
