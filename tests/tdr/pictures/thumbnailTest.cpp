// SPDX-License-Identifier: MIT
// tdr thumbnail: sizes, pixels, and the one target that a command overwrites.
#include "support/effort.h"
#include "support/pictureFiles.h"
#include "tdr/commandTesting.h"

#include <array>
#include <sys/resource.h>

namespace {

using namespace commandTesting;

class ThumbnailTest : public CommandTest {
  protected:
    /// Opaque, in one colour; `ratio` is that of its pixels, as the file holds it.
    std::string pic(int width, int height, const std::string& ratio = support::be32(0x3F800000)) {
        std::string pixels;
        for (int i = 0; i < width * height; ++i) {
            pixels += support::bytes({200, 100, 50});
        }
        return files().write("a.pic",
                             support::rawPic(width, height, 0xE0, pixels).replace(96, 4, ratio));
    }
};

std::string sizeInPng(int width, int height) {
    return support::be32(static_cast<std::uint32_t>(width)) +
           support::be32(static_cast<std::uint32_t>(height));
}

TEST_F(ThumbnailTest, fitsAndKeepsTheShape) {
    const std::string two = support::be32(0x40000000);
    const std::string half = support::be32(0x3F000000);
    const std::string one = support::be32(0x3F800000);
    const struct {
        const char* name;
        int width, height;
        std::string ratio;
        int shownWidth, shownHeight; ///< in 64 x 64
    } cases[] = {
        {"wide", 300, 200, one, 64, 43},
        {"high", 200, 300, one, 43, 64},
        {"small", 20, 10, one, 20, 10},
        {"wide pixels", 200, 100, two, 64, 16},
        {"small with wide pixels", 20, 10, two, 20, 5},
        {"high pixels", 100, 200, half, 16, 64},
        {"a line", 2000, 1, one, 64, 1},
        {"as wide as a file can be", 32767, 3, one, 64, 1},
        {"several tiles high", 3, 9000, one, 1, 64},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        expectDone({"thumbnail", "-s", "64", pic(c.width, c.height, c.ratio), in("o")});
        EXPECT_EQ(contentOf(in("o")).substr(1, 3), "PNG");
        EXPECT_EQ(contentOf(in("o")).substr(16, 8), sizeInPng(c.shownWidth, c.shownHeight));
        std::string pixels;
        for (int i = 0; i < c.shownWidth * c.shownHeight; ++i) {
            pixels += support::bytes({200, 100, 50});
        }
        const auto expected = files().write(
            "expected.pic", support::rawPic(c.shownWidth, c.shownHeight, 0xE0, pixels));
        expectDone({"compare", in("o"), expected});
    }
}

TEST_F(ThumbnailTest, aPixelIsTheMeanOfWhatItCoversByItsAlpha) {
    std::string pixels;
    for (int line = 0; line < 32; ++line) {
        for (int column = 0; column < 16; ++column) { // two of them become one
            const int grey = line / 2 * 10 + column / 2;
            pixels += support::bytes({grey, grey, grey, 255});
            pixels += column % 2 == 0 ? support::bytes({grey, grey, grey, 255})
                                      : support::bytes({255, 0, 0, line % 2 * 255});
        }
    }
    const auto picture = files().write("a.pic", support::rawPic(32, 32, 0xF0, pixels));
    expectDone({"thumbnail", "-s", "16", picture, in("o.png")});
    std::string means;
    for (int line = 0; line < 16; ++line) {
        for (int column = 0; column < 16; ++column) {
            const int grey = line * 10 + column / 2;
            // Half of the right ones is grey, a quarter red, a quarter invisible.
            const int red = (2 * grey + 255 + 1) / 3;
            const int rest = (2 * grey + 1) / 3;
            means += column % 2 == 0 ? support::bytes({grey, grey, grey, 255})
                                     : support::bytes({red, rest, rest, 191});
        }
    }
    const auto expected = files().write("b.pic", support::rawPic(16, 16, 0xF0, means));
    const Ended compared = run({"compare", in("o.png"), expected});
    EXPECT_TRUE(compared.exit == 0 || contains(compared.err, "largest difference 1 of 255") ||
                contains(compared.err, "largest difference 2 of 255"))
        << compared.err;
}

TEST_F(ThumbnailTest, overwritesItsTargetButNeverThePicture) {
    const auto picture = pic(20, 10);
    const std::string whole = contentOf(picture);
    fs::create_symlink(picture, in("link.pic"));
    files().write("cut.pic", whole.substr(0, 200));
    files().write("huge.pic",
                  support::fileHeader("PICT", 32767, 32767) + support::bytes({0, 8, 2, 0xE0}));
    const struct {
        const char* input;
        const char* output;
        int exit;
        std::string says;
    } cases[] = {
        {"a.pic", "old.jpeg", 0, ""},
        {"cut.pic", "old.jpeg", 1, "old.jpeg: written, but " + in("cut.pic") + " is damaged"},
        {"huge.pic", "old.jpeg", 1, "old.jpeg: written, but " + in("huge.pic") + " is damaged"},
        {"a.pic", "a.pic", 1, "a.pic: is the picture itself"},
        {"a.pic", "link.pic", 1, "link.pic: is the picture itself"},
        {"none.pic", "old.jpeg", 1, "none.pic: No such file"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.input + std::string(" ") + c.output);
        const base::UniqueFd held(open(files().write("old.jpeg", "old").c_str(), O_RDONLY));
        expectEnd(c.exit, {"thumbnail", in(c.input), in(c.output)}, c.says);
        const bool written = c.says.find("itself") == std::string::npos && c.input[0] != 'n';
        std::array<char, 4> found{};
        EXPECT_GE(read(held.get(), found.data(), found.size()), 3); // the same file
        EXPECT_EQ(std::string_view(found.data() + 1, 3) == "PNG", written);
        EXPECT_EQ(contentOf(in("old.jpeg")) != "old", written);
        EXPECT_EQ(contentOf(picture), whole);
    }
    rusage used{};
    getrusage(RUSAGE_CHILDREN, &used);
    EXPECT_LT(used.ru_utime.tv_sec + used.ru_stime.tv_sec, support::kWholeSeries ? 5 : 50)
        << "for lines that are not there";
    for (const char* size : {"15", "4097", "-1"}) {
        expectEnd(2, {"thumbnail", "-s", size, picture, in("o.png")}, "--size");
    }
}

} // namespace
