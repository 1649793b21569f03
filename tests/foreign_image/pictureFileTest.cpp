// SPDX-License-Identifier: MIT
// PIC files: header and packets byte by byte, what is refused, whole pictures, damage, full disks.
#include "tinyPicture.h"

#include "base/uniqueFile.h"
#include "support/captureStderr.h"
#include "support/leakCounters.h"
#include "support/tempDir.h"
#include "tinySoftType.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>

namespace {

using namespace std::string_literals;

using UniquePicture = std::unique_ptr<Picture, PictureDisposer>;
using UniqueReader = std::unique_ptr<PictureReader, PictureReaderDisposer>;
using UniqueWriter = std::unique_ptr<PictureWriter, PictureWriterDisposer>;
using Chain = std::unique_ptr<ChannelPacket, ChannelPacketDisposer>;

const std::string kCommonHeader = "\x53\x80\xF6\x34\x40\x26\x66\x66"
                                  "No comment..."s +
                                  std::string(67, '\0') + "PICT";
const std::string kRgbPacket = "\x00\x08\x02\xE0"s;
const std::string kRgbThenAlpha = "\x01\x08\x02\xE0\x00\x08\x02\x10"s;

std::string big16(int number) {
    return {static_cast<char>(number >> 8), static_cast<char>(number)};
}

/// Everything in front of the first scanline.
std::string head(int width, int height, const std::string& packets) {
    return kCommonHeader + big16(width) + big16(height) + "\x3F\x80\x00\x00\x00\x03\x00\x00"s +
           packets;
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A picture of the given channels, in which every byte differs from its neighbours.
UniquePicture picture(int width, int height, std::uint8_t mask) {
    UniquePicture record(pictureAllocate());
    record->width = static_cast<std::int16_t>(width);
    record->height = static_cast<std::int16_t>(height);
    record->fields = 3;
    const std::size_t size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    for (std::size_t c = 0; c < 4; ++c) {
        if ((mask & kChannelMasks[c]) != 0) {
            record->planes[c] = static_cast<std::uint8_t*>(std::malloc(size));
            for (std::size_t i = 0; i < size; ++i) {
                record->planes[c][i] = static_cast<std::uint8_t>((i * 7 + c * 50) / 3);
            }
        }
    }
    return record;
}

Chain chainOf(std::initializer_list<std::pair<int, int>> typesAndMasks) {
    ChannelPacket* first = nullptr;
    ChannelPacket** link = &first;
    for (const auto& [type, mask] : typesAndMasks) {
        *link = channelPacketAllocate();
        (*link)->size = 8;
        (*link)->type = static_cast<std::uint8_t>(type);
        (*link)->channels = static_cast<std::uint8_t>(mask);
        link = &(*link)->next;
    }
    return Chain(first);
}

TEST(PictureRecord, StartsZeroedWithRatioOne) {
    const UniquePicture record(pictureAllocate());
    EXPECT_EQ(record->ratio, 1.0F);
    EXPECT_EQ(record->width + record->height + record->fields, 0);
    EXPECT_EQ(record->planes[kRed], nullptr);
    EXPECT_EQ(record->linePointers[kAlpha], nullptr);
}

TEST(PictureRecord, DisposeKeepsTheCallersPointerAndTakesNull) {
    Picture* record = pictureAllocate();
    Picture* const before = record;
    EXPECT_EQ(pictureDispose(&record), 1);
    EXPECT_EQ(record, before);
    record = nullptr;
    EXPECT_EQ(pictureDispose(&record), 1);
    ChannelPacket* chain = chainOf({{2, 0xE0}, {2, 0x10}}).release();
    channelPacketDispose(&chain);
    EXPECT_EQ(chain, nullptr);
    channelPacketDispose(&chain);
}

TEST(PictureHeader, IsWrittenToTheByte) {
    const support::TempDir dir;
    const struct {
        const char* name;
        std::uint8_t planes;
        bool ownChain;
        std::string packets;
    } cases[] = {
        {"colour", 0xE0, false, kRgbPacket},
        {"colour and alpha", 0xF0, false, kRgbThenAlpha},
        {"a chain of the caller's", 0xF0, true, "\x01\x08\x00\x10\x00\x08\x01\xC0"s},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const UniquePicture record = picture(0x102, 3, row.planes);
        ChannelPacket* packets = row.ownChain ? chainOf({{0, 0x10}, {1, 0xC0}}).release() : nullptr;
        const std::string path = dir / "a.pic";
        std::FILE* stream = pictureWriteFileHeader(path.c_str(), record.get(), &packets);
        const Chain chain(packets);
        ASSERT_NE(stream, nullptr);
        EXPECT_EQ(std::ftell(stream), static_cast<long>(104 + row.packets.size()));
        std::fclose(stream);
        EXPECT_EQ(contentOf(path), head(0x102, 3, row.packets));
    }
}

TEST(PictureHeader, NamesGetTheEndingTheyLack) {
    const support::TempDir dir;
    const UniquePicture record = picture(1, 1, 0xE0);
    const std::pair<const char*, const char*> names[] = {
        {"a.pic", "a.pic"},       {"pic", "pic.pic"},     {"b.PIC", "b.PIC.pic"},
        {"c.picc", "c.picc.pic"}, {"d.tag", "d.tag.pic"},
    };
    for (const auto& [given, made] : names) {
        pictureWriteFile((dir / given).c_str(), record.get(), nullptr);
        EXPECT_TRUE(std::filesystem::exists(dir / made)) << given;
        const UniquePicture again(pictureReadFile((dir / given).c_str()));
        EXPECT_NE(again, nullptr) << given;
    }
    // Less than five characters get the ending even when they look like it.
    std::filesystem::current_path(dir.path());
    pictureWriteFile(".pic", record.get(), nullptr);
    EXPECT_TRUE(std::filesystem::exists(dir / ".pic.pic"));
}

struct ReadCase {
    const char* name;
    std::string file;
    bool read;
    const char* message; ///< part of what is printed; empty: nothing is
};

/// The chain as "type:mask" numbers, to compare.
std::string textOf(const ChannelPacket* chain) {
    std::string text;
    for (; chain != nullptr; chain = chain->next) {
        text += std::to_string(chain->size) + ":" + std::to_string(chain->type) + ":" +
                std::to_string(chain->channels) + " ";
    }
    return text;
}

TEST(PictureHeader, WhatIsReadAndWhatIsRefused) {
    const std::string tag = "\x00\x08\x02\x10"s;
    const ReadCase cases[] = {
        {"a picture", head(2, 3, kRgbPacket), true, ""},
        {"largest size", head(32767, 32767, kRgbPacket), true, ""},
        {"width 0", head(0, 3, kRgbPacket), false, "is 0 pixels wide and 3 high"},
        {"height 0", head(2, 0, kRgbPacket), false, "is 2 pixels wide and 0 high"},
        {"width 32768", head(32768, 3, kRgbPacket), false, "is 32768 pixels wide"},
        {"height 65535", head(2, 65535, kRgbPacket), false, "and 65535 high"},
        {"another type word", head(2, 3, kRgbPacket).replace(88, 4, "STAG"), false, ""},
        {"another magic", head(2, 3, kRgbPacket).replace(0, 1, "T"), false, ""},
        {"an empty file", "", false, ""},
        {"a mask nobody serves", head(2, 3, "\x00\x08\x02\x80"s), true, ""},
        {"an empty mask", head(2, 3, "\x00\x08\x02\x00"s), true, ""},
        {"an unknown encoding", head(2, 3, "\x00\x08\x09\xE0"s), true, ""},
        {"four packets", head(2, 3, "\x01\x08\x02\x80\x01\x08\x02\x40\x01\x08\x02\x20"s + tag),
         true, ""},
        {"five packets",
         head(2, 3,
              "\x01\x08\x02\x80\x01\x08\x02\x40\x01\x08\x02\x20\x01\x08\x02\x10"s +
                  "\x00\x08\x02\x00"s),
         false, "more channel packets than channels"},
        {"an endless chain of empty packets", head(2, 3, std::string(4000, '\1')), false, "twice"},
        {"a channel twice", head(2, 3, "\x01\x08\x02\xE0\x00\x08\x02\x30"s), false, "twice"},
        {"chained to nothing", head(2, 3, "\x01\x08\x02\xE0"s), false, "ends inside"},
        {"no packet", head(2, 3, ""), false, "ends inside its channel packets"},
    };
    const support::TempDir dir;
    for (const ReadCase& row : cases) {
        SCOPED_TRACE(row.name);
        const std::string path = dir.write("a.pic", row.file);
        const support::CaptureStderr captured;
        const UniquePicture record(pictureAllocate());
        ChannelPacket* packets = nullptr;
        const base::UniqueFile stream(pictureReadFileHeader(path.c_str(), record.get(), &packets));
        const Chain chain(packets);
        EXPECT_EQ(stream != nullptr, row.read);
        EXPECT_EQ(chain != nullptr, row.read);
        const std::string said = captured.text();
        EXPECT_NE(said.find(row.message), std::string::npos) << said;
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), row.message[0] != '\0' ? 1 : 0)
            << said;
    }
}

