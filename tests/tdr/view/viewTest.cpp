// SPDX-License-Identifier: MIT
// `tdr view` on a separate screen.
#include "drivers/window/windowDesk.h"
#include "support/pictureFiles.h"
#include "support/tempDir.h"
#include "view/viewCanvas.h"

#include <algorithm>
#include <csignal>
#include <gtest/gtest.h>

namespace {

constexpr int kWidth = 60;
constexpr int kHeight = 40;

/// Samples of the test picture, rows from the top: red, green, blue, alpha.
int sample(int column, int row, int channel) {
    return channel == 0   ? column * 4
           : channel == 1 ? row * 6
           : channel == 2 ? 255 - column
                          : (column + row) * 255 / (kWidth + kHeight - 2);
}

std::string samples(int width, int height) {
    std::string all;
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column) {
            for (int channel = 0; channel < 4; ++channel) {
                all += static_cast<char>(sample(column, row, channel));
            }
        }
    }
    return all;
}

class View : public ::testing::Test {
  protected:
    std::unique_ptr<Program> view(const std::string& file,
                                  const std::string& option = "--timeout=100") const {
        return desk_.start({TDR_COMMAND, "view", option, file});
    }
    void expectClosing(Program& program, WindowId window) {
        desk_.awaitFocus(window);
        desk_.xdotool({"key", "Escape"});
        EXPECT_EQ(program.exitStatus(), 0);
        EXPECT_EQ(program.err(), "");
    }
    support::TempDir folder_;
    Desk desk_{"640x480x24"};
};

std::uint32_t over(int column, int row, int channel, int shownColumn) {
    const auto alpha = static_cast<std::uint32_t>(sample(column, row, 3));
    const auto colour = static_cast<std::uint32_t>(sample(column, row, channel));
    return (colour * alpha + checkerboard(shownColumn, row) * (255 - alpha) + 127) / 255;
}

std::string differenceFromStretched(const Screenshot& shot) {
    if (shot.width != 2 * kWidth || shot.height != kHeight) {
        return "size " + std::to_string(shot.width) + "x" + std::to_string(shot.height);
    }
    for (int row = 0; row < kHeight; ++row) {
        for (int column = 0; column < 2 * kWidth; ++column) {
            const auto want = over(column / 2, row, 0, column) << 16 |
                              over(column / 2, row, 1, column) << 8 |
                              over(column / 2, row, 2, column);
            if (shot.at(column, row) != want) {
                return "column " + std::to_string(column) + " row " + std::to_string(row);
            }
        }
    }
    return {};
}

TEST_F(View, ShowsAlphaOverACheckerboardAndWidePixelsWide) {
    std::string pic = support::rawPic(kWidth, kHeight, 0xF0, samples(kWidth, kHeight));
    pic.replace(96, 4, support::bytes({0x40, 0, 0, 0})); // ratio 2.0
    const auto program = view(folder_.write("wide.pic", pic));
    const WindowId window = desk_.window("wide.pic - 60 x 40 - SOFTIMAGE");
    std::string difference;
    eventually("every pixel", [&] {
        difference = differenceFromStretched(desk_.screenshot(window));
        return difference.empty();
    });
    EXPECT_EQ(difference, "");
    EXPECT_EQ(desk_.place(window), (Place{10, 430, 120, 40}));
    expectClosing(*program, window);
}

TEST_F(View, ReducesWhatDoesNotFitTheScreen) {
    std::string pixels;
    for (int i = 0; i < 1240 * 100; ++i) {
        pixels += support::bytes({200, 100, 50});
    }
    const auto program = view(folder_.write("large.pic", support::rawPic(1240, 100, 0xE0, pixels)));
    const WindowId window = desk_.window("large.pic - 1240 x 100 - SOFTIMAGE");
    EXPECT_EQ(desk_.place(window), (Place{10, 420, 620, 50}));
    eventually("the picture's one colour", [&] {
        const auto seen = desk_.screenshot(window).pixels;
        return !seen.empty() && std::ranges::count(seen, 0xc86432U) == std::ssize(seen);
    });
    expectClosing(*program, window);
}

/// Red of 100 and alpha of 200: 100 unchanged, 127.5 if it was multiplied by alpha.
TEST_F(View, DividesColoursByTheirAlphaWhenAsked) {
    const std::string pixel = support::bytes({100, 0, 0, 200});
    const auto program =
        view(folder_.write("a.pic", support::rawPic(1, 1, 0xF0, pixel)), "--unpremultiply");
    const WindowId window = desk_.window("a.pic - 1 x 1 - SOFTIMAGE");
    const std::uint32_t background = (checkerboard(0, 0) * 55 + 127) / 255;
    const std::uint32_t red = (128 * 200 + checkerboard(0, 0) * 55 + 127) / 255;
    eventually("the pixel", [&] {
        const auto seen = desk_.screenshot(window).pixels;
        return !seen.empty() && seen[0] == (red << 16 | background << 8 | background);
    });
    expectClosing(*program, window);
}

TEST_F(View, ShowsADamagedPictureAndSaysSo) {
    const auto program = view(folder_.write("cut.pic", support::rawPic(9, 7, 0xF0, "abcd")));
    const WindowId window = desk_.window("cut.pic - 9 x 7 - SOFTIMAGE");
    desk_.awaitFocus(window);
    desk_.xdotool({"key", "Escape"});
    EXPECT_EQ(program->exitStatus(), 1);
    EXPECT_NE(program->err().find("cut.pic' is cut short or damaged"), std::string::npos);
}

TEST_F(View, EndsBySignalWhileTheWindowStands) {
    const auto program = view(folder_.write("a.pic", support::rawPic(1, 1, 0xF0, samples(1, 1))));
    desk_.window("a.pic - 1 x 1 - SOFTIMAGE");
    eventually("the window's message", [&] { return !program->out().empty(); });
    program->kill(SIGTERM);
    EXPECT_EQ(program->exitStatus(), 256 + SIGTERM);
}

TEST_F(View, FailsWithItsServer) {
    const auto program = view(folder_.write("a.pic", support::rawPic(1, 1, 0xF0, samples(1, 1))));
    desk_.window("a.pic - 1 x 1 - SOFTIMAGE");
    desk_.killServer();
    EXPECT_EQ(program->exitStatus(), 1);
    EXPECT_NE(program->err().find("the X server went away"), std::string::npos) << program->err();
    EXPECT_NE(program->err().find("a.pic: "), std::string::npos) << program->err();
}

TEST_F(View, SaysWhatIsWrong) {
    const std::string good = folder_.write("a.pic", support::rawPic(1, 1, 0xF0, samples(1, 1)));
    const std::string bad = folder_.write("b.pic", "no picture");
    struct Wrong {
        const char* name;
        std::unique_ptr<Program> program;
        std::string reason;
    };
    Wrong wrongs[] = {
        {"missing", view(good + "x"), "No such file"},
        {"no picture", view(bad), "no driver reads it"},
        {"no display",
         std::make_unique<Program>(std::vector<std::string>{TDR_COMMAND, "view", good},
                                   std::vector<std::string>{"DISPLAY"}),
         "no X display"},
    };
    for (Wrong& row : wrongs) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(row.program->exitStatus(), 1);
        EXPECT_EQ(row.program->out(), "");
        EXPECT_NE(row.program->err().find(row.reason), std::string::npos) << row.program->err();
        EXPECT_EQ(std::ranges::count(row.program->err(), '\n'), 1) << row.program->err();
    }
}

} // namespace
