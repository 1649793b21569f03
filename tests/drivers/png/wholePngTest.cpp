// SPDX-License-Identifier: MIT
// Whole pictures without libpng, compared with libpng in both directions.
#include "wholePng.h"
#include "driverUnderTest.h"

#include <random>
#include <sys/resource.h>

namespace {

using png_filter::readWholePng;

std::string joined(const std::vector<std::string>& lines) {
    std::string all;
    for (const std::string& line : lines) {
        all += line;
    }
    return all;
}

/// The host lines of a file by our own reader; "left" if it leaves the file to libpng.
std::string readWhole(std::string png, int width, int height) {
    const std::string before(static_cast<std::size_t>(width * height) * 4, '?');
    std::string lines = before;
    if (readWholePng({reinterpret_cast<std::uint8_t*>(png.data()), png.size()}, {width, height},
                     reinterpret_cast<std::uint8_t*>(lines.data()))) {
        return lines;
    }
    EXPECT_EQ(lines, before) << "changed all the same";
    return "left";
}

TEST_F(PngFilterTest, EveryFilterOfAWholePictureGivesThePixelsOfLibpng) {
    for (const int colour : {PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGB_ALPHA}) {
        for (const int filters : {PNG_FILTER_NONE, PNG_FILTER_SUB, PNG_FILTER_UP, PNG_FILTER_AVG,
                                  PNG_FILTER_PAETH, PNG_ALL_FILTERS}) {
            for (const auto& [width, height] : {std::pair{1, 1}, {3, 5}, {190, 70}}) {
                SCOPED_TRACE(testing::Message() << colour << ' ' << filters << ' ' << width);
                const std::string png = makePng({width, height, colour, 8, false, false, filters});
                const std::string expected = joined(hostLines(png));
                EXPECT_EQ(readWhole(png, width, height), expected);
                ASSERT_EQ(filter.read(folder.write("a.png", png)), 0);
                std::string block(expected.size(), 0);
                EXPECT_EQ(filter.getAll(block), 0);
                EXPECT_EQ(block, expected);
                EXPECT_EQ(filter.line(0), expected.substr(0, std::size_t{4} * block.size() / 4 /
                                                                 static_cast<unsigned>(height)));
            }
        }
    }
}

TEST_F(PngFilterTest, RandomPixelsComeBackFromAWholePicture) {
    std::mt19937 random(5);
    for (const int width : {1, 2, 31, 400}) {
        std::string block(static_cast<std::size_t>(width * 60) * 4, 0);
        for (char& byte : block) {
            byte = static_cast<char>(random() % 4 == 0 ? random() : 0);
        }
        ASSERT_EQ(filter.write(folder / "a.png", width, 60), 0);
        EXPECT_EQ(filter.putAll(block), 0);
        ASSERT_EQ(filter.disconnectFromFile(), 1);
        const std::string png = support::contentOf(folder / "a.png");
        EXPECT_EQ(joined(hostLines(png)), block);
        EXPECT_EQ(readWhole(png, width, 60), block);
    }
}

/// A file of the given chunks after the header of a small picture.
std::string fileOf(const std::vector<std::pair<std::string, std::string>>& chunks) {
    std::string file = makePng({2, 2}).substr(0, 33);
    for (const auto& [name, data] : chunks) {
        file += support::pngChunk(name, data);
    }
    return file;
}

/// The compressed pixels of that picture; `at` is changed by `change`.
std::string pixels(std::size_t at = 0, int change = 0) {
    const std::string png = makePng({2, 2});
    const std::size_t begin = png.find("IDAT") + 4;
    std::string data = png.substr(begin, png.find("IEND") - begin - 8);
    data[at] = static_cast<char>(data[at] ^ change);
    return data;
}

TEST(WholePng, UnusualAndFaultyFilesAreLeftToLibpng) {
    const std::string good = pixels();
    ASSERT_NE(readWhole(fileOf({{"tEXt", "a"}, {"IDAT", good}, {"IEND", ""}}), 2, 2), "left");
    ASSERT_NE(
        readWhole(fileOf({{"IDAT", good.substr(0, 3)}, {"IDAT", good.substr(3)}, {"IEND", ""}}), 2,
                  2),
        "left");
    const struct {
        const char* name;
        std::string file;
    } rows[] = {
        {"no end", fileOf({{"IDAT", good}})},
        {"an end with data", fileOf({{"IDAT", good}, {"IEND", "x"}})},
        {"no pixels", fileOf({{"IEND", ""}})},
        {"pixels apart",
         fileOf(
             {{"IDAT", good.substr(0, 3)}, {"tEXt", "a"}, {"IDAT", good.substr(3)}, {"IEND", ""}})},
        {"a palette", fileOf({{"PLTE", "abc"}, {"IDAT", good}, {"IEND", ""}})},
        {"a transparent colour", fileOf({{"tRNS", "abcdef"}, {"IDAT", good}, {"IEND", ""}})},
        {"an unknown critical chunk", fileOf({{"ABCD", ""}, {"IDAT", good}, {"IEND", ""}})},
        {"no name of a chunk", fileOf({{"a\0bc", ""}, {"IDAT", good}, {"IEND", ""}})},
        {"more than the pixels", fileOf({{"IDAT", good + "x"}, {"IEND", ""}})},
        {"a wrong sum", fileOf({{"IDAT", pixels(good.size() - 1, 1)}, {"IEND", ""}})},
        {"a preset dictionary", fileOf({{"IDAT", pixels(1, 0x20)}, {"IEND", ""}})},
        {"another size", makePng({3, 2})},
        {"16 bits", makePng({2, 2, PNG_COLOR_TYPE_RGB, 16})},
        {"grey", makePng({2, 2, PNG_COLOR_TYPE_GRAY})},
        {"interlaced", makePng({2, 2, PNG_COLOR_TYPE_RGB, 8, true})},
        {"transparency", makePng({2, 2, PNG_COLOR_TYPE_RGB, 8, false, true})},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(readWhole(row.file, 2, 2), "left") << row.name;
    }
    const std::string whole = makePng({2, 2});
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_EQ(readWhole(whole.substr(0, size), 2, 2), "left") << size;
    }
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        std::string bent = whole;
        bent[bit / 8] = static_cast<char>(bent[bit / 8] ^ (1 << bit % 8));
        EXPECT_EQ(readWhole(bent, 2, 2), "left") << bit;
    }
}

