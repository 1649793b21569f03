// SPDX-License-Identifier: MIT
// TAG mattes: words, rows, headers, whole files, damage, full disks.
#include "tinyTag.h"

#include "foreign_image/picture/pictureTesting.h"
#include "support/descriptors.h"
#include "support/leakCounters.h"

#include <array>
#include <random>

namespace {

using namespace picturetesting;
using UniqueTag = std::unique_ptr<Tag, TagDisposer>;
using Words = std::vector<int>;

UniqueTag matte(int width, int height, int channels) {
    UniqueTag record(tagAllocate());
    record->width = static_cast<std::int16_t>(width);
    record->height = static_cast<std::int16_t>(height);
    record->channelCount = static_cast<std::int16_t>(channels);
    record->fields = 3;
    return record;
}

/// Sets pixels written as '0' and '1' in a row of zeros.
void setRow(Tag* record, int channel, int row, const std::string& pixels) {
    std::uint8_t* bits = tagTakeRow(record, channel, row);
    for (std::size_t x = 0; x < pixels.size(); ++x) {
        bits[x / 8] |= static_cast<std::uint8_t>((pixels[x] - '0') << (7 - x % 8));
    }
}

std::string rowOf(const Tag* record, int channel, int row) {
    const std::uint8_t* bits = tagRow(record, channel, row);
    std::string pixels;
    for (int x = 0; x < record->width; ++x) {
        const bool set = bits != nullptr && (bits[x / 8] >> (7 - x % 8) & 1) != 0;
        pixels.push_back(set ? '1' : '0');
    }
    return pixels;
}

/// Reads a row of these words over a row of ones, and checks the position of the stream.
std::string decoded(const std::string& bytes, std::size_t width, long after, bool cut) {
    const UniqueTag record = matte(static_cast<int>(width), 1, 1);
    setRow(record.get(), 0, 0, std::string(width, '1'));
    const base::UniqueFile stream = streamOf(bytes);
    EXPECT_EQ(tagReadScanline(stream.get(), record.get(), 0), 1);
    EXPECT_EQ(std::ftell(stream.get()), after);
    EXPECT_EQ(std::feof(stream.get()) != 0, cut);
    const std::uint8_t* row = tagRow(record.get(), 0, 0);
    EXPECT_EQ(std::count(row + (width + 7) / 8, row + tagRowSize(record.get()), 0),
              static_cast<long>(tagRowSize(record.get()) - (width + 7) / 8))
        << "nothing is written behind the pixels";
    return rowOf(record.get(), 0, 0);
}

bool hasZeroLiteral(const std::string& bytes, std::size_t width) {
    const UniqueTag record = matte(static_cast<int>(width), 1, 1);
    return tagScanlineHasZeroLiteral(streamOf(bytes).get(), record.get()) != 0;
}

/// The bytes of the written row, which read back as the same pixels.
std::string encoded(const std::string& pixels) {
    const UniqueTag record = matte(static_cast<int>(pixels.size()), 1, 1);
    setRow(record.get(), 0, 0, pixels);
    const std::string bytes = written([&](std::FILE* f) { tagWriteScanline(f, record.get(), 0); });
    EXPECT_EQ(decoded(bytes, pixels.size(), std::ssize(bytes), false), pixels);
    EXPECT_FALSE(hasZeroLiteral(bytes, pixels.size()));
    return bytes;
}

std::string ones(std::size_t count) {
    return std::string(count, '1');
}
std::string zeros(std::size_t count) {
    return std::string(count, '0');
}

TEST(TagRows, AreWrittenInTheWordsOfTheFormat) {
    const std::pair<std::string, Words> cases[] = {
        {"1", {0x2000}},
        {"1010000001", {0x2810}},
        {ones(14), {0x3FFF}}, // a literal
        {ones(15), {0xC00F}}, // a run
        {ones(20), {0xC014}},
        {zeros(20), {0x8014}},
        {ones(13) + "01", {0x3FFE, 0x2000}},
        {ones(14) + "0", {0xC00E, 0x0000}},
        {zeros(29) + "1", {0x801D, 0x2000}},
        {"10" + zeros(12) + ones(30) + "01", {0x2000, 0xC01E, 0x1000}},
        {ones(16383), {0xFFFF}},
        {ones(16384), {0xFFFF, 0x2000}},
        {ones(32767), {0xFFFF, 0xFFFF, 0x2000}},
        {zeros(32767), {0xBFFF, 0xBFFF, 0x0000}},
        {ones(16400) + "0", {0xFFFF, 0xC011, 0x0000}},
    };
    for (const auto& [pixels, expected] : cases) {
        EXPECT_EQ(encoded(pixels), words(expected)) << pixels.size() << " pixels";
    }
}

TEST(TagRows, OfEveryWidthComeBack) {
    std::mt19937 random(1);
    for (std::size_t width = 1; width <= 400; ++width) {
        SCOPED_TRACE(width);
        std::string pixels;
        while (pixels.size() < width) {
            pixels.append(1 + random() % (width % 3 == 0 ? 60 : 20), random() % 2 ? '1' : '0');
        }
        encoded(pixels.substr(0, width));
        encoded(zeros(width));
        encoded('1' + zeros(width - 1));
    }
}

TEST(TagRows, WithZerosThatTheWriterNeverMakesAreTold) {
    const std::tuple<std::size_t, bool, Words> cases[] = {
        {14, false, {0}},
        {15, true, {0, 0}},
        {28, false, {0x2000, 0}},
        {29, true, {0x2000, 0, 0x2000}},
        {40, true, {0x400A, 0xFFC0, 0, 0, 0}},
        {32, false, {0x4020, 0, 0}}, // a stream may be zeros
        {34, false, {0x4014, 0, 0, 0}},
        {20, false, {0x8005}}, // cut
    };
    for (const auto& [width, has, row] : cases) {
        EXPECT_EQ(hasZeroLiteral(words(row), width), has) << words(row).size() << ' ' << width;
    }
}

TEST(TagRows, AreReadFromWordsThatTheWriterNeverMakes) {
    const struct {
        const char* name;
        std::size_t width;
        bool cut;
        Words words;
        std::string pixels;
        long after;
    } cases[] = {
        {"a stream of 18", 18, false, {0x4012, 0xF00F, 0x8000, 0x7777}, "111100000000111110", 6},
        {"a stream inside a row", 20, false, {0x4003, 0xA000, 0xC011}, "101" + ones(17), 6},
        {"a stream longer than the row", 4, false, {0x4021, 0xAFFF, 0xFFFF, 0xFFFF, 7}, "1010", 8},
        {"empty runs", 4, false, {0x8000, 0xC000, 0x4000, 0x3C00}, "1111", 8},
        {"a run longer than the row", 4, false, {0xC100, 7}, "1111", 2},
        {"cut", 20, true, {0xC005}, "11111" + zeros(15), 2},
        {"cut inside a stream", 20, true, {0x4014, 0xFFFF}, ones(16) + zeros(4), 4},
        {"nothing", 20, true, {}, zeros(20), 0},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(decoded(words(row.words), row.width, row.after, row.cut), row.pixels);
    }
}

TEST(TagRecord, TakesTablesAndRowsWhenTheyAreTouched) {
    for (const auto& [width, height, channels] :
         {std::array{0, 1, 1}, {1, 0, 1}, {1, 1, 0}, {1, 1, -3}}) {
        EXPECT_EQ(tagAllocateChannels(matte(width, height, channels).get()), 0);
    }
    const UniqueTag record = matte(17, 2, 2);
    EXPECT_EQ(tagRowSize(record.get()), 24U);
    EXPECT_EQ(tagRow(record.get(), 0, 0), nullptr);
    EXPECT_EQ(tagAllocateChannels(record.get()), 1);
    EXPECT_EQ(record->channels[1][1], nullptr);
    std::uint8_t* row = tagTakeRow(record.get(), 1, 1);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(std::count(row, row + 24, 0), 24);
    EXPECT_EQ(tagAllocateChannels(record.get()), 1) << "tables that exist are kept";
    EXPECT_EQ(record->channels[1][1], row);
    for (const auto& [channel, outside] : {std::pair(2, 0), {0, 2}, {0, -1}}) {
        EXPECT_EQ(tagTakeRow(record.get(), channel, outside), nullptr);
    }
    EXPECT_EQ(tagReadScanline(stdin, record.get(), 2), 0);
    EXPECT_EQ(tagWriteScanline(stdout, record.get(), -1), 0);
    Tag* some = tagAllocate();
    EXPECT_EQ(some->ratio, 1.0F);
    for (int times = 0; times < 2; ++times) {
        EXPECT_EQ(tagDispose(&some), 1);
        EXPECT_EQ(some, nullptr);
    }
}

UniqueTag checkered(int width, int height, int channels) {
    UniqueTag record = matte(width, height, channels);
    for (int c = 0; c < channels; ++c) {
        for (int r = 0; r < height; ++r) {
            std::string pixels;
            for (int x = 0; x < width; ++x) {
                pixels.push_back((x / (1 + 5 * r) + c) % 2 == 0 ? '1' : '0');
            }
            setRow(record.get(), c, r, pixels);
        }
    }
    return record;
}

TEST(TagFile, ASmallMatteToTheByte) {
    const support::TempDir dir;
    const UniqueTag record = matte(15, 2, 2);
    setRow(record.get(), 0, 0, ones(15));
    setRow(record.get(), 1, 1, zeros(14) + "1"); // no other row was changed
    EXPECT_EQ(tagWriteFile((dir / "a").c_str(), record.get()), 1);
    EXPECT_EQ(contentOf(dir / "a.tag"), support::tag(15, 2, 2) + "\xC0\x0F"
                                                                 "\x80\x0F"
                                                                 "\x80\x0F"
                                                                 "\x80\x0E\x20\x00"s);
}

TEST(TagFile, SurvivesARoundTripAndClosesItsStreams) {
    const support::TempDir dir;
    const auto before = support::openDescriptors();
    {
        const support::CaptureStderr captured;
        const UniqueTag record = checkered(100, 7, 3);
        record->ratio = 1.5F;
        record->fields = 2;
        EXPECT_EQ(tagWriteFile((dir / "a.tag").c_str(), record.get()), 1);
        const UniqueTag again(tagReadFile((dir / "a.tag").c_str()));
        ASSERT_NE(again, nullptr);
        EXPECT_EQ(again->ratio, 1.5F);
        EXPECT_EQ(again->fields, 2);
        for (int i = 0; i < 21; ++i) {
            EXPECT_EQ(rowOf(again.get(), i / 7, i % 7), rowOf(record.get(), i / 7, i % 7));
        }
        EXPECT_EQ(captured.text(), "");
    }
    EXPECT_EQ(support::openDescriptors(), before);
}

TEST(TagFile, WhatIsReadAndWhatIsRefused) {
    const struct {
        std::string file;
        bool read;
        const char* message = "";
    } cases[] = {
        {support::tag(2, 3, 1), true},
        {support::tag(32767, 32767, 253), true},
        {support::tag(0, 3, 1), false, "is 0 pixels wide"},
        {support::tag(2, 40000, 1), false, "and 40000 high"},
        {support::tag(2, 3, 0), false, "has 0 channels: must be 1 to 253"},
        {support::tag(2, 3, 254), false, "has 254 channels"},
        {support::tag(2, 3, 65535), false, "has 65535 channels"},
        {support::tag(2, 3, 1).replace(88, 4, "PICT"), false},
        {"T" + support::tag(2, 3, 1).substr(1), false},
    };
    const support::TempDir dir;
    for (const auto& row : cases) {
        SCOPED_TRACE(row.message);
        const support::CaptureStderr captured;
        const UniqueTag record(tagAllocate());
        const base::UniqueFile stream(
            tagReadFileHeader(dir.write("a.tag", row.file).c_str(), record.get()));
        EXPECT_EQ(stream != nullptr, row.read);
        EXPECT_EQ(record->channels, nullptr);
        expectSaid(captured, row.message);
    }
}

TEST(TagFile, WhatCannotBeWrittenTouchesNoFile) {
    const support::TempDir dir;
    const std::string path = dir.write("a.tag", "precious");
    const support::CaptureStderr captured;
    EXPECT_EQ(tagWriteFile(path.c_str(), matte(2, 2, 254).get()), 0);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(tagWriteFile(path.c_str(), matte(2, -1, 1).get()), 0);
    EXPECT_EQ(contentOf(path), "precious");
    EXPECT_EQ(tagWriteFile((dir / "no/such").c_str(), matte(2, 2, 1).get()), 0);
}

TEST(TagFile, AReadErrorIsNotACutFile) {
    const support::TempDir dir;
    const std::string whole = support::tag(40, 2, 1, {0xC028, 0xC005, 0x4023, 0xFFFF, 0xFFFF});
    {
        const support::CaptureStderr captured;
        const UniqueTag cut(tagReadFile(dir.write("cut.tag", whole).c_str()));
        ASSERT_NE(cut, nullptr);
        EXPECT_EQ(rowOf(cut.get(), 0, 1), ones(37) + zeros(3));
        expectSaid(captured, "cut short or damaged");
    }
    for (const std::size_t given : {0U, 100U, 104U, 107U, 112U}) {
        expectReadError<UniqueTag>("tinyTag", "a.tag", tagReadFile, whole.substr(0, given));
    }
}

TEST(TagFile, ClaimsCostNothing) {
    const support::TempDir dir;
    const support::CaptureStderr captured;
    const std::string claim = dir.write("a.tag", support::tag(4000, 32767, 4, {0xFFFF}));
    const support::Growth growth;
    const UniqueTag claimed(tagReadFile(claim.c_str()));
    ASSERT_NE(claimed, nullptr);
    EXPECT_EQ(rowOf(claimed.get(), 0, 0), ones(4000));
    EXPECT_EQ(claimed->channels[3][32766], nullptr);
    EXPECT_LT(growth.now(), 4 * 1024) << "for a file of 106 bytes";

    const std::string path = dir.write("b.tag", support::tag(32767, 32767, 253, {0xFFFF}));
    EXPECT_EQ(tagReadFile(path.c_str()), nullptr);
    EXPECT_NE(captured.text().find("too large to be read as a whole"), std::string::npos);
    const UniqueTag record(tagAllocate());
    const base::UniqueFile stream(tagReadFileHeader(path.c_str(), record.get()));
    ASSERT_NE(stream, nullptr);
    for (int row = 0; row < record->height; ++row) {
        ASSERT_EQ(tagReadScanline(stream.get(), record.get(), row), 253);
    }
    EXPECT_LT(growth.now(), 150 * 1024);
    EXPECT_NE(tagRow(record.get(), 0, 0), nullptr);
    EXPECT_EQ(tagRow(record.get(), 1, 0), nullptr) << "the file holds nothing of it";
}

TEST(TagFile, AFullDiskIsReported) {
    const support::CaptureStderr captured;
    const support::TempDir dir;
    std::filesystem::create_symlink("/dev/full", dir / "a.tag");
    EXPECT_EQ(tagWriteFile((dir / "a.tag").c_str(), checkered(100, 7, 3).get()), 1);
    expectSaid(captured, "/a.tag' could not be written: No space left on device.\n");
}

} // namespace
