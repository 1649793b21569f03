// SPDX-License-Identifier: MIT
// The formats that hosts may request, and those that they get.
#include "driverUnderTest.h"

namespace {

TEST_F(SoftimageTest, MatteFormatIsServedAlthoughItIsNotCounted) {
    EXPECT_EQ(filter.format(1), (std::vector{1, 1, 1, 2}));
    EXPECT_TRUE(filter.format(2).empty());
    const auto path = folder.write("m.tag", support::tag(2, 1, 3, {0, 0}));
    ASSERT_EQ(filter.read(path), 0);
    EXPECT_EQ(filter.format(1), (std::vector{3, 1, 1, 2, 2, 2})) << "an entry for each channel";
    filter.disconnectFromFile();
    EXPECT_EQ(filter.format(1), (std::vector{3, 1, 1, 2, 2, 2})) << "also when it is closed";
    ASSERT_EQ(filter.read(folder.write("n.tag", support::tag(2, 1, 253))), 0);
    EXPECT_EQ(filter.format(1).size(), 256U) << "the most that fit a reply";
}

TEST_F(SoftimageTest, EveryFormatButOneStandsForRgba) {
    const support::CaptureStderr said;
    for (const int format : {7, -99, -98, 2, 0}) {
        ASSERT_EQ(filter.setPixelFormat(1), 0);
        EXPECT_EQ(filter.setPixelFormat(format), 0) << format;
        EXPECT_EQ(filter.currentFormat, 0) << format;
    }
    ASSERT_EQ(filter.write(folder / "a.pic", 4, 3), 0);
    EXPECT_EQ(filter.setPixelFormat(0), 0) << "the same format is no change";
    EXPECT_EQ(said.text(), "");
    EXPECT_EQ(filter.setPixelFormat(1), -1);
    EXPECT_EQ(said.text(), "Softimage Filter: Unable to change format of existing file.\n");
    EXPECT_EQ(filter.currentFormat, 0);
}

} // namespace
