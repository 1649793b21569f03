// SPDX-License-Identifier: MIT
// The window on a screen, with and without a window manager.
#include "support/processState.h"
#include "windowDesk.h"
#include "windowPattern.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace {

constexpr const char* kShow = TDR_WINDOW_SHOW;

const std::string kEntering = "pasteBuffer:  entering event loop for window titled \"picture\".\n";
const std::string kExited = "pasteBuffer:  exited event loop for window titled \"picture\".\n";

std::unique_ptr<Program> paste(const Desk& desk, long width, long height) {
    return desk.start({kShow, "paste", std::to_string(width), std::to_string(height), "picture"});
}

/// The nearest value that a sample of eight bits has in the bits of `mask`.
std::uint32_t sampleOf(std::uint32_t pixel, int shift, std::uint32_t mask) {
    const double highest = static_cast<double>(mask >> std::countr_zero(mask));
    const double sample = static_cast<double>(pixel >> shift & 0xffU);
    return static_cast<std::uint32_t>(std::lround(sample * highest / 255))
           << std::countr_zero(mask);
}

std::uint32_t onScreen(std::uint32_t pixel, const Screenshot& shot) {
    const std::uint32_t all = shot.masks[0] | shot.masks[1] | shot.masks[2];
    const std::uint32_t depth = shot.depth == 32 ? ~0U : (1U << shot.depth) - 1;
    return sampleOf(pixel, 0, shot.masks[0]) | sampleOf(pixel, 8, shot.masks[1]) |
           sampleOf(pixel, 16, shot.masks[2]) | (depth & ~all);
}

/// Takes screenshots until one shows the whole picture.
void expectPicture(Desk& desk, WindowId window, int width, int height) {
    eventually("every pixel of the picture", [&] {
        const Screenshot shot = desk.screenshot(window);
        std::vector<std::uint32_t> expected;
        for (int row = height; row-- > 0;) {
            for (int column = 0; column < width; ++column) {
                expected.push_back(onScreen(patternPixel(column, row), shot));
            }
        }
        return shot.width == width && shot.pixels == expected;
    });
}

void expectQuietEnd(Program& program, const std::string& out = kEntering + kExited + "done\n") {
    EXPECT_EQ(program.exitStatus(), 0);
    EXPECT_EQ(program.out(), out);
    EXPECT_EQ(program.err(), "");
}

bool isOneLine(const std::string& text) {
    return !text.empty() && std::count(text.begin(), text.end(), '\n') == 1 && text.back() == '\n';
}

/// The screen is 480 high: a picture's lower edge is at 470, its left edge at 10.
TEST(Window, ShowsEveryPixelAtItsPlaceUntilEscape) {
    for (const auto manager : {Desk::Manager::Bare, Desk::Manager::Openbox}) {
        Desk desk("640x480x24", manager);
        const auto program = paste(desk, 301, 203);
        const WindowId window = desk.window("picture");
        expectPicture(desk, window, 301, 203); // before any event from outside
        EXPECT_EQ(desk.place(window), (Place{10, 267, 301, 203}));
        EXPECT_EQ(program->out(), kEntering);

        desk.awaitFocus(window);
        desk.ask(window, "WM_TAKE_FOCUS"); // read and dropped, as is the key
        desk.xdotool({"key", "a"});
        for (const Place part : {Place{0, 0, 640, 480}, {50, 400, 33, 21}, {0, 460, 60, 20}}) {
            desk.coverBriefly(part);
            expectPicture(desk, window, 301, 203);
        }
        program->kill(SIGSTOP); // two parts at once
        desk.coverBriefly({20, 440, 10, 10});
        desk.coverBriefly({250, 290, 40, 60});
        program->kill(SIGCONT);
        expectPicture(desk, window, 301, 203);
        desk.xdotool({"key", "Escape"});
        expectQuietEnd(*program);
    }
}

/// A way to end a window, and whether the program must report a reason.
const struct {
    const char* name;
    Desk::Manager manager;
    void (*strike)(Desk& desk, WindowId window);
    bool quiet;
} kEnds[] = {
    {"closed by a key of the manager", Desk::Manager::Openbox,
     [](Desk& desk, WindowId window) {
         desk.awaitFocus(window);
         for (int press = 0; press < 3; ++press) { // a manager may still be busy with its keys
             desk.xdotool({"key", "alt+F4"});
         }
     },
     true},
    {"destroyed by another program", Desk::Manager::Bare,
     [](Desk& desk, WindowId window) {
         desk.xdotool({"windowclose", std::to_string(window)});
     },
     true},
    {"connection cut", Desk::Manager::Bare,
     [](Desk& desk, WindowId window) {
         desk.xdotool({"windowkill", std::to_string(window)});
     },
     false},
    {"server gone", Desk::Manager::Bare, [](Desk& desk, WindowId) { desk.killServer(); }, false},
    // It has an event to draw when it continues, but the server has gone.
    {"server gone when it draws", Desk::Manager::Bare,
     [](Desk& desk, WindowId) {
         desk.coverBriefly({0, 0, 640, 480});
         desk.killServer();
     },
     false},
};

