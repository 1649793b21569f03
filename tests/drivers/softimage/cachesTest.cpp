// SPDX-License-Identifier: MIT
// Whole pictures in one block, with what hosts have learnt to expect of them.
#include "filterFixture.h"

namespace {

constexpr int kWidth = 4;
constexpr int kHeight = 4;
constexpr std::size_t kLine = std::size_t{kWidth} * 4;

/// Rows of a block, bottom line first, each seeded with its y.
std::string pictureBlock() {
    std::string block;
    for (int y = 0; y < kHeight; ++y) {
        block += hostLine(kWidth, y);
    }
    return block;
}

std::string row(const std::string& block, std::size_t y) {
    return block.substr(y * kLine, kLine);
}

TEST_F(FilterTest, AWholePictureWrittenAtOnceIsTheOneWrittenByLines) {
    ASSERT_EQ(filter.write(folder / "block.pic", kWidth, kHeight), 0);
    ASSERT_EQ(filter.putAll(pictureBlock()), 0);
    EXPECT_EQ(filter.lastWrittenLine, 0) << "rows stand for file order";
    ASSERT_EQ(filter.write(folder / "lines.pic", kWidth, kHeight), 0);
    for (int y = kHeight - 1; y >= 0; --y) {
        ASSERT_EQ(filter.put(hostLine(kWidth, y), y), 0);
    }
    ASSERT_EQ(filter.disconnectFromFile(), 1);
    EXPECT_EQ(fileBytes(folder / "block.pic"), fileBytes(folder / "lines.pic"));
}

TEST_F(FilterTest, AWholePictureReadAtOnceHasTheTopLineInRowZero) {
    ASSERT_EQ(filter.write(folder / "a.pic", kWidth, kHeight), 0);
    ASSERT_EQ(filter.putAll(pictureBlock()), 0);
    ASSERT_EQ(filter.read(folder / "a.pic"), 0);
    std::string block(kLine * kHeight, 'x');
    ASSERT_EQ(filter.getAll(block), 0);
    for (std::size_t y = 1; y < kHeight; ++y) {
        EXPECT_EQ(row(block, y), hostLine(kWidth, static_cast<int>(y))) << y;
    }
    EXPECT_EQ(row(block, 0), hostLine(kWidth, kHeight - 1));

    // The positions belong to rows now. Row 3 was read first, from the first scanline; then row 2,
    // from the second one, which put the position behind it, the third one's, into entry 3.
    EXPECT_EQ(filter.line(0), hostLine(kWidth, 1)) << "entry 3 is the third scanline";
    ASSERT_EQ(filter.read(folder / "a.pic"), 0);
    EXPECT_EQ(filter.line(0), hostLine(kWidth, 0)) << "a second connection mends row 0";
}

TEST_F(FilterTest, APictureOfOneLineIsReadAtOnceAsItIs) {
    ASSERT_EQ(filter.write(folder / "a.pic", kWidth, 1), 0);
    ASSERT_EQ(filter.putAll(hostLine(kWidth, 5)), 0);
    ASSERT_EQ(filter.read(folder / "a.pic"), 0);
    std::string block(kLine, 'x');
    ASSERT_EQ(filter.getAll(block), 0);
    EXPECT_EQ(block, hostLine(kWidth, 5));
}

TEST_F(FilterTest, LinesAfterAWholePictureFollowItsLastRow) {
    ASSERT_EQ(filter.write(folder / "a.pic", kWidth, kHeight), 0);
    ASSERT_EQ(filter.putAll(pictureBlock()), 0);
    const auto size = [&] {
        std::fflush(nullptr);
        return fileBytes(folder / "a.pic").size();
    };
    const auto whole = size();
    ASSERT_EQ(filter.put(hostLine(kWidth, 7), kHeight - 2), 0) << "k 1 follows k 0";
    EXPECT_GT(size(), whole) << "and is appended at once";
    ASSERT_EQ(filter.disconnectFromFile(), 1);
}

} // namespace