TEST(PictureHeader, FieldsAreReadBack) {
    const support::TempDir dir;
    std::string file = head(258, 3, kRgbThenAlpha);
    file.replace(96, 4, "\x40\x00\x00\x00"s);
    file.replace(100, 4, "\x00\x02\xFF\xFF"s); // padding is ignored
    const std::string path = dir.write("a.pic", file + "x");
    const UniquePicture record(pictureAllocate());
    ChannelPacket* packets = nullptr;
    const base::UniqueFile stream(pictureReadFileHeader(path.c_str(), record.get(), &packets));
    const Chain chain(packets);
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(record->width, 258);
    EXPECT_EQ(record->height, 3);
    EXPECT_EQ(record->ratio, 2.0F);
    EXPECT_EQ(record->fields, 2);
    EXPECT_EQ(textOf(chain.get()), "8:2:224 8:2:16 ");
    EXPECT_EQ(std::ftell(stream.get()), 112);
}

TEST(PictureHeader, EveryTruncationIsRefusedAndLeaksNothing) {
    const support::TempDir dir;
    const std::string whole = head(2, 3, kRgbThenAlpha);
    const auto before = support::openDescriptors();
    option.level = 0;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const std::string path = dir.write("a.pic", whole.substr(0, size));
        const UniquePicture record(pictureAllocate());
        ChannelPacket* packets = nullptr;
        EXPECT_EQ(pictureReadFileHeader(path.c_str(), record.get(), &packets), nullptr) << size;
        EXPECT_EQ(packets, nullptr) << size;
    }
    optionReset();
    EXPECT_EQ(support::openDescriptors(), before);
}

