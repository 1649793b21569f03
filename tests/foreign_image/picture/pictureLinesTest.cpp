// SPDX-License-Identifier: MIT
// PIC files line by line: readers, writers, positions, files that shrink.
#include "picture/coders/tinyPictureCoders.h"
#include "pictureTesting.h"
#include "support/failingStream.h"

#include <algorithm>
#include <cerrno>
#include <optional>

namespace {

using namespace picturetesting;
using UniqueReader = std::unique_ptr<PictureReader, PictureReaderDisposer>;
using UniqueWriter = std::unique_ptr<PictureWriter, PictureWriterDisposer>;
using PictureWriting = PictureFiles;

TEST_F(PictureWriting, CountsItsPosition) {
    const Created made(path, picture(300, 40, 0xF0));
    const UniqueWriter writer(pictureWriterAllocate(made.stream.get()));
    for (int row = 0; row < 40; ++row) {
        EXPECT_EQ(pictureWriterPosition(writer.get()), std::ftell(made.stream.get()));
        EXPECT_EQ(pictureWriterScanline(writer.get(), made.record.get(), made.chain.get()), 1);
    }
    EXPECT_EQ(pictureWriterError(writer.get()), 0);
}

TEST_F(PictureWriting, CollectedLinesGoOutInAlignedPieces) {
    struct Written {
        std::string bytes;
        std::vector<std::size_t> ends;
    } written;
    const auto put = [](void* cookie, const char* bytes, std::size_t size) {
        auto* to = static_cast<Written*>(cookie);
        to->ends.push_back(to->bytes.append(bytes, size).size());
        return static_cast<ssize_t>(size);
    };
    const auto seek = [](void*, off64_t*, int) {
        errno = ESPIPE;
        return -1;
    };
    const Created made(path, picture(300, 40, 0xF0));
    const Created other(path + ".other", picture(300, 40, 0xF0));
    const base::UniqueFile stream(
        fopencookie(&written, "w", {.read = {}, .write = put, .seek = seek, .close = {}}));
    std::setvbuf(stream.get(), nullptr, _IONBF, 0);
    const UniqueWriter writer(pictureWriterAllocate(stream.get()));
    const UniqueWriter plain(pictureWriterAllocate(made.stream.get()));
    const auto begin = static_cast<std::size_t>(pictureWriterPosition(plain.get()));
    for (int row = 0; row < 40; ++row) {
        pictureWriterCollect(writer.get(), row < 20 ? 5000 : 1000);
        pictureWriterScanline(writer.get(), other.record.get(), other.chain.get());
        pictureWriterScanline(plain.get(), made.record.get(), made.chain.get());
    }
    EXPECT_EQ(pictureWriterFlush(writer.get()), 1);
    std::fflush(made.stream.get());
    EXPECT_EQ(written.bytes, support::contentOf(path).substr(begin));
    EXPECT_EQ(written.ends.back(), written.bytes.size());
    ASSERT_GT(written.ends.size(), 5U);
    written.ends.pop_back();
    for (const std::size_t end : written.ends) {
        EXPECT_EQ(end % 1000, 0U);
    }
}

TEST_F(PictureWriting, AfterAFailureNothingMoreIsEncoded) {
    for (const std::size_t piece : {1000U, 30000U, 1U << 20}) {
        Created made(path, picture(30000, 60, 0xF0));
        made.stream.reset(std::fopen("/dev/full", "w"));
        const UniqueWriter writer(pictureWriterAllocate(made.stream.get()));
        pictureWriterCollect(writer.get(), piece);
        int written = 0;
        for (int row = 0; row < 60; ++row) {
            written += pictureWriterScanline(writer.get(), made.record.get(), made.chain.get());
        }
        EXPECT_LT(written, 60) << piece;
        EXPECT_EQ(pictureWriterError(writer.get()), ENOSPC);
        EXPECT_EQ(pictureWriterFlush(writer.get()), 0);
    }
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
        return std::count(lines_[0], lines_[4], 0) == std::ptrdiff_t{4} * kWidth;
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

    reopen();
    read();
    EXPECT_EQ(pictureReaderSync(reader_.get()), 1) << "gives the stream back";
    pointAtLines();
    pictureReadScanline(file_->stream.get(), file_->record.get(), file_->chain.get());
    EXPECT_TRUE(linesAre(1));
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

TEST_F(PictureLines, AFailedReadGivesNoLineAndTheNextOneMaySucceed) {
    std::vector<std::int64_t> offsets;
    for (int row = 0; row < kHeight; ++row) {
        offsets.push_back(pictureReaderPosition(reader_.get()));
        read();
    }
    bool failed = true;
    for (int n = 1; failed; ++n) {
        support::FailingStream stream(contentOf(path), n);
        reader_.reset(pictureReaderAllocate(stream.get()));
        int refused = 0;
        for (std::size_t row = kHeight; row-- > 0;) { // stepping back reads ahead as well
            const bool got = pictureReaderSeek(reader_.get(), offsets[row]) == 1 && read() == 1;
            refused += got ? 0 : 1;
            EXPECT_TRUE(got ? linesAre(static_cast<int>(row))
                            : pictureReaderError(reader_.get()) == EIO)
                << n << " " << row;
        }
        failed = stream.hasFailed();
        EXPECT_LE(refused, failed ? 1 : 0) << n;
    }
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

TEST_F(PictureWriting, AChannelThatIsNamedTwiceReadsAsTheLaterPacketHasIt) {
    for (const CoderTable* table : coderTables()) {
        codersUse(table);
        for (const int width : {2, 15, 64, 127}) {
            const std::pair<char, std::string> controls[] = {
                {kEncodingRaw, ""},
                {kEncodingPure, {static_cast<char>(width)}},
                {kEncodingMixed, {static_cast<char>(width + 127)}}};
            for (const auto& [type, control] : controls) {
                SCOPED_TRACE(testing::Message() << table->name << width << ", type " << int{type});
                const std::size_t pixels =
                    type == kEncodingRaw ? static_cast<std::size_t>(width) : 1;
                const std::string line =
                    control + std::string(4 * pixels, 1) + control + std::string(2 * pixels, 2);
                const UniquePicture whole =
                    read(head(width, 3, "\1\10"s + type + "\xF0\0\10"s + type + '\x90') + line +
                         line + line);
                ASSERT_NE(whole, nullptr);
                for (int c = 0; c < 4; ++c) {
                    const int value = c == kRed || c == kAlpha ? 2 : 1;
                    EXPECT_EQ(std::count(whole->planes[c], whole->planes[c] + 3 * width, value),
                              3 * width)
                        << c;
                }
            }
        }
    }
    codersUse(nullptr);
}

} // namespace
