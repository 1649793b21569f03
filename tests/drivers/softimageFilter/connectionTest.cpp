// SPDX-License-Identifier: MIT
// Opening, refusing and closing files.
#include "driverUnderTest.h"
#include "support/descriptors.h"

namespace {

constexpr std::string_view kPixelRaw = "01020304"; // red, green, blue, alpha

TEST_F(SoftimageTest, AFullPipeIsRefused) {
    for (const std::string& content :
         {picHeader(1, 2, kRgbaRaw) + bytes("01020304 05060708"), support::tag(3, 2, 1, {0, 0})}) {
        const std::string path = folder / (content.substr(88, 4) == "PICT" ? "p.pic" : "p.tag");
        const support::FailingPipe pipe(path, content);
        const support::CaptureStderr said;
        EXPECT_EQ(filter.read(path), -1);
        EXPECT_FALSE(filter.isOpen());
        EXPECT_EQ(said.text(), "Softimage Filter: Unable to open file '" + path +
                                   "' - A pipe cannot give a line again.\n");
    }
}

TEST_F(SoftimageTest, UnsupportedChannelsStayOpenButServeNothing) {
    const auto path =
        folder.write("a.pic", picHeader(2, 3, "010800E0 00080000") + std::string(18, 'x'));
    const auto good = folder.write("b.pic", picHeader(1, 1, kRgbaRaw) + bytes(kPixelRaw));
    {
        const support::CaptureStderr said;
        EXPECT_EQ(filter.read(path), -1);
        EXPECT_EQ(said.text(), "Softimage Filter: Unable to open file '" + path +
                                   "' - Unsupported pixel format.\n");
        EXPECT_EQ(filter.bounds[3], 3) << "what was found before the refusal stays";
        EXPECT_EQ(filter.currentFormat, -99);
        std::string block(64, '\0');
        EXPECT_EQ(filter.get(block, 0), -1);
        EXPECT_EQ(filter.put(block, 0), -1);
        EXPECT_EQ(filter.getAll(block), -1);
        EXPECT_EQ(filter.putAll(block), -1);
        EXPECT_EQ(filter.setBounds(0, 0, 9, 9), -1);
    }
    EXPECT_EQ(filter.read(good), 0);
    EXPECT_EQ(filter.postWrites, 1) << "the next connect closes the refused file";
    EXPECT_EQ(filter.disconnectFromFile(), 1);
    EXPECT_EQ(filter.disconnectFromFile(), 0);
}

TEST_F(SoftimageTest, ChannelsThatAFileLacksLeaveTheHostsBytes) {
    const struct {
        const char* name;
        const char* packets;
        const char* pixel;
        const char* host; // of a block filled with 77
    } cases[] = {
        {"RGBA in one packet", "000800F0", "01020304", "04030201"},
        {"RGB", "000800E0", "010203", "77030201"},
        {"alpha", "00080010", "04", "04777777"},
        {"RGB, then alpha", "010800E0 00080010", "010203 04", "04030201"},
        {"alpha, then RGB", "01080010 000800E0", "04 010203", "04030201"},
        {"RGB twice", "010800E0 000800E0", "0A0B0C 010203", "77030201"},
        {"RGBA, then alpha", "010800F0 00080010", "01020399 04", "04030201"},
        {"alpha twice", "01080010 00080010", "99 04", "04777777"},
        {"both twice", "010800E0 01080010 010800E0 00080010", "0A0B0C 99 010203 04", "04030201"},
        {"pure", "000801F0", "01 01020304", "04030201"},
        {"mixed", "000802F0", "00 01020304", "04030201"},
        {"upper bits of the type", "0008F0F0", "01020304", "04030201"},
        {"unknown coder moves nothing", "010803E0 00080010", "04", "04000000"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const support::CaptureStderr said;
        ASSERT_EQ(filter.read(folder.write("a.pic", picHeader(1, 1, c.packets) + bytes(c.pixel))),
                  0);
        EXPECT_EQ(filter.currentFormat, 0);
        EXPECT_EQ(filter.line(0, 0x77), bytes(c.host));
        EXPECT_EQ(said.text().empty(), !std::string_view(c.name).starts_with("unknown"));
    }
}

TEST_F(SoftimageTest, NamesGetTheEndingOnlyWhenOpened) {
    const std::string pic = picHeader(1, 1, kRgbaRaw) + bytes(kPixelRaw);
    const std::string tag = support::tag(3, 2, 1, {0, 0});
    folder.write("m.tag", tag);
    EXPECT_EQ(filter.read(folder / "m.tag"), 0);
    EXPECT_EQ(filter.currentFormat, 1);
    folder.write("m.tag.pic", pic);
    EXPECT_EQ(filter.read(folder / "m.tag"), 0);
    EXPECT_EQ(filter.currentFormat, 0) << "the picture with the ending goes first";
    folder.write("n.pic", tag);
    EXPECT_EQ(filter.read(folder / "n.pic"), -1);
    folder.write("n.pic.tag", tag);
    EXPECT_EQ(filter.read(folder / "n.pic"), 0);
    folder.write("o.pic.tag", tag);
    const support::CaptureStderr said;
    EXPECT_EQ(filter.read(folder / "o.pic"), -1) << "the bare name is checked";
    EXPECT_EQ(filter.write(folder / "x.PIC", 1, 1), 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "x.PIC.pic"));
}

} // namespace