TEST(PictureHeader, ASizeThatNoFileHoldsTouchesNoFile) {
    const support::TempDir dir;
    const std::string path = dir.write("a.pic", "precious");
    const support::CaptureStderr captured;
    const UniquePicture record = picture(1, 1, 0xE0);
    record->width = 0;
    ChannelPacket* packets = nullptr;
    errno = 0;
    EXPECT_EQ(pictureWriteFileHeader(path.c_str(), record.get(), &packets), nullptr);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_NE(captured.text().find("must be 1 to 32767"), std::string::npos);
    EXPECT_EQ(contentOf(path), "precious");
}

bool samePlanes(const Picture& a, const Picture& b) {
    const auto size = static_cast<std::size_t>(a.width) * static_cast<std::size_t>(a.height);
    for (std::size_t c = 0; c < 4; ++c) {
        if ((a.planes[c] == nullptr) != (b.planes[c] == nullptr) ||
            (a.planes[c] != nullptr && !std::equal(a.planes[c], a.planes[c] + size, b.planes[c]))) {
            return false;
        }
    }
    return a.width == b.width && a.height == b.height;
}

TEST(PictureWhole, SurvivesEveryChainThatLosesNothing) {
    const support::TempDir dir;
    const struct {
        const char* name;
        std::uint8_t planes;
        Chain chain;
    } cases[] = {
        {"default colour", 0xE0, nullptr},
        {"default colour and alpha", 0xF0, nullptr},
        {"all in one", 0xF0, chainOf({{2, 0xF0}})},
        {"raw", 0xF0, chainOf({{0, 0xF0}})},
        {"alpha first", 0xF0, chainOf({{2, 0x10}, {0, 0xE0}})},
        {"four packets", 0xF0, chainOf({{2, 0x10}, {2, 0x20}, {0, 0x40}, {0x12, 0x80}})},
        {"alpha only", 0x10, chainOf({{2, 0x10}})},
        {"two channels", 0xA0, chainOf({{2, 0xA0}})},
    };
    const auto before = support::openDescriptors();
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const support::CaptureStderr captured;
        const UniquePicture record = picture(300, 41, row.planes);
        const std::string path = dir / "a.pic";
        EXPECT_EQ(pictureWriteFile(path.c_str(), record.get(), row.chain.get()), 1);
        const UniquePicture again(pictureReadFile(path.c_str()));
        ASSERT_NE(again, nullptr);
        EXPECT_TRUE(samePlanes(*record, *again));
        EXPECT_EQ(again->linePointers[kRed], nullptr);
        EXPECT_EQ(captured.text(), "");
    }
    EXPECT_EQ(support::openDescriptors(), before) << "the streams are closed";
}