TEST(Window, EndsWhateverBefallsIt) {
    for (const auto& row : kEnds) {
        SCOPED_TRACE(row.name);
        Desk desk("640x480x24", row.manager);
        const auto program = paste(desk, 300, 200);
        const WindowId window = desk.window("picture");
        expectPicture(desk, window, 300, 200);
        program->kill(SIGSTOP); // it sees everything at once when it continues
        row.strike(desk, window);
        program->kill(SIGCONT);
        EXPECT_EQ(program->exitStatus(), 0);
        EXPECT_EQ(program->out(), kEntering + kExited + "done\n");
        EXPECT_TRUE(row.quiet ? program->err().empty() : isOneLine(program->err()))
            << program->err();
    }
}

/// The picture is large enough that the window is destroyed during drawing.
TEST(Window, MayBeDestroyedWhileItIsDrawn) {
    Desk desk("3100x2600x24");
    for (int round = 0; round < 3; ++round) {
        const auto program = paste(desk, 3000, 2500);
        desk.destroy(desk.window("picture"));
        expectQuietEnd(*program);
    }
}

// On the 8-bit screen true colour is not the default; the last window has another depth than its
// parent and opacity bits. Sizes are odd, and one needs several strips of rows.
constexpr struct {
    const char* screen;
    const char* depthWanted;
    int depthShown;
    int width = 255;
    int height = 77;
} kScreens[] = {{"400x300x8", "0", 8},   {"400x300x15", "0", 15},
                {"400x300x16", "0", 16}, {"1100x800x24", "0", 24, 1001, 701},
                {"400x300x30", "0", 30}, {"400x300x24", "32", 32}};

TEST(Window, DrawsByTheMasksOfEveryVisual) {
    for (const auto& row : kScreens) {
        SCOPED_TRACE(row.depthShown);
        Desk desk(row.screen);
        const auto program = desk.start({kShow, "depth", std::to_string(row.width),
                                         std::to_string(row.height), "picture", row.depthWanted});
        const WindowId window = desk.window("picture");
        EXPECT_EQ(desk.screenshot(window).depth, row.depthShown);
        expectPicture(desk, window, row.width, row.height);
        desk.awaitFocus(window);
        desk.xdotool({"key", "Escape"});
        expectQuietEnd(*program, "done\n");
    }
}

TEST(Window, IsOneBlackPixelForAnEmptyPictureAndAsLargeAsTheSystemAllows) {
    Desk desk;
    const std::tuple<int, int, Place> cases[] = {
        {0, 20, {10, 469, 1, 1}},
        {20, 0, {10, 469, 1, 1}},
        {0, 0, {10, 469, 1, 1}},
        {32767, 2, {10, 468, 32767, 2}},
        {2, 32767, {10, 470 - 32767, 2, 32767}},
    };
    for (const auto& [width, height, place] : cases) {
        SCOPED_TRACE(testing::Message() << width << " x " << height);
        const auto program = paste(desk, width, height);
        const WindowId window = desk.window("picture");
        EXPECT_EQ(desk.place(window), place);
        if (place.width == 1) {
            EXPECT_EQ(desk.screenshot(window).pixels, std::vector<std::uint32_t>{0});
        }
        desk.xdotool({"windowclose", std::to_string(window)});
        expectQuietEnd(*program);
    }
}

TEST(Window, SaysInOneLineWhyThereIsNone) {
    const Desk desk;
    const struct {
        const char* name;
        std::vector<std::string> arguments;
        bool hasDisplay;
        const char* out = "done\n";
    } refusals[] = {
        {"negative width", {"paste", "-1", "10", "t"}, true},
        {"negative height", {"paste", "10", "-1", "t"}, true},
        {"negative beside zero", {"paste", "0", "-7", "t"}, true},
        {"too wide", {"paste", "32768", "1", "t"}, true},
        {"too high", {"paste", "1", "32768", "t"}, true},
        {"wraps to a small number", {"paste", "4294967297", "1", "t"}, true},
        {"smallest number", {"paste", "-9223372036854775808", "1", "t"}, true},
        {"no pixels", {"paste", "40000", "1", "t"}, true},
        {"no such depth", {"depth", "10", "10", "t", "17"}, true},
        {"no display", {"paste", "10", "10", "t"}, false},
        {"told to the caller", {"try", "-1", "10", "t"}, true, "failed\ndone\n"},
    };
    for (const auto& row : refusals) {
        SCOPED_TRACE(row.name);
        std::vector<std::string> command{"env", row.hasDisplay ? "--" : "--unset=DISPLAY", kShow};
        command.insert(command.end(), row.arguments.begin(), row.arguments.end());
        const auto program = desk.start(command);
        EXPECT_EQ(program->exitStatus(), 0);
        EXPECT_EQ(program->out(), row.out);
        EXPECT_TRUE(isOneLine(program->err())) << program->err();
    }
}

/// The process sleeps if its state is never "running" in fifty checks in a row.
TEST(Window, TakesNoProcessorTimeWhileItWaits) {
    Desk desk;
    const auto program = paste(desk, 64, 48);
    expectPicture(desk, desk.window("picture"), 64, 48);
    int asleep = 0;
    eventually("a program that sleeps", [&] {
        asleep = support::stateOf(program->pid()) == 'S' ? asleep + 1 : 0;
        return asleep == 50;
    });
}

} // namespace
