// SPDX-License-Identifier: MIT
// Opening, refusing and closing files.
#include "filterFixture.h"

#include "base/uniqueFd.h"

#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::string_view kPixelRaw = "01020304"; // red, green, blue, alpha

TEST_F(FilterTest, ConnectFailuresLeaveNothingOpen) {
    std::string gone = folder / "gone";
    const struct {
        const char* name;
        std::string path;
        int mode;
        long w, h;
        const char* said; // part of the line on stderr, null for none
    } cases[] = {
        {"missing file", folder / "missing.pic", 0, 1, 1, "No such file"},
        {"missing folder", gone + "/a.pic", 1, 1, 1, "No such file"},
        {"no toolkit file", folder.write("text.pic", "hello"), 0, 1, 1, nullptr},
        {"empty file", folder.write("empty.pic", ""), 0, 1, 1, nullptr},
        {"FIFO without a writer", folder.fifo("in.pic"), 0, 1, 1, nullptr},
        {"FIFO without a reader", folder.fifo("out.pic"), 1, 1, 1, nullptr},
        {"name without ending", folder.write("bare", picHeader(1, 1, kRgbaRaw)), 0, 1, 1, nullptr},
        {"width 0", folder / "w0.pic", 1, 0, 1, "outside 1 to 32767"},
        {"width 32768", folder / "w1.pic", 1, 32768, 1, "outside 1 to 32767"},
        {"width 65537", folder / "w2.pic", 1, 65537, 1, "outside 1 to 32767"},
        {"height -1", folder / "h0.pic", 1, 1, -1, "outside 1 to 32767"},
        {"height 32768", folder / "h1.pic", 1, 1, 32768, "outside 1 to 32767"},
        {"PIC of width 0", folder.write("z.pic", picHeader(0, 1, kRgbaRaw)), 0, 1, 1, "32767"},
        {"PIC of height -1", folder.write("n.pic", picHeader(1, 65535, kRgbaRaw)), 0, 1, 1,
         "32767"},
        {"TAG of 0 channels", folder.write("t0.tag", fileHeader("STAG", 1, 1, 0)), 0, 1, 1, "253"},
        {"TAG of 254 channels", folder.write("t1.tag", fileHeader("STAG", 1, 1, 254)), 0, 1, 1,
         "253"},
        {"five packets",
         folder.write("five.pic", picHeader(1, 1, "01080080 01080040 01080020 01080010 00080010")),
         0, 1, 1, ""},
        {"endless packets", folder.write("loop.pic", picHeader(1, 1, "010800E0")), 0, 1, 1, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        filter.setPixelFormat(0);
        filter.setBounds(0, 0, c.w, c.h);
        const bool existed = std::filesystem::exists(c.path);
        const support::CaptureStderr said;
        EXPECT_EQ(filter.connect(c.path, c.mode), -1);
        if (c.said == nullptr) {
            EXPECT_EQ(said.text(), "");
        } else {
            EXPECT_EQ(linesIn(said.text()), 1) << said.text();
            EXPECT_NE(said.text().find(c.said), std::string::npos) << said.text();
        }
        EXPECT_EQ(std::filesystem::exists(c.path), existed);
        EXPECT_FALSE(filter.isOpen());
        EXPECT_EQ(filter.setBounds(0, 0, 9, 9), 0);
        EXPECT_EQ(filter.setPixelFormat(1), 0);
        EXPECT_EQ(filter.disconnectFromFile(), 0);
    }
}

TEST_F(FilterTest, AFullPipeIsRefused) {
    for (const std::string& content : {picHeader(1, 2, kRgbaRaw) + bytes("01020304 05060708"),
                                       fileHeader("STAG", 3, 2, 1) + be16(0) + be16(0)}) {
        const std::string path = folder / (content.substr(88, 4) == "PICT" ? "p.pic" : "p.tag");
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
        const base::UniqueFd pipe(open(path.c_str(), O_RDWR | O_CLOEXEC));
        ASSERT_EQ(write(pipe.get(), content.data(), content.size()),
                  static_cast<ssize_t>(content.size()));
        const support::CaptureStderr said;
        EXPECT_EQ(filter.read(path), -1);
        EXPECT_FALSE(filter.isOpen());
        EXPECT_EQ(said.text(), "Softimage Filter: Unable to open file '" + path +
                                   "' - A pipe cannot give a line again.\n");
    }
}

TEST_F(FilterTest, AllSixteenBitsOfTheLargestSizeAreServed) {
    ASSERT_EQ(filter.read(folder.write("a.pic", picHeader(32767, 32767, kRgbaRaw))), 0);
    EXPECT_EQ(filter.bounds[2], 32767);
    EXPECT_EQ(filter.bounds[3], 32767);
    const support::CaptureStderr said;
    EXPECT_EQ(filter.line(0), std::string(32767UL * 4, '\0'));
    EXPECT_EQ(linesIn(said.text()), 1);
}

TEST_F(FilterTest, UnsupportedChannelsStayOpenButServeNothing) {
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

TEST_F(FilterTest, ChannelsThatAFileLacksLeaveTheHostsBytes) {
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
        EXPECT_EQ(said.text(), "");
    }
}

TEST_F(FilterTest, NamesGetTheEndingOnlyWhenOpened) {
    const std::string pic = picHeader(1, 1, kRgbaRaw) + bytes(kPixelRaw);
    const std::string tag = fileHeader("STAG", 3, 2, 1) + be16(0) + be16(0);
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

TEST_F(FilterTest, ConnectingAgainClosesTheFileAndRunsTheCommand) {
    ASSERT_EQ(filter.write(folder / "a.pic", 2, 2), 0);
    ASSERT_EQ(filter.put(hostLine(2, 1), 1), 0);
    ASSERT_EQ(filter.put(hostLine(2, 2), 0), 0);
    ASSERT_EQ(filter.read(folder / "a.pic"), 0);
    EXPECT_EQ(filter.postWrites, 1);
    EXPECT_EQ(filter.line(0), hostLine(2, 2));
    EXPECT_EQ(filter.disconnectFromFile(), 1) << "also for a file that was only read";
}

TEST_F(FilterTest, WritingStartsAFileAnew) {
    const std::string path = folder.write("a.pic", std::string(1000, 'x'));
    ASSERT_EQ(filter.setPixelFormat(0), 0);
    ASSERT_EQ(filter.setBounds(0, 0, 1, 1), 0);
    ASSERT_EQ(filter.connect(path, 2), 0) << "every mode but 0 is for writing";
    EXPECT_EQ(filter.lastWrittenLine, -1);
    ASSERT_EQ(filter.put(bytes("04030201"), 0), 0);
    ASSERT_EQ(filter.disconnectFromFile(), 1);
    EXPECT_EQ(fileBytes(path), picHeader(1, 1, kRgbaMixed) + bytes("00 010203 00 04"));
}

TEST_F(FilterTest, AShutDownWithAFileOpenFinishesItAndRunsTheCommand) {
    const std::string path = folder / "a.pic";
    {
        TDR_SoftimageFilter* leaving = new TDR_SoftimageFilter(0);
        const std::unique_ptr<TDR_Driver> owner(leaving);
        leaving->setPixelFormat(0);
        leaving->setBounds(0, 0, 1, 1);
        leaving->setPostWriteCommand(("cp " + path + " " + path + ".copy #").c_str());
        std::string name = path;
        ASSERT_EQ(leaving->connectToFile(name.data(), 1), 0);
    }
    EXPECT_EQ(fileBytes(path), picHeader(1, 1, kRgbaMixed));
    EXPECT_EQ(fileBytes(path + ".copy"), fileBytes(path));
}

} // namespace