TEST(PictureWhole, ASmallPictureToTheByte) {
    const support::TempDir dir;
    const UniquePicture record = picture(2, 2, 0xF0);
    for (std::size_t c = 0; c < 4; ++c) {
        const auto base = static_cast<std::uint8_t>(0x10 * (c + 1));
        const std::uint8_t plane[] = {base, base, base, static_cast<std::uint8_t>(base + 1)};
        std::copy(std::begin(plane), std::end(plane), record->planes[c]);
    }
    const std::string path = dir / "a.pic";
    pictureWriteFile(path.c_str(), record.get(), nullptr);
    EXPECT_EQ(contentOf(path), head(2, 2, kRgbThenAlpha) +
                                   "\x81\x10\x20\x30"
                                   "\x81\x40"s +
                                   "\x01\x10\x20\x30\x11\x21\x31"
                                   "\x01\x40\x41"s);
}

TEST(PictureWhole, AChannelWithoutAPlaneIsWrittenAsZeros) {
    const support::TempDir dir;
    const UniquePicture record = picture(3, 1, 0xE0);
    const Chain chain = chainOf({{2, 0x10}});
    pictureWriteFile((dir / "a.pic").c_str(), record.get(), chain.get());
    EXPECT_EQ(contentOf(dir / "a.pic"), head(3, 1, "\x00\x08\x02\x10"s) + "\x82\x00"s);
}

TEST(PictureWhole, EveryTruncationReadsAsZeroFromThereOn) {
    const support::TempDir dir;
    const UniquePicture record = picture(9, 5, 0xF0);
    const std::string path = dir / "a.pic";
    const Chain chain = chainOf({{2, 0xE0}, {0, 0x10}});
    pictureWriteFile(path.c_str(), record.get(), chain.get());
    const std::string whole = contentOf(path);
    const std::size_t lineSize = (whole.size() - 112) / 5;
    for (std::size_t size = 112; size < whole.size(); ++size) {
        SCOPED_TRACE(size);
        const support::CaptureStderr captured;
        const UniquePicture cut(
            pictureReadFile(dir.write("cut.pic", whole.substr(0, size)).c_str()));
        ASSERT_NE(cut, nullptr);
        const std::size_t wholePixels = (size - 112) / lineSize * 9;
        for (std::size_t c = 0; c < 4; ++c) {
            EXPECT_TRUE(
                std::equal(cut->planes[c], cut->planes[c] + wholePixels, record->planes[c]));
            for (std::size_t i = wholePixels; i < 45; ++i) {
                EXPECT_TRUE(cut->planes[c][i] == 0 || cut->planes[c][i] == record->planes[c][i]);
            }
            EXPECT_TRUE(wholePixels + 9 >= 45 ||
                        std::all_of(cut->planes[c] + wholePixels + 9, cut->planes[c] + 45,
                                    [](std::uint8_t byte) { return byte == 0; }));
        }
        EXPECT_NE(captured.text().find("cut short or damaged"), std::string::npos);
    }
}

