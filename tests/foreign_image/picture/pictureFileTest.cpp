// SPDX-License-Identifier: MIT
// PIC files: header and packets byte by byte, what is refused, whole pictures, damage, full disks.
#include "pictureTesting.h"
#include "support/leakCounters.h"
#include "tinyPictureNotes.h"

#include <array>
#include <cerrno>
#include <cstring>

namespace {

using namespace picturetesting;

TEST(PictureRecord, LeavesItsPointerWithTheCaller) {
    Picture* record = pictureAllocate();
    EXPECT_EQ(record->ratio, 1.0F);
    EXPECT_EQ(pictureDispose(&record), 1);
    EXPECT_NE(record, nullptr);
    ChannelPacket* chain = chainOf({{2, 0xE0}, {2, 0x10}}).release();
    channelPacketDispose(&chain);
    EXPECT_EQ(chain, nullptr);
}

using PictureHeader = PictureFiles;
using PictureWhole = PictureFiles;

TEST_F(PictureHeader, IsWrittenToTheByte) {
    struct {
        std::uint8_t planes;
        Chain chain;
        std::string packets;
    } cases[] = {
        {0xE0, nullptr, kRgbPacket},
        {0xF0, nullptr, kRgbThenAlpha},
        {0xF0, chainOf({{0, 0x10}, {1, 0xC0}}), "\x01\x08\x00\x10\x00\x08\x01\xC0"s},
    };
    for (auto& row : cases) {
        {
            const Created made(path, picture(0x102, 3, row.planes), row.chain.release());
            ASSERT_NE(made.stream, nullptr);
            EXPECT_EQ(std::ftell(made.stream.get()), static_cast<long>(104 + row.packets.size()));
        }
        EXPECT_EQ(contentOf(path), head(0x102, 3, row.packets));
    }
}

TEST_F(PictureHeader, WhatIsReadAndWhatIsRefused) {
    const std::string three = "\x01\x08\x02\x80\x01\x08\x02\x40\x01\x08\x02\x20"s;
    const struct {
        std::string file;
        bool read;
        const char* message = ""; ///< part of the message
    } cases[] = {
        {head(2, 3, kRgbPacket), true},
        {head(32767, 32767, kRgbPacket), true},
        {head(0, 3, kRgbPacket), false, "is 0 pixels wide and 3 high"},
        {head(2, 0, kRgbPacket), false, "is 2 pixels wide and 0 high"},
        {head(32768, 3, kRgbPacket), false, "is 32768 pixels wide"},
        {head(2, 65535, kRgbPacket), false, "and 65535 high"},
        {head(2, 3, kRgbPacket).replace(88, 4, "STAG"), false},
        {head(2, 3, kRgbPacket).replace(0, 1, "T"), false},
        {"", false},
        // A mask nobody serves.
        {head(2, 3, "\x00\x08\x02\x80"s), true},
        // An empty mask.
        {head(2, 3, "\x00\x08\x02\x00"s), true},
        // An unknown encoding.
        {head(2, 3, "\x00\x08\x09\xE0"s), true},
        // Four packets.
        {head(2, 3, three + "\x00\x08\x02\x10"s), true},
        // Five packets.
        {head(2, 3, three + "\x01\x08\x02\x10\x00\x08\x02\x00"s), false,
         "more channel packets than channels"},
        // An endless chain.
        {head(2, 3, repeated(1000, "\x01\x08\x02\x00"s)), false,
         "more channel packets than channels"},
        // A channel twice.
        {head(2, 3, "\x01\x08\x02\xE0\x00\x08\x02\x30"s), true},
        // Channels of 16 bits.
        {head(2, 3, "\x01\x08\x02\xE0\x00\x10\x02\x10"s), false, "stores 16 bits per channel"},
        // Channels of 4 bits.
        {head(2, 3, "\x00\x04\x02\xE0"s), false, "stores 4 bits per channel"},
        // Chained to nothing.
        {head(2, 3, "\x01\x08\x02\xE0"s), false, "ends inside"},
        // No packet.
        {head(2, 3, ""), false, "ends inside its channel packets"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(testing::Message() << row.message << ", row " << &row - cases);
        const support::CaptureStderr captured;
        errno = EPERM;
        const Opened opened = open(row.file);
        EXPECT_TRUE(row.read || errno == 0) << "errno is for files that cannot be opened";
        EXPECT_EQ(opened.stream != nullptr, row.read);
        EXPECT_EQ(opened.chain != nullptr, row.read);
        expectSaid(captured, row.message);
    }
}

TEST_F(PictureHeader, ASizeThatNoFileHoldsTouchesNoFile) {
    dir.write("a.pic", "precious");
    const support::CaptureStderr captured;
    UniquePicture record = picture(1, 1, 0xE0);
    record->width = 0;
    errno = 0;
    EXPECT_EQ(Created(path, std::move(record)).stream, nullptr);
    EXPECT_EQ(errno, EINVAL);
    expectSaid(captured, "must be 1 to 32767");
    EXPECT_EQ(contentOf(path), "precious");
}

bool samePlanes(const Picture& a, const Picture& b) {
    const auto size = static_cast<std::size_t>(a.width) * static_cast<std::size_t>(a.height);
    return a.width == b.width && a.height == b.height &&
           std::equal(a.planes, a.planes + 4, b.planes, [size](const auto* one, const auto* two) {
               return one == nullptr || two == nullptr ? one == two
                                                       : std::equal(one, one + size, two);
           });
}

TEST_F(PictureWhole, SurvivesEveryChainThatLosesNothing) {
    const std::pair<std::uint8_t, Chain> cases[] = {
        {0xE0, nullptr},
        {0xF0, nullptr},
        {0xF0, chainOf({{2, 0xF0}})},
        {0xF0, chainOf({{0, 0xF0}})},
        {0xF0, chainOf({{2, 0x10}, {0, 0xE0}})},
        {0xF0, chainOf({{2, 0x10}, {2, 0x20}, {0, 0x40}, {0x12, 0x80}})},
        {0x10, chainOf({{2, 0x10}})},
        {0xA0, chainOf({{2, 0xA0}})},
    };
    const auto before = support::openDescriptors();
    for (const auto& [planes, chain] : cases) {
        SCOPED_TRACE(&chain - &cases[0].second);
        const support::CaptureStderr captured;
        const UniquePicture record = picture(300, 41, planes);
        record->ratio = 1.5F;
        record->fields = 2;
        const UniquePicture again = read(write(record, chain));
        ASSERT_NE(again, nullptr);
        EXPECT_EQ(again->ratio, 1.5F);
        EXPECT_EQ(again->fields, 2);
        EXPECT_TRUE(samePlanes(*record, *again));
        EXPECT_EQ(again->linePointers[kRed], nullptr);
        EXPECT_EQ(captured.text(), "");
    }
    EXPECT_EQ(support::openDescriptors(), before) << "the streams are closed";
}

TEST_F(PictureWhole, ASmallPictureToTheByte) {
    const UniquePicture record = picture(2, 2, 0xE0); // the channel without a plane is zero
    for (std::size_t c = 0; c < 3; ++c) {
        std::fill_n(record->planes[c], 4, 0x10 * (c + 1));
        ++record->planes[c][3];
    }
    EXPECT_EQ(write(record, chainOf({{2, 0xE0}, {2, 0x10}})),
              head(2, 2, kRgbThenAlpha) + "\x81\x10\x20\x30\x81\x00"
                                          "\x01\x10\x20\x30\x11\x21\x31\x81\x00"s);
}

TEST_F(PictureWhole, WhatIsCutOffIsZero) {
    const UniquePicture record = picture(9, 5, 0xF0);
    const std::string whole = write(record, chainOf({{0, 0xF0}}));
    for (const std::size_t lines : {4U, 2U, 0U}) { // and half of the next one
        const support::CaptureStderr captured;
        const UniquePicture cut = read(whole.substr(0, 108 + lines * 36 + 18));
        ASSERT_NE(cut, nullptr);
        for (std::size_t c = 0; c < 4; ++c) { // the cut line may hold either
            std::fill(record->planes[c] + 9 * lines, record->planes[c] + 45, std::uint8_t{0});
            std::fill_n(cut->planes[c] + 9 * lines, 9, std::uint8_t{0});
        }
        EXPECT_TRUE(samePlanes(*record, *cut)) << lines;
        expectSaid(captured, "cut short or damaged");
    }
}

TEST_F(PictureWhole, AReadErrorIsNotACutFile) {
    const std::string whole = write(picture(9, 5, 0xF0));
    for (const std::size_t given : {0UL, 50UL, 100UL, 110UL, 112UL, whole.size() - 1}) {
        expectReadError<UniquePicture>("tinyPicture", "a.pic", pictureReadFile,
                                       whole.substr(0, given));
    }
}

TEST_F(PictureWhole, ClaimsCostNothing) {
    const support::CaptureStderr captured;
    // 11585 x 11585 x 4 is just above 512 MiB.
    EXPECT_EQ(read(head(11586, 11586, "\x00\x08\x02\xF0"s)), nullptr);
    expectSaid(captured, "too large to be read as a whole");
    const support::Growth growth;
    const UniquePicture claimed = read(head(11000, 11000, "\x00\x08\x02\xF0"s));
    ASSERT_NE(claimed, nullptr);
    EXPECT_LT(growth.now(), 64 * 1024) << "for a file of 200 bytes";
}

TEST_F(PictureWhole, AFullDiskIsReported) {
    std::filesystem::create_symlink("/dev/full", path);
    for (const int side : {300, 1}) { // the small one fails only at close
        const support::CaptureStderr captured;
        EXPECT_EQ(pictureWriteFile(path.c_str(), picture(side, side, 0xF0).get(), nullptr), 1);
        expectSaid(captured, "No space left on device");
    }
}

/// A comment that fills its field has no terminating zero in the file.
TEST(PictureNotes, AreReadAndChangedInTheHeadsOfPicturesAndMattesOnly) {
    const std::string notes =
        std::string(80, 'c') + "PICT" + be16(2) + be16(1) + "\x3f\x99\x99\x9a"s + be16(2);
    const auto typed = [&](const char* type) { return std::string(notes).replace(80, 4, type); };
    const std::pair<std::string, std::string> cases[] = {
        // The file, and what it is after its first eight bytes when changed; "": refused.
        {kBinaryHeader + "PICT\0\2\0\1\0\0\0\0\0\3pixels"s, typed("PICT") + "pixels"},
        {kBinaryHeader + "STAG\0\2\0\1\x3f\x80\0\0\0\3\0\1"s, typed("STAG") + "\0\1"s},
        {kBinaryHeader + "SCEN" + std::string(20, 'x'), ""},
        {std::string(88, 'x') + "PICT" + std::string(20, 'x'), ""},
        {kBinaryHeader + "PICT" + std::string(9, 'x'), ""},
    };
    for (const auto& [file, changed] : cases) {
        SCOPED_TRACE(file.substr(88));
        const int done = changed.empty() ? 0 : 1;
        const base::UniqueFile stream = streamOf(file);
        PictureNotes read{1, 1, "x", 1};
        EXPECT_EQ(pictureNotesRead(stream.get(), &read), done);
        EXPECT_STREQ(read.comment, "") << "what every new file says is no comment";
        PictureNotes change{1.2F, 2, {}, 0};
        std::memset(change.comment, 'c', kFileCommentSize);
        EXPECT_EQ(pictureNotesWrite(stream.get(), &change), done);
        EXPECT_EQ(pictureNotesRead(stream.get(), &read), done);
        EXPECT_EQ(read.ratio, done == 0 ? 0.0F : 1.2F);
        EXPECT_EQ(std::string(read.comment), done == 0 ? "" : change.comment);
        EXPECT_EQ(contentOf(stream.get()), done == 0 ? file : file.substr(0, 8) + changed);
    }
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    const base::UniqueFile writing(fdopen(ends[1], "w"));
    const base::UniqueFile pipe(fdopen(ends[0], "r")); // cannot seek
    PictureNotes none{};
    EXPECT_EQ(pictureNotesRead(pipe.get(), &none), -1);
    EXPECT_EQ(errno, ESPIPE);
}

} // namespace
