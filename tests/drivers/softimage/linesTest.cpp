// SPDX-License-Identifier: MIT
// Single lines in every order, and the file that comes of them.
#include "filterFixture.h"

#include <numeric>

namespace {

constexpr int kWidth = 5;
constexpr std::size_t kLine = std::size_t{kWidth} * 4;

std::vector<long> topDown(long h) {
    std::vector<long> order(static_cast<std::size_t>(h));
    std::iota(order.rbegin(), order.rend(), 0);
    return order;
}

/// Host lines `order` (y) of a picture of height `h`, each seeded with its y.
void writeLines(TestFilter& filter, const std::string& path, long h,
                const std::vector<long>& order) {
    ASSERT_EQ(filter.write(path, kWidth, h), 0);
    for (const long y : order) {
        ASSERT_EQ(filter.put(hostLine(kWidth, static_cast<int>(y)), y), 0) << y;
    }
    ASSERT_EQ(filter.disconnectFromFile(), 1);
}

TEST_F(FilterTest, WrittenFileIsThisByteForByte) {
    ASSERT_EQ(filter.write(folder / "a.pic", 3, 2), 0);
    ASSERT_EQ(filter.put(bytes("04030201 04030201 04030201"), 1), 0);
    ASSERT_EQ(filter.put(bytes("FF030201 FE030200 FE130201"), 0), 0);
    ASSERT_EQ(filter.disconnectFromFile(), 1);
    EXPECT_EQ(fileBytes(folder / "a.pic"),
              picHeader(3, 2, kRgbaMixed) + bytes("82 010203      82 04"
                                                  "02 010203 000203 010213"
                                                  "00 FF 81 FE"));
}

TEST_F(FilterTest, EveryOrderOfWritingGivesTheSameFile) {
    constexpr long kHeight = 6;
    writeLines(filter, folder / "top.pic", kHeight, topDown(kHeight));
    const std::vector<long> orders[] = {
        {0, 1, 2, 3, 4, 5}, {5, 3, 4, 2, 0, 1}, {2, 5, 4, 0, 1, 3}, {1, 5, 1, 4, 3, 2, 0}};
    for (const auto& order : orders) {
        writeLines(filter, folder / "a.pic", kHeight, order);
        EXPECT_EQ(fileBytes(folder / "a.pic"), fileBytes(folder / "top.pic"))
            << testing::PrintToString(order);
    }
}

TEST_F(FilterTest, EveryOrderOfReadingGivesTheSameLines) {
    constexpr long kHeight = 6;
    writeLines(filter, folder / "a.pic", kHeight, topDown(kHeight));
    const std::vector<long> orders[] = {{5, 4, 3, 2, 1, 0},
                                        {0, 1, 2, 3, 4, 5},
                                        {0, 5, 0, 5},
                                        {5, 5, 2, 2, 4, 0},
                                        {3, 4, 1, 2, 5, 0}};
    for (const auto& order : orders) {
        const support::CaptureStderr said;
        ASSERT_EQ(filter.read(folder / "a.pic"), 0);
        for (const long y : order) {
            EXPECT_EQ(filter.line(y), hostLine(kWidth, static_cast<int>(y)))
                << y << " of " << testing::PrintToString(order);
        }
        EXPECT_EQ(said.text(), "");
    }
}

TEST_F(FilterTest, ALineOfAJumpIsFoundThroughThePositions) {
    writeLines(filter, folder / "a.pic", 3, topDown(3));
    ASSERT_EQ(filter.read(folder / "a.pic"), 0);
    EXPECT_EQ(filter.lineOffsets[0], 112U);
    filter.line(2);
    EXPECT_NE(filter.lineOffsets[1], 0U) << "behind a line that was read";
    EXPECT_EQ(filter.lineOffsets[2], 0U) << "nothing is read that was not asked for";
    filter.line(0);
    EXPECT_LT(filter.lineOffsets[0], filter.lineOffsets[1]);
    EXPECT_LT(filter.lineOffsets[1], filter.lineOffsets[2]);
}

TEST_F(FilterTest, GapsLoseTheFirstLineBehindThem) {
    constexpr long kHeight = 6;
    // What each scanline in the file is: the y that was sent, or -1 for a blank one.
    const struct {
        const char* name;
        std::vector<long> sent;
        std::vector<long> found;
    } cases[] = {
        {"nothing sent", {}, {}},
        {"the example", {5, 4, 2}, {5, 4, -1}},
        {"two behind the gap", {5, 4, 2, 1}, {5, 4, -1, 1}},
        {"two gaps", {5, 3, 1, 0}, {5, -1, -1, 0}},
        {"top line missing", {4, 3, 2, 1, 0}, {}},
        {"stops early", {5, 4}, {5, 4}},
        {"the second copy counts", {5, 2, 3, 4}, {5, 4, 3, 2}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        writeLines(filter, folder / "a.pic", kHeight, c.sent);
        const support::CaptureStderr said;
        ASSERT_EQ(filter.read(folder / "a.pic"), 0);
        for (std::size_t k = 0; k < kHeight; ++k) {
            const std::string expected = k < c.found.size() && c.found[k] >= 0
                                             ? hostLine(kWidth, static_cast<int>(c.found[k]))
                                             : std::string(kLine, '\0');
            EXPECT_EQ(filter.line(kHeight - 1 - static_cast<long>(k)), expected) << k;
        }
        filter.disconnectFromFile();
        const bool whole = c.found.size() == kHeight;
        EXPECT_EQ(said.text().empty(), whole) << "lines that are missing are told once";
        EXPECT_LE(linesIn(said.text()), 1);
    }
}

TEST_F(FilterTest, ALineSentAgainAfterItWasWrittenIsDropped) {
    ASSERT_EQ(filter.write(folder / "a.pic", kWidth, 2), 0);
    EXPECT_EQ(filter.put(hostLine(kWidth, 1), 1), 0);
    EXPECT_EQ(filter.put(hostLine(kWidth, 9), 1), 0);
    EXPECT_EQ(filter.put(hostLine(kWidth, 2), 0), 0);
    filter.read(folder / "a.pic");
    EXPECT_EQ(filter.line(1), hostLine(kWidth, 1));
    EXPECT_EQ(filter.line(0), hostLine(kWidth, 2));
}

TEST_F(FilterTest, WithoutAFormatThePictureIsBlack) {
    ASSERT_EQ(filter.setBounds(0, 0, 2, 1), 0);
    ASSERT_EQ(filter.connect(folder / "a.pic", 1), 0);
    EXPECT_EQ(filter.put(bytes("FFFFFFFF FFFFFFFF"), 0), 0);
    ASSERT_EQ(filter.disconnectFromFile(), 1);
    EXPECT_EQ(fileBytes(folder / "a.pic"), picHeader(2, 1, "000802E0") + bytes("81 000000"));
}

/// Requests that must be refused without touching the block.
TEST_F(FilterTest, LinesOutsideAndSmallBlocksAreRefused) {
    writeLines(filter, folder / "a.pic", 3, topDown(3));
    ASSERT_EQ(filter.read(folder / "a.pic"), 0);
    const std::string untouched(kLine - 1, 'u');
    std::string small = untouched;
    std::string line(kLine, 'u');
    std::string cache(kLine * 3 - 1, 'u');
    EXPECT_EQ(filter.get(small, 1), -1);
    EXPECT_EQ(small, untouched);
    EXPECT_EQ(filter.getAll(cache), -1);
    EXPECT_EQ(cache, std::string(cache.size(), 'u'));
    for (const long y : {-1L, 3L, 2147483647L, -2147483648L}) {
        EXPECT_EQ(filter.get(line, y), -1) << y;
    }
    EXPECT_EQ(line, std::string(line.size(), 'u'));
    EXPECT_EQ(filter.get(line, 2), 0);

    ASSERT_EQ(filter.write(folder / "b.pic", kWidth, 3), 0);
    EXPECT_EQ(filter.put(small, 2), -1);
    EXPECT_EQ(filter.putAll(cache), -1);
    for (const long y : {-1L, 3L, 2147483647L, -2147483648L}) {
        EXPECT_EQ(filter.put(line, y), -1) << y;
    }
    EXPECT_EQ(filter.disconnectFromFile(), 1) << "a refused request does not break the file";
}

TEST_F(FilterTest, RequestsThatDoNotFitTheConnectionAreRefused) {
    std::string block(1000, 'u');
    EXPECT_EQ(filter.get(block, 0), -1) << "nothing open";
    EXPECT_EQ(filter.put(block, 0), -1);
    EXPECT_EQ(filter.getAll(block), -1);
    EXPECT_EQ(filter.putAll(block), -1);
    ASSERT_EQ(filter.write(folder / "a.pic", 2, 2), 0);
    EXPECT_EQ(filter.get(block, 0), -1) << "open for writing";
    EXPECT_EQ(filter.getAll(block), -1);
    EXPECT_EQ(filter.put(block, 1), 0);
    EXPECT_EQ(filter.put(block, 0), 0);
    const support::CaptureStderr said;
    ASSERT_EQ(filter.read(folder / "a.pic"), 0);
    const std::string before = fileBytes(folder / "a.pic");
    EXPECT_EQ(filter.put(block, 1), -1) << "open for reading";
    EXPECT_EQ(filter.putAll(block), -1);
    EXPECT_EQ(filter.disconnectFromFile(), 1);
    EXPECT_EQ(fileBytes(folder / "a.pic"), before);
    EXPECT_EQ(said.text(), "");
}

TEST_F(FilterTest, SizesWithEndsOfEveryKindSurvive) {
    for (const int w : {1, 2, 3, 15, 16, 17, 127, 128, 129, 255, 4097, 32767}) {
        ASSERT_EQ(filter.write(folder / "a.pic", w, 2), 0) << w;
        ASSERT_EQ(filter.put(hostLine(w, 3), 1), 0) << w;
        ASSERT_EQ(filter.put(hostLine(w, 8), 0), 0) << w;
        ASSERT_EQ(filter.read(folder / "a.pic"), 0) << w;
        EXPECT_TRUE(filter.line(0) == hostLine(w, 8)) << w;
        EXPECT_TRUE(filter.line(1) == hostLine(w, 3)) << w;
        filter.disconnectFromFile();
    }
}

} // namespace
