// SPDX-License-Identifier: MIT
// PIC files line by line: readers, writers, positions, files that shrink.
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

/// Writes a picture whose file may have 5000 bytes: true when the first write that fails ends it.
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
        file_->record->linePointers[kRed] = nullptr; // lines that nobody wants
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
    // A file that shrinks: what the reader has not got yet is gone.
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
