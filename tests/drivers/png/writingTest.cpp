// SPDX-License-Identifier: MIT
// Pictures written in any order, complete or not, on disks that are full or not.
#include "pngFixture.h"

#include <csignal>
#include <filesystem>
#include <random>
#include <sys/resource.h>

namespace {

constexpr int kWidth = 7;
constexpr int kHeight = 6;
constexpr std::size_t kRow = std::size_t{kWidth} * 4;
const std::string kBlank(kRow, '\0');

/// The rows of a written file from the bottom, read by libpng's own one-call reader.
std::vector<std::string> linesOf(const std::string& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_TRUE(png_image_begin_read_from_file(&image, path.c_str())) << image.message;
    EXPECT_EQ(image.format, static_cast<png_uint_32>(PNG_FORMAT_RGBA));
    image.format = PNG_FORMAT_ABGR;
    std::string pixels(PNG_IMAGE_SIZE(image), '\0');
    EXPECT_TRUE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr)) << image.message;
    std::vector<std::string> lines;
    const std::size_t size = std::size_t{image.width} * 4;
    for (std::size_t y = image.height; y-- > 0;) {
        lines.push_back(pixels.substr(y * size, size));
    }
    return lines;
}

TEST_F(PngFilterTest, EveryOrderOfWritingGivesThePicture) {
    const std::vector<int> orders[] = {
        {5, 4, 3, 2, 1, 0}, {0, 1, 2, 3, 4, 5}, {3, 5, 0, 1, 4, 2}, {2, 1, 2, 5, 4, 3, 0}};
    for (const auto& order : orders) {
        SCOPED_TRACE(testing::PrintToString(order));
        const support::CaptureStderr said;
        ASSERT_EQ(filter.write(folder / "a.png", kWidth, kHeight), 0);
        for (const int y : order) {
            ASSERT_EQ(filter.put(hostLine(kWidth, y), y), 0) << y;
        }
        ASSERT_EQ(filter.disconnectFromFile(), 1);
        const auto lines = linesOf(folder / "a.png");
        ASSERT_EQ(lines.size(), static_cast<std::size_t>(kHeight));
        for (int y = 0; y < kHeight; ++y) {
            EXPECT_EQ(lines[static_cast<std::size_t>(y)], hostLine(kWidth, y)) << y;
        }
        EXPECT_EQ(said.text(), "");
    }
}

TEST_F(PngFilterTest, LinesNeverSentAreTransparentBlack) {
    for (const auto& sent : std::vector<std::vector<int>>{{}, {5, 4, 2}, {0}, {3, 1, 0}}) {
        SCOPED_TRACE(testing::PrintToString(sent));
        ASSERT_EQ(filter.write(folder / "a.png", kWidth, kHeight), 0);
        std::vector<std::string> expected(kHeight, kBlank);
        for (const int y : sent) {
            ASSERT_EQ(filter.put(hostLine(kWidth, y), y), 0);
            expected[static_cast<std::size_t>(y)] = hostLine(kWidth, y);
        }
        ASSERT_EQ(filter.disconnectFromFile(), 1);
        EXPECT_EQ(linesOf(folder / "a.png"), expected);
    }
}

TEST_F(PngFilterTest, AWholePictureIsWrittenAtOnce) {
    std::string block;
    for (int y = 0; y < kHeight; ++y) {
        block += hostLine(kWidth, y);
    }
    ASSERT_EQ(filter.write(folder / "a.png", kWidth, kHeight), 0);
    ASSERT_EQ(filter.putAll(block), 0);
    ASSERT_EQ(filter.read(folder / "a.png"), 0);
    EXPECT_EQ(filter.postWrites, 1);
    std::string back(block.size(), 'x');
    ASSERT_EQ(filter.getAll(back), 0);
    EXPECT_EQ(back, block);
}

TEST_F(PngFilterTest, ARowInTheFileCannotBeReplaced) {
    ASSERT_EQ(filter.write(folder / "a.png", kWidth, 3), 0);
    EXPECT_EQ(filter.put(hostLine(kWidth, 1), 1), 0) << "kept";
    EXPECT_EQ(filter.put(hostLine(kWidth, 8), 1), 0) << "replaced";
    EXPECT_EQ(filter.put(hostLine(kWidth, 2), 2), 0);
    EXPECT_EQ(filter.put(hostLine(kWidth, 9), 1), -1) << "written";
    EXPECT_EQ(filter.put(hostLine(kWidth, 9), 2), -1);
    EXPECT_EQ(filter.put(hostLine(kWidth, 0), 0), 0);
    EXPECT_EQ(filter.disconnectFromFile(), 1);
    EXPECT_EQ(linesOf(folder / "a.png"),
              (std::vector{hostLine(kWidth, 0), hostLine(kWidth, 8), hostLine(kWidth, 2)}));
}

