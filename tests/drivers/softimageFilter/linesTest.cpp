// SPDX-License-Identifier: MIT
// The bytes of written pictures, and lines out of order.
#include "driverUnderTest.h"

namespace {

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

TEST_F(SoftimageTest, SizesWithEndsOfEveryKindSurvive) {
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

} // namespace