TEST(PictureWhole, NoFlippedBitDoesHarm) {
    const support::TempDir dir;
    option.level = 0;
    for (const int type : {0, 1, 2}) {
        const UniquePicture record = picture(6, 3, 0xF0);
        const Chain chain = chainOf({{type, 0xE0}, {2, 0x10}});
        const std::string path = dir / "a.pic";
        pictureWriteFile(path.c_str(), record.get(), chain.get());
        const std::string whole = contentOf(path);
        for (std::size_t bit = std::size_t{88} * 8; bit < whole.size() * 8; ++bit) {
            std::string flipped = whole;
            flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
            const UniquePicture read(pictureReadFile(dir.write("b.pic", flipped).c_str()));
            // Comment and scanlines do not decide whether a picture is one.
            EXPECT_TRUE(read != nullptr || bit < std::size_t{112} * 8) << bit;
        }
    }
    optionReset();
}

/// Runs `body` in a child with this much address space and gives its exit status.
int inChildWith(rlim_t resource, rlim_t limit, int (*body)(const std::string&),
                const std::string& path) {
    const pid_t child = fork();
    if (child == 0) {
        const rlimit limits = {limit, limit};
        setrlimit(static_cast<__rlimit_resource>(resource), &limits);
        _exit(body(path));
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
}

TEST(PictureWhole, ClaimsCostNothing) {
    const support::TempDir dir;
    const support::CaptureStderr captured;
    // 11585 x 11585 x 4 is just above 512 MiB.
    const std::string large = dir.write("large.pic", head(11586, 11586, "\x00\x08\x02\xF0"s));
    EXPECT_EQ(pictureReadFile(large.c_str()), nullptr);
    EXPECT_NE(captured.text().find("too large to be read as a whole"), std::string::npos);

    const std::string inside = dir.write("inside.pic", head(11000, 11000, "\x00\x08\x02\xF0"s));
    rusage before{};
    getrusage(RUSAGE_SELF, &before);
    const UniquePicture claimed(pictureReadFile(inside.c_str()));
    ASSERT_NE(claimed, nullptr);
    rusage after{};
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 64 * 1024) << "KiB for a file of 200 bytes";
}

TEST(PictureWhole, AFullDiskIsTold) {
    const support::CaptureStderr captured;
    const support::TempDir dir;
    std::filesystem::create_symlink("/dev/full", dir / "a.pic");
    const UniquePicture record = picture(300, 300, 0xF0);
    EXPECT_EQ(pictureWriteFile((dir / "a.pic").c_str(), record.get(), nullptr), 1);
    EXPECT_NE(captured.text().find("No space left on device"), std::string::npos);
    const UniquePicture small = picture(1, 1, 0xF0); // fails at close only
    EXPECT_EQ(pictureWriteFile((dir / "a.pic").c_str(), small.get(), nullptr), 1);
    const std::string said = captured.text();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 2);
    EXPECT_EQ(pictureWriteFile((dir / "no/such/folder").c_str(), small.get(), nullptr), 1);
}

TEST(PictureWriter, TellsTheFirstFailedWrite) {
    const support::TempDir dir;
    const int status = inChildWith(
        RLIMIT_FSIZE, 5000,
        [](const std::string& path) {
            std::signal(SIGXFSZ, SIG_IGN);
            const UniquePicture record = picture(300, 40, 0xF0);
            ChannelPacket* packets = nullptr;
            std::FILE* stream = pictureWriteFileHeader(path.c_str(), record.get(), &packets);
            const UniqueWriter writer(pictureWriterAllocate(stream));
            std::copy(record->planes, record->planes + 4, record->linePointers);
            int good = 0;
            while (good < 40 && pictureWriterScanline(writer.get(), record.get(), packets) == 1) {
                ++good;
            }
            const bool again = pictureWriterScanline(writer.get(), record.get(), packets) == 1;
            channelPacketDispose(&packets);
            return good < 40 && !again && pictureWriterError(writer.get()) == EFBIG ? 0 : 1;
        },
        dir / "a.pic");
    EXPECT_EQ(status, 0);
}

