// SPDX-License-Identifier: MIT
// Who the filter is, what it opens and what it refuses.
#include "pngFixture.h"

namespace {

TEST_F(PngFilterTest, IdentityIsThatOfAnRgbaDriver) {
    EXPECT_STREQ(filter.formatName, "PNG");
    EXPECT_STREQ(filter.namingPrefix, "test.");
    EXPECT_STREQ(filter.namingExtension, ".png");
    EXPECT_STREQ(filter.namingTemplate, "%s.%d.png");
    EXPECT_EQ(filter.namingFlag, 1);
    EXPECT_EQ(filter.accessModes, 0x4033);
    EXPECT_EQ(filter.writeDirection, 8);
    EXPECT_EQ(filter.formatCount, 1);
    EXPECT_EQ(filter.currentFormat, 0);
    filter.sendIthFormat(0);
    EXPECT_EQ((std::vector<int>(filter.data.longdata, filter.data.longdata + 7)),
              (std::vector{4, 8, 8, 0x40, 0x20, 0x10, 0x08}));
    EXPECT_EQ(filter.setPixelFormat(0), 0);
    EXPECT_EQ(filter.setPixelFormat(1), -1);
}

/// The file with its IHDR saying something else, the checksum made to fit.
std::string withSize(std::string png, unsigned width, unsigned height) {
    for (std::size_t i = 0; i < 4; ++i) {
        png[16 + i] = static_cast<char>(width >> (24 - 8 * i));
        png[20 + i] = static_cast<char>(height >> (24 - 8 * i));
    }
    std::uint32_t crc = 0xFFFFFFFF;
    for (std::size_t i = 12; i < 29; ++i) {
        crc ^= static_cast<std::uint8_t>(png[i]);
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320 : 0);
        }
    }
    for (std::size_t i = 0; i < 4; ++i) {
        png[29 + i] = static_cast<char>(~crc >> (24 - 8 * i));
    }
    return png;
}

TEST_F(PngFilterTest, RefusalsLeaveNothingOpen) {
    const std::string png = makePng({2, 2});
    const struct {
        const char* name;
        std::string path;
        int mode;
        long w, h;
        const char* said; // part of the one line, null for none
    } cases[] = {
        {"missing file", folder / "missing.png", 0, 1, 1, "No such file"},
        {"missing folder", folder / "gone/a.png", 1, 1, 1, "No such file"},
        {"a text", folder.write("text.png", "hello, this is no picture"), 0, 1, 1, nullptr},
        {"empty", folder.write("empty.png", ""), 0, 1, 1, nullptr},
        {"half a signature", folder.write("half.png", png.substr(0, 7)), 0, 1, 1, nullptr},
        {"signature only", folder.write("sig.png", png.substr(0, 8)), 0, 1, 1, "Unable to open"},
        {"FIFO without a writer", folder.fifo("in.png"), 0, 1, 1, nullptr},
        {"FIFO without a reader", folder.fifo("out.png"), 1, 1, 1, "No such device"},
        {"a folder", folder / ".", 0, 1, 1, nullptr},
        {"width 0", folder.write("w0.png", withSize(png, 0, 2)), 0, 1, 1, "outside 1 to 32767"},
        {"width 32768", folder.write("w1.png", withSize(png, 32768, 2)), 0, 1, 1,
         "outside 1 to 32767"},
        {"height 32768", folder.write("h1.png", withSize(png, 2, 32768)), 0, 1, 1,
         "outside 1 to 32767"},
        {"written width 0", folder / "x.png", 1, 0, 1, "outside 1 to 32767"},
        {"written width 32768", folder / "x.png", 1, 32768, 1, "outside 1 to 32767"},
        {"written height -1", folder / "x.png", 1, 1, -1, "outside 1 to 32767"},
        {"a folder to write", folder / ".", 1, 1, 1, "directory"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_EQ(filter.setBounds(0, 0, c.w, c.h), 0);
        const support::CaptureStderr said;
        EXPECT_EQ(filter.connect(c.path, c.mode), -1);
        if (c.said == nullptr) {
            EXPECT_EQ(said.text(), "");
        } else {
            EXPECT_EQ(linesIn(said.text()), 1) << said.text();
            EXPECT_NE(said.text().find(c.said), std::string::npos) << said.text();
        }
        EXPECT_EQ(filter.disconnectFromFile(), 0);
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "x.png"));
}

TEST_F(PngFilterTest, TheNameIsUsedAsItStands) {
    ASSERT_EQ(filter.write(folder / "bare", 1, 1), 0);
    ASSERT_EQ(filter.disconnectFromFile(), 1);
    EXPECT_TRUE(std::filesystem::exists(folder / "bare"));
    EXPECT_EQ(filter.read(folder / "bare"), 0);
}

TEST_F(PngFilterTest, BoundsStayWhileAFileIsOpen) {
    ASSERT_EQ(filter.setBounds(0, 0, 3, 2), 0);
    for (const int mode : {1, 2, 0}) { // every mode but 0 is for writing
        ASSERT_EQ(filter.connect(folder / "a.png", mode), 0);
        EXPECT_EQ(filter.setBounds(1, 2, 3, 2), 0);
        const support::CaptureStderr said;
        EXPECT_EQ(filter.setBounds(9, 9, 4, 2), -1);
        EXPECT_EQ(filter.setBounds(9, 9, 3, 1), -1);
        EXPECT_EQ(linesIn(said.text()), 2);
        EXPECT_EQ((std::vector<int>(filter.bounds, filter.bounds + 4)), (std::vector{1, 2, 3, 2}));
        EXPECT_EQ(filter.disconnectFromFile(), mode == 0 ? 0 : 1);
    }
    EXPECT_EQ(filter.setBounds(9, 9, 4, 2), 0);
}

} // namespace