/// A file whose zlib header claims a smaller window than its distances need: libpng refuses it.
TEST(WholePng, AWindowThatIsTooSmallIsLeftToLibpng) {
    std::string png = makePng({190, 70});
    const std::size_t at = png.find("IDAT") + 4;
    const auto size = static_cast<std::size_t>(static_cast<unsigned char>(png[at - 7])) << 16 |
                      static_cast<std::size_t>(static_cast<unsigned char>(png[at - 6])) << 8 |
                      static_cast<unsigned char>(png[at - 5]);
    std::string data = png.substr(at, size);
    ASSERT_EQ(data[0], 0x78);
    data.replace(0, 2, "\x08\x1d"); // 256 bytes
    png.replace(at - 8, size + 12, support::pngChunk("IDAT", data));
    EXPECT_EQ(readWhole(png, 190, 70), "left");
}

TEST_F(PngFilterTest, AWholePictureThatDoesNotFitIsReported) {
    std::string block(std::size_t{4} * 300 * 200, 0);
    std::mt19937 random(5);
    for (char& byte : block) {
        byte = static_cast<char>(random());
    }
    const auto failed = [&](const std::string& path) {
        const support::CaptureStderr said;
        EXPECT_EQ(filter.write(path, 300, 200), 0);
        const int put = filter.putAll(block);
        EXPECT_EQ(filter.disconnectFromFile(), -1) << put;
        EXPECT_EQ(said.lines(), 1);
        return said.text();
    };
    EXPECT_NE(failed("/dev/full").find("No space left"), std::string::npos);

    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit little{100'000, before.rlim_max};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &little);
    const std::string said = failed(folder / "a.png");
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_NE(said.find("File too large"), std::string::npos) << said;
}

} // namespace
