// SPDX-License-Identifier: MIT
// PIC files line by line: readers, writers, positions, files that shrink.
#include "picture/coders/tinyPictureCoders.h"
#include "pictureTesting.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <optional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <vector>

namespace {

using namespace picturetesting;
using UniqueReader = std::unique_ptr<PictureReader, PictureReaderDisposer>;
using UniqueWriter = std::unique_ptr<PictureWriter, PictureWriterDisposer>;
using PictureWriting = PictureFiles;

/// Writes a picture whose file may have 5000 bytes: true if the first failed write ends it.
bool firstFailedWriteIsTold(const std::string& path) {
    const rlimit limits = {5000, 5000};
    setrlimit(RLIMIT_FSIZE, &limits);
    std::signal(SIGXFSZ, SIG_IGN);
    const Created made(path, picture(300, 40, 0xF0));
    const UniqueWriter writer(pictureWriterAllocate(made.stream.get()));
    const auto line = [&] {
        return pictureWriterScanline(writer.get(), made.record.get(), made.chain.get()) == 1;
    };
    int good = 0;
    while (good < 40 && line()) {
        ++good;
    }
    return good < 40 && !line() && pictureWriterError(writer.get()) == EFBIG;
}

TEST_F(PictureWriting, TellsTheFirstFailedWrite) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(firstFailedWriteIsTold(path) ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST_F(PictureWriting, CountsItsPosition) {
    const Created made(path, picture(300, 40, 0xF0));
    const UniqueWriter writer(pictureWriterAllocate(made.stream.get()));
    for (int row = 0; row < 40; ++row) {
        EXPECT_EQ(pictureWriterPosition(writer.get()), std::ftell(made.stream.get()));
        EXPECT_EQ(pictureWriterScanline(writer.get(), made.record.get(), made.chain.get()), 1);
    }
    EXPECT_EQ(pictureWriterError(writer.get()), 0);
}

/// A file of forty lines that is read line by line.
class PictureLines : public PictureFiles {
  protected:
    static constexpr int kWidth = 2000;
    static constexpr int kHeight = 40;

    PictureLines() {
        write(source_);
        reopen();
    }
    void reopen() {
        file_.emplace(path);
        reader_.reset(pictureReaderAllocate(file_->stream.get()));
    }
    void pointAtLines() {
        std::copy(std::begin(lines_), std::end(lines_), file_->record->linePointers);
    }
    [[nodiscard]] bool linesAre(int row) const {
        return std::equal(std::begin(lines_), std::end(lines_), source_->planes,
                          [row](const auto& line, const std::uint8_t* plane) {
                              return std::equal(std::begin(line), std::end(line),
                                                plane + std::ptrdiff_t{row} * kWidth);
                          });
    }
    [[nodiscard]] bool linesAreZero() const {
        return std::all_of(std::begin(lines_), std::end(lines_), [](const auto& line) {
            return std::count(std::begin(line), std::end(line), 0) == kWidth;
        });
    }
    int read() {
        pointAtLines();
        return pictureReaderScanline(reader_.get(), file_->record.get(), file_->chain.get());
    }

    UniquePicture source_ = picture(kWidth, kHeight, 0xF0);
    std::optional<Opened> file_;
    UniqueReader reader_;
    std::uint8_t lines_[4][kWidth];
};

TEST_F(PictureLines, ReaderAndPlainFormAgreeOnLinesAndPositions) {
    const base::UniqueFile plain(std::fopen(path.c_str(), "r"));
    std::fseek(plain.get(), pictureReaderPosition(reader_.get()), SEEK_SET);
    for (int row = 0; row < kHeight; ++row) {
        EXPECT_EQ(read(), 1);
        EXPECT_TRUE(linesAre(row)) << row;
        EXPECT_EQ(file_->record->linePointers[kRed], lines_[kRed] + kWidth);
        pointAtLines();
        EXPECT_EQ(pictureReadScanline(plain.get(), file_->record.get(), file_->chain.get()), 1);
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
        file_->record->linePointers[kRed] = nullptr; // lines without a destination
        pictureReaderScanline(reader_.get(), file_->record.get(), file_->chain.get());
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
    // The file shrinks: parts that the reader has not read are gone.
    ASSERT_EQ(pictureReaderSeek(reader_.get(), offsets[kHeight - 1]), 1);
    ASSERT_EQ(read(), 1);
    std::filesystem::resize_file(path, static_cast<std::uintmax_t>(offsets[1]));
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
    EXPECT_EQ(std::ftell(file_->stream.get()), pictureReaderPosition(reader_.get()));
    pointAtLines();
    pictureReadScanline(file_->stream.get(), file_->record.get(), file_->chain.get());
    EXPECT_TRUE(linesAre(2));
}

TEST_F(PictureLines, ADamagedLineEndsThePictureButNotTheLinesBeforeIt) {
    const std::int64_t first = pictureReaderPosition(reader_.get());
    read();
    const std::int64_t second = pictureReaderPosition(reader_.get());
    std::string bytes = contentOf(path);
    bytes.replace(static_cast<std::size_t>(second), 3, "\x80\xFF\xFF");
    dir.write("a.pic", bytes);
    reopen();
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
    file_->chain->type = 9;
    file_->chain->next->type = 15;
    const std::int64_t before = pictureReaderPosition(reader_.get());
    EXPECT_EQ(read(), 1);
    EXPECT_EQ(pictureReaderPosition(reader_.get()), before);
    EXPECT_EQ(lines_[kRed][0], 77);
    EXPECT_EQ(file_->record->linePointers[kRed], lines_[kRed] + kWidth);
    EXPECT_EQ(pictureReadScanline(file_->stream.get(), file_->record.get(), nullptr), 1);
}

/// A picture in two halves of a chain, which may name the same channels.
struct Half {
    UniquePicture record;
    std::vector<std::pair<int, int>> packets;
    Chain chain = chainOf(packets);
};

/// The file whose packets are those of the first half, then those of the second.
std::string joined(Half (&halves)[2]) {
    std::string packets;
    for (const Half& half : halves) {
        std::copy(half.record->planes, half.record->planes + 4, half.record->linePointers);
        for (const auto& [type, mask] : half.packets) {
            packets += "\1\10"s + static_cast<char>(type) + static_cast<char>(mask);
        }
    }
    packets[packets.size() - 4] = 0;
    const Picture& record = *halves[0].record;
    return head(record.width, record.height, packets) + written([&](std::FILE* stream) {
               for (int line = 0; line < 2 * record.height; ++line) {
                   const Half& half = halves[line % 2];
                   pictureWriteScanline(stream, half.record.get(), half.chain.get());
               }
           });
}

/// Compares the planes, line by line through a reader into lines followed by guards.
bool readerGives(const std::string& path, const std::uint8_t* const* planes) {
    Opened file(path);
    const auto width = static_cast<std::size_t>(file.record->width);
    const UniqueReader reader(pictureReaderAllocate(file.stream.get()));
    bool right = true;
    for (std::size_t row = 0; row < static_cast<std::size_t>(file.record->height); ++row) {
        std::vector<std::uint8_t> lines[4];
        for (std::size_t c = 0; c < 4; ++c) {
            lines[c].assign(2 * width, 0xA7);
            file.record->linePointers[c] = lines[c].data();
        }
        right =
            pictureReaderScanline(reader.get(), file.record.get(), file.chain.get()) == 1 && right;
        for (std::size_t c = 0; c < 4 && planes[c] != nullptr; ++c) {
            right =
                right &&
                std::equal(lines[c].begin(), lines[c].begin() + static_cast<std::ptrdiff_t>(width),
                           planes[c] + row * width) &&
                std::count(lines[c].begin() + static_cast<std::ptrdiff_t>(width), lines[c].end(),
                           0xA7) == static_cast<std::ptrdiff_t>(width);
        }
    }
    return right && std::fgetc(file.stream.get()) == EOF;
}

TEST_F(PictureWriting, AChannelThatIsNamedTwiceReadsAsTheLaterPacketHasIt) {
    const std::vector<int> chains[][2] = {
        {{0xE0}, {0xE0}}, {{0xF0}, {0x10}}, {{0x10}, {0x10}}, {{0xE0, 0x10}, {0xE0, 0x10}}};
    for (const CoderTable* table : coderTables()) {
        codersUse(table);
        for (const auto& masks : chains) {
            for (const int width : {1, 15, 64, 300}) {
                for (const int type : {0, 1, 2}) {
                    SCOPED_TRACE(std::string(table->name) + ", " +
                                 ::testing::PrintToString(masks[0]) + ", width " +
                                 std::to_string(width) + ", type " + std::to_string(type));
                    Half halves[2] = {{picture(width, 5, 0xF0), {}}, {picture(width, 5, 0xF0), {}}};
                    const std::uint8_t* planes[4] = {};
                    for (int i = 0; i < 2; ++i) {
                        for (int c = 0; c < 4; ++c) {
                            std::uint8_t* plane = halves[i].record->planes[c];
                            if (i == 0 ||
                                type == kEncodingPure) { // which loses pixels between runs
                                std::fill_n(plane, width * 5,
                                            static_cast<std::uint8_t>(10 * i + c));
                            }
                        }
                        for (const int mask : masks[i]) {
                            halves[i].packets.emplace_back(type, mask);
                            for (int c = 0; c < 4; ++c) {
                                planes[c] = (mask & kChannelMasks[c]) != 0
                                                ? halves[i].record->planes[c]
                                                : planes[c];
                            }
                        }
                        halves[i].chain = chainOf(halves[i].packets);
                    }
                    dir.write("a.pic", joined(halves));
                    EXPECT_TRUE(readerGives(path, planes));
                    const UniquePicture whole(pictureReadFile(path.c_str()));
                    ASSERT_NE(whole, nullptr);
                    for (int c = 0; c < 4; ++c) {
                        EXPECT_TRUE(planes[c] == nullptr
                                        ? whole->planes[c] == nullptr
                                        : std::equal(planes[c],
                                                     planes[c] + std::ptrdiff_t{5} * width,
                                                     whole->planes[c]))
                            << c;
                    }
                }
            }
        }
    }
    codersUse(nullptr);
}

TEST(PictureLinesOfAPipe, ThePlainFormTakesNoByteTooMany) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(::write(ends[1], "\x82\x05\x01\x06\x07\x00rest", 10), 10);
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