TEST_F(PngFilterTest, AShutDownWithAFileOpenFinishesItAndRunsTheCommand) {
    const std::string path = folder / "a.png";
    {
        const std::unique_ptr<TDR_Driver> leaving = std::make_unique<TDR_PngFilter>(0);
        leaving->setBounds(0, 0, 2, 2);
        leaving->setPostWriteCommand(("cp " + path + " " + path + ".copy #").c_str());
        std::string name = path;
        ASSERT_EQ(leaving->connectToFile(name.data(), 1), 0);
    }
    EXPECT_EQ(linesOf(path + ".copy"), (std::vector<std::string>(2, std::string(8, '\0'))));
}

std::string noise(int w, long seed) {
    std::string line;
    std::minstd_rand random(static_cast<unsigned>(seed + 1));
    for (int i = 0; i < w * 4; ++i) {
        line += static_cast<char>(random() >> 8);
    }
    return line;
}

class PngFullDisk : public PngFilterTest {
  protected:
    static constexpr int kWide = 20000;

    std::string full(const char* name) {
        std::filesystem::create_symlink("/dev/full", folder / name);
        return folder / name;
    }
    static void expectOneReason(const std::string& said, const std::string& path,
                                const char* reason) {
        EXPECT_EQ(said, "PNG Filter: Unable to write file '" + path + "' - " + reason + ".\n");
    }
};

TEST_F(PngFullDisk, AFailureThatOnlyTheCloseFindsIsAnswered) {
    const std::string path = full("a.png");
    for (int connection = 0; connection < 2; ++connection) {
        const support::CaptureStderr said;
        ASSERT_EQ(filter.write(path, 2, 1), 0);
        EXPECT_EQ(filter.put(hostLine(2, 0), 0), 0);
        EXPECT_EQ(filter.disconnectFromFile(), -1);
        expectOneReason(said.text(), path, "No space left on device");
        EXPECT_EQ(filter.disconnectFromFile(), 0);
    }
}

TEST_F(PngFullDisk, AfterAFailureEveryPutIsAnError) {
    const support::CaptureStderr said;
    const std::string path = full("a.png");
    ASSERT_EQ(filter.write(path, kWide, 9), 0);
    int failed = 0;
    for (long y = 8; y >= 0; --y) {
        const int result = filter.put(noise(kWide, y), y);
        EXPECT_TRUE(failed == 0 || result == -1) << "an OK after an error";
        failed += result == 0 ? 0 : 1;
    }
    EXPECT_GE(failed, 6);
    EXPECT_EQ(filter.disconnectFromFile(), -1);
    expectOneReason(said.text(), path, "No space left on device");
}

TEST_F(PngFullDisk, ConnectingAgainTellsOfTheLossAndRunsNoCommand) {
    const support::CaptureStderr said;
    ASSERT_EQ(filter.write(full("a.png"), 2, 1), 0);
    EXPECT_EQ(filter.connect(folder / "b.png", 1), -1);
    EXPECT_EQ(filter.postWrites, 0);
    EXPECT_EQ(filter.connect(folder / "b.png", 1), 0);
    EXPECT_EQ(linesIn(said.text()), 1) << said.text();
}

TEST_F(PngFullDisk, AFileSizeLimitIsAnErrorToo) {
    std::signal(SIGXFSZ, SIG_IGN);
    const std::string path = folder / "a.png";
    const support::CaptureStderr said;
    ASSERT_EQ(filter.write(path, kWide, 9), 0);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small{200000, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    const int put = filter.putAll([] {
        std::string block;
        for (int y = 0; y < 9; ++y) {
            block += noise(kWide, y);
        }
        return block;
    }());
    const int closed = filter.disconnectFromFile();
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(put, -1);
    EXPECT_EQ(closed, -1);
    expectOneReason(said.text(), path, "File too large");
}

} // namespace