TEST(PictureWriter, CountsItsPosition) {
    const support::TempDir dir;
    const UniquePicture record = picture(300, 40, 0xF0);
    ChannelPacket* packets = nullptr;
    const base::UniqueFile stream(
        pictureWriteFileHeader((dir / "a.pic").c_str(), record.get(), &packets));
    const Chain chain(packets);
    const UniqueWriter writer(pictureWriterAllocate(stream.get()));
    std::copy(record->planes, record->planes + 4, record->linePointers);
    for (int row = 0; row < 40; ++row) {
        EXPECT_EQ(pictureWriterPosition(writer.get()), std::ftell(stream.get()));
        EXPECT_EQ(pictureWriterScanline(writer.get(), record.get(), chain.get()), 1);
    }
    EXPECT_EQ(pictureWriterError(writer.get()), 0);
}

/// A file of forty lines that is read line by line.
class PictureLines : public ::testing::Test {
  protected:
    static constexpr int kWidth = 2000;
    static constexpr int kHeight = 40;

    void SetUp() override {
        const std::string path = dir_ / "a.pic";
        pictureWriteFile(path.c_str(), source_.get(), nullptr);
        ChannelPacket* packets = nullptr;
        stream_.reset(pictureReadFileHeader(path.c_str(), record_.get(), &packets));
        chain_.reset(packets);
        reader_.reset(pictureReaderAllocate(stream_.get()));
    }

    void pointAtLines() {
        for (std::size_t c = 0; c < 4; ++c) {
            record_->linePointers[c] = lines_[c];
        }
    }
    bool linesAre(int row) const {
        for (std::size_t c = 0; c < 4; ++c) {
            if (!std::equal(lines_[c], lines_[c] + kWidth,
                            source_->planes[c] + std::ptrdiff_t{row} * kWidth)) {
                return false;
            }
        }
        return true;
    }
    [[nodiscard]] bool linesAreZero() const {
        return std::all_of(std::begin(lines_), std::end(lines_), [](const auto& line) {
            return std::count(std::begin(line), std::end(line), 0) == kWidth;
        });
    }
    int read() {
        pointAtLines();
        return pictureReaderScanline(reader_.get(), record_.get(), chain_.get());
    }

    support::TempDir dir_;
    UniquePicture source_ = picture(kWidth, kHeight, 0xF0);
    UniquePicture record_{pictureAllocate()};
    base::UniqueFile stream_;
    Chain chain_;
    UniqueReader reader_;
    std::uint8_t lines_[4][kWidth];
};

TEST_F(PictureLines, ReaderAndPlainFormAgreeOnLinesAndPositions) {
    const base::UniqueFile plain(std::fopen((dir_ / "a.pic").c_str(), "r"));
    std::fseek(plain.get(), pictureReaderPosition(reader_.get()), SEEK_SET);
    for (int row = 0; row < kHeight; ++row) {
        EXPECT_EQ(read(), 1);
        EXPECT_TRUE(linesAre(row)) << row;
        EXPECT_EQ(record_->linePointers[kRed], lines_[kRed] + kWidth);
        pointAtLines();
        EXPECT_EQ(pictureReadScanline(plain.get(), record_.get(), chain_.get()), 1);
        EXPECT_TRUE(linesAre(row)) << row;
        EXPECT_EQ(std::ftell(plain.get()), pictureReaderPosition(reader_.get())) << row;
    }
    EXPECT_EQ(std::getc(plain.get()), EOF);
    EXPECT_EQ(read(), 0) << "nothing is left";
    EXPECT_EQ(lines_[kGreen][kWidth - 1], 0);
}

TEST_F(PictureLines, AnyLineIsReadInAnyOrder) {
    std::vector<std::int64_t> offsets;
    for (int row = 0; row < kHeight; ++row) {
        offsets.push_back(pictureReaderPosition(reader_.get()));
        record_->linePointers[kRed] = nullptr; // lines that nobody wants
        pictureReaderScanline(reader_.get(), record_.get(), chain_.get());
    }
    for (int step : {kHeight - 1, 1, 3, 7, 11, 13, 17, 37}) {
        for (int i = 0; i < kHeight; ++i) {
            const int row = i * step % kHeight;
            ASSERT_EQ(pictureReaderSeek(reader_.get(), offsets[static_cast<std::size_t>(row)]), 1);
            ASSERT_EQ(read(), 1) << step << " " << row;
            ASSERT_TRUE(linesAre(row)) << step << " " << row;
        }
    }
}

