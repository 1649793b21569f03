// SPDX-License-Identifier: MIT
// The bytes of written pictures, and lines out of order.
#include "driverUnderTest.h"

#include <thread>

namespace {

/// A line of eight pixels, of which the first ones differ, so that its size in a file depends on
/// their number.
std::string mixedLine(int different) {
    std::string line(32, '\x55');
    for (int i = 0; i < different; ++i) {
        line[static_cast<std::size_t>(4 * i) + 1] = static_cast<char>(i + 1);
    }
    return line;
}

TEST_F(SoftimageTest, WrittenFileIsThisByteForByte) {
    ASSERT_EQ(filter.write(folder / "a.pic", 3, 2), 0);
    ASSERT_EQ(filter.put(bytes("04030201 04030201 04030201"), 1), 0);
    ASSERT_EQ(filter.put(bytes("FF030201 FE030200 FE130201"), 0), 0);
    ASSERT_EQ(filter.disconnectFromFile(), 1);
    EXPECT_EQ(support::contentOf(folder / "a.pic"),
              picHeader(3, 2, kRgbaMixed) + bytes("82 010203      82 04"
                                                  "02 010203 000203 010213"
                                                  "00 FF 81 FE"));
}

TEST_F(SoftimageTest, WithoutAFormatThePictureIsBlack) {
    ASSERT_EQ(filter.setBounds(0, 0, 2, 1), 0);
    ASSERT_EQ(filter.connect(folder / "a.pic", 1), 0);
    EXPECT_EQ(filter.put(bytes("FFFFFFFF FFFFFFFF"), 0), 0);
    ASSERT_EQ(filter.disconnectFromFile(), 1);
    EXPECT_EQ(support::contentOf(folder / "a.pic"),
              picHeader(2, 1, "000802E0") + bytes("81 000000"));
}

TEST_F(SoftimageTest, WithoutAFileNothingIsTransferred) {
    ASSERT_EQ(filter.setBounds(0, 0, 2, 1), 0);
    char block[8] = {};
    EXPECT_EQ(filter.getLine(block, sizeof block, 0, 0), -1);
    EXPECT_EQ(filter.putLine(block, sizeof block, 0, 0), -1);
    EXPECT_EQ(filter.getCache(block, sizeof block, 0), -1);
    EXPECT_EQ(filter.putCache(block, sizeof block, 0), -1);
}

TEST_F(SoftimageTest, LinesThatWereNeverSentAreNotWritten) {
    // A picture 1 wide and 4 high, whose line y has the value y + 1.
    const auto written = [](int value) {
        return support::bytes({0, value, value, value, 0, value});
    };
    const struct {
        const char* name;
        std::vector<int> sent;
        std::string lines;
    } cases[] = {
        {"the first one behind a gap is blank", {3, 1, 0}, written(4) + written(0) + written(1)},
        {"without the top line there is nothing", {1, 0, 2}, ""},
        {"the last line", {3, 1, 2}, written(4) + written(3) + written(2)},
        {"sent again too late", {3, 3, 2}, written(4) + written(3)},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_EQ(filter.write(folder / "a.pic", 1, 4), 0);
        for (const int y : c.sent) {
            ASSERT_EQ(filter.put(std::string(4, static_cast<char>(y + 1)), y), 0);
        }
        EXPECT_EQ(filter.disconnectFromFile(), 1);
        EXPECT_EQ(support::contentOf(folder / "a.pic"), picHeader(1, 4, kRgbaMixed) + c.lines);
    }
}

TEST_F(SoftimageTest, AnOverlongPacketLosesTheRestButNotWhatWasFound) {
    // The second of three lines holds a run of 5 in a picture of width 2.
    const auto path =
        folder.write("a.pic", picHeader(2, 3, "00080210") + bytes("81 0A  84 0B  81 0C"));
    const support::CaptureStderr said;
    ASSERT_EQ(filter.read(path), 0);
    EXPECT_EQ(filter.line(0), std::string(8, '\0'));
    EXPECT_EQ(filter.line(1), std::string(8, '\0'));
    EXPECT_EQ(filter.line(2), bytes("0A000000 0A000000")) << "its position is still known";
}

TEST_F(SoftimageTest, AfterAWholePictureEveryLineIsFoundByAnotherConnection) {
    const auto path = [&](int height, const char* kind) {
        return folder / (std::to_string(height) + kind);
    };
    const auto connectAnd = [&](const std::string& file, auto work) {
        ASSERT_EQ(filter.read(file), 0);
        work();
        EXPECT_EQ(filter.disconnectFromFile(), 1);
    };
    constexpr int kHeights[] = {1, 2, 3, 4, 7};
    for (const int height : kHeights) {
        for (const bool up : {true, false}) { // in the other one lines begin elsewhere
            ASSERT_EQ(filter.write(path(height, up ? "up.pic" : "down.pic"), 8, height), 0);
            for (int y = height; y-- > 0;) {
                ASSERT_EQ(filter.put(mixedLine(up ? y : height - 1 - y), y), 0);
            }
            ASSERT_EQ(filter.disconnectFromFile(), 1);
        }
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2100)); // newer ones are not remembered
    for (const int height : kHeights) {
        std::string all(static_cast<std::size_t>(32 * height), '\0');
        for (int y = 0; y < height; ++y) {
            SCOPED_TRACE(testing::Message() << "line " << y << " of " << height);
            connectAnd(path(height, "up.pic"), [&] { EXPECT_EQ(filter.getAll(all), 0); });
            connectAnd(path(height, "down.pic"),
                       [&] { EXPECT_EQ(filter.line(y), mixedLine(height - 1 - y)); });
            connectAnd(path(height, "up.pic"), [&] { EXPECT_EQ(filter.line(y), mixedLine(y)); });
        }
    }
}

} // namespace
