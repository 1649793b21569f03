// SPDX-License-Identifier: MIT
// The contents of written files, complete or not.
#include "driverUnderTest.h"

namespace {

constexpr int kWidth = 7;
constexpr int kHeight = 6;
constexpr std::size_t kLine = std::size_t{kWidth} * 4;
const std::string kBlank(kLine, '\0');

std::vector<std::string> linesOf(const std::string& path) {
    return hostLines(support::contentOf(path));
}

TEST_F(PngFilterTest, ThereIsOneFormat) {
    EXPECT_EQ(filter.setPixelFormat(0), 0);
    EXPECT_EQ(filter.setPixelFormat(1), -1);
}

TEST_F(PngFilterTest, LinesNeverSentAreTransparentBlack) {
    for (const auto& sent :
         std::vector<std::vector<int>>{{}, {5, 4, 2}, {0}, {3, 1, 0}, {5, 4, 3, 2, 1, 0}}) {
        SCOPED_TRACE(testing::PrintToString(sent));
        ASSERT_EQ(filter.write(folder / "a.png", kWidth, kHeight), 0);
        std::vector<std::string> expected(kHeight, kBlank);
        for (const int y : sent) {
            ASSERT_EQ(filter.put(hostLine(kWidth, y), y), 0);
            expected[static_cast<std::size_t>(y)] = hostLine(kWidth, y);
        }
        ASSERT_EQ(filter.disconnectFromFile(), 1);
        EXPECT_EQ(linesOf(folder / "a.png"), expected);
    }
}

TEST_F(PngFilterTest, ARowInTheFileCannotBeReplaced) {
    ASSERT_EQ(filter.write(folder / "a.png", kWidth, 3), 0);
    EXPECT_EQ(filter.put(hostLine(kWidth, 1), 1), 0) << "kept";
    EXPECT_EQ(filter.put(hostLine(kWidth, 8), 1), 0) << "replaced";
    EXPECT_EQ(filter.put(hostLine(kWidth, 2), 2), 0);
    const support::CaptureStderr said;
    EXPECT_EQ(filter.put(hostLine(kWidth, 9), 1), -1) << "written";
    EXPECT_EQ(filter.put(hostLine(kWidth, 9), 2), -1);
    EXPECT_EQ(said.lines(), 2) << said.text();
    EXPECT_EQ(filter.put(hostLine(kWidth, 0), 0), 0);
    EXPECT_EQ(filter.disconnectFromFile(), 1);
    EXPECT_EQ(linesOf(folder / "a.png"),
              (std::vector{hostLine(kWidth, 0), hostLine(kWidth, 8), hostLine(kWidth, 2)}));
}

} // namespace