TEST_F(PictureLines, BehindTheEndOfTheFileThereIsNothing) {
    std::vector<std::int64_t> offsets;
    do {
        offsets.push_back(pictureReaderPosition(reader_.get()));
    } while (read() == 1);
    for (const std::int64_t beyond : {1, 2, 100000}) {
        EXPECT_EQ(pictureReaderSeek(reader_.get(), offsets.back() + beyond), 1);
        EXPECT_EQ(read(), 0) << beyond;
        EXPECT_TRUE(linesAreZero()) << beyond;
    }
    // A file that shrinks: what the reader has not got yet is gone.
    ASSERT_EQ(pictureReaderSeek(reader_.get(), offsets[kHeight - 1]), 1);
    ASSERT_EQ(read(), 1);
    std::filesystem::resize_file(dir_ / "a.pic", static_cast<std::uintmax_t>(offsets[1]));
    for (std::size_t row = kHeight; row-- > 1;) {
        pictureReaderSeek(reader_.get(), offsets[row]);
        const bool got = read() == 1;
        EXPECT_TRUE(got ? linesAre(static_cast<int>(row)) : linesAreZero()) << row;
    }
    EXPECT_EQ(pictureReaderSeek(reader_.get(), offsets[0]), 1);
    EXPECT_EQ(read(), 1);
    EXPECT_TRUE(linesAre(0));
}

TEST_F(PictureLines, SyncGivesTheStreamBack) {
    read();
    read();
    EXPECT_EQ(pictureReaderSync(reader_.get()), 1);
    EXPECT_EQ(std::ftell(stream_.get()), pictureReaderPosition(reader_.get()));
    pointAtLines();
    pictureReadScanline(stream_.get(), record_.get(), chain_.get());
    EXPECT_TRUE(linesAre(2));
}

TEST_F(PictureLines, ADamagedLineEndsThePictureButNotTheLinesBeforeIt) {
    const std::int64_t first = pictureReaderPosition(reader_.get());
    read();
    const std::int64_t second = pictureReaderPosition(reader_.get());
    std::string bytes = contentOf(dir_ / "a.pic");
    bytes.replace(static_cast<std::size_t>(second), 3, "\x80\xFF\xFF");
    dir_.write("a.pic", bytes);
    stream_.reset(std::fopen((dir_ / "a.pic").c_str(), "r"));
    reader_.reset(pictureReaderAllocate(stream_.get()));
    pictureReaderSeek(reader_.get(), second);
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(pictureReaderPosition(reader_.get()), static_cast<std::int64_t>(bytes.size()));
    EXPECT_EQ(read(), 0);
    EXPECT_EQ(pictureReaderSeek(reader_.get(), first), 1);
    EXPECT_EQ(read(), 1);
    EXPECT_TRUE(linesAre(0));
}

TEST_F(PictureLines, AnUnknownEncodingMovesNothing) {
    lines_[kRed][0] = 77;
    chain_->type = 9;
    chain_->next->type = 15;
    const std::int64_t before = pictureReaderPosition(reader_.get());
    EXPECT_EQ(read(), 1);
    EXPECT_EQ(pictureReaderPosition(reader_.get()), before);
    EXPECT_EQ(lines_[kRed][0], 77);
    EXPECT_EQ(record_->linePointers[kRed], lines_[kRed] + kWidth);
    EXPECT_EQ(pictureReadScanline(stream_.get(), record_.get(), nullptr), 1);
}

TEST(PictureLinesOfAPipe, ThePlainFormTakesNoByteTooMany) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "\x82\x05\x01\x06\x07\x00rest", 10), 10);
    close(ends[1]);
    const base::UniqueFile stream(fdopen(ends[0], "r"));
    const UniquePicture record(pictureAllocate());
    record->width = 3;
    const Chain chain = chainOf({{2, 0x10}});
    std::uint8_t line[3] = {};
    record->linePointers[kAlpha] = line;
    pictureReadScanline(stream.get(), record.get(), chain.get());
    EXPECT_EQ(std::string(line, line + 3), "\5\5\5");
    EXPECT_EQ(std::getc(stream.get()), 1);
}

} // namespace
