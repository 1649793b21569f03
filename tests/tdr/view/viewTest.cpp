// SPDX-License-Identifier: MIT
// `tdr view` on a separate screen.
#include "drivers/window/windowDesk.h"
#include "support/pictureFiles.h"
#include "view/viewCanvas.h"
#include "view/viewCaption.h"

#include <algorithm>

namespace {

/// Two lines of two pixels: opaque, half transparent; opaque, invisible.
const std::string kFour = support::bytes({200, 100, 50, 255, 100, 0, 0, 200, //
                                          1, 2, 3, 255, 0, 0, 0, 0});
const std::string kOne = support::rawPic(1, 1, 0xF0, "abcd");

class View : public ::testing::Test {
  protected:
    std::unique_ptr<Program> view(const std::string& file,
                                  const std::string& option = "--timeout=100") const {
        return desk_.start({TDR_COMMAND, "view", option, file});
    }
    support::TempDir folder_;
    Desk desk_{"640x480x24"};
};

/// A pixel over the checkerboard, red first.
std::uint32_t over(int column, int row, int red, int green, int blue, int alpha) {
    const auto mixed = [&](int colour) {
        const auto below = static_cast<int>(checkerboard(column, row));
        return static_cast<std::uint32_t>((2 * colour * alpha / 255 + 1) / 2 +
                                          (2 * below * (255 - alpha) / 255 + 1) / 2);
    };
    return mixed(red) << 16 | mixed(green) << 8 | mixed(blue);
}

TEST_F(View, ShowsPixelsOverACheckerboardAndFitsThemToTheScreen) {
    std::string wide = support::rawPic(2, 2, 0xF0, kFour);
    wide.replace(96, 4, support::bytes({0x40, 0, 0, 0})); // ratio 2.0
    std::string many;
    for (int i = 0; i < 1240 * 100; ++i) {
        many += support::bytes({200, 100, 50});
    }
    const std::string large = support::rawPic(1240, 100, 0xE0, many);
    using Pixel = std::uint32_t (*)(int column, int row);
    const Pixel quarters = [](int column, int row) {
        return row >= 80      ? column < 160 ? 0x010203U : over(column, row, 0, 0, 0, 0)
                    : column < 160 ? 0xc86432U
                              : over(column, row, 100, 0, 0, 200);
    };
    const Pixel divided = [](int column, int row) { // 100 divided by its alpha is 128
        return row >= 80      ? column < 160 ? 0x010203U : over(column, row, 0, 0, 0, 0)
                    : column < 160 ? 0xc86432U
                              : over(column, row, 128, 0, 0, 200);
    };
    const struct {
        const char* option;
        std::string title, pic;
        Place place;
        Pixel pixel;
    } cases[] = {
        {"--timeout=100", "2 x 2 - SOFTIMAGE - 8000%", wide, {10, 310, 320, 160}, quarters},
        {"--unpremultiply", "2 x 2 - SOFTIMAGE - 8000%", wide, {10, 310, 320, 160}, divided},
        {"--timeout=100",
         "1240 x 100 - SOFTIMAGE - 50%",
         large,
         {10, 420, 620, 50},
         [](int /*column*/, int /*row*/) { return 0xc86432U; }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.option + c.title);
        const auto program = view(folder_.write("a.pic", c.pic), c.option);
        const WindowId window = desk_.window("a.pic - " + c.title);
        EXPECT_EQ(desk_.place(window), c.place);
        std::vector<std::uint32_t> pixels;
        for (int row = 0; row < c.place.height; ++row) {
            for (int column = 0; column < c.place.width; ++column) {
                pixels.push_back(c.pixel(column, row));
            }
        }
        eventually("every pixel", [&] { return desk_.screenshot(window).pixels == pixels; });
        desk_.awaitFocus(window);
        desk_.xdotool({"key", "Escape"});
        EXPECT_EQ(program->exitStatus(), 0);
        EXPECT_EQ(program->err(), "");
    }
}

std::string plain(int width, int height, int red) {
    std::string pixels;
    for (int i = 0; i < width * height; ++i) {
        pixels += support::bytes({red, 100, 50});
    }
    return support::rawPic(width, height, 0xE0, pixels);
}

/// What a user does, and what the title then says after the picture's size.
TEST(ViewKeys, DoWhatTheManualSays) {
    const struct {
        std::vector<std::string> does; ///< for xdotool
        std::string file, title;
    } steps[] = {
        {{"key", "space"}, "c.pic", " - 2 of 2"}, // the second one cannot be read
        {{"key", "Right"}, "a.pic", " - 1 of 2"},
        {{"key", "Left"}, "c.pic", " - 2 of 2"},
        {{"key", "plus"}, "c.pic", " - 2 of 2 - 200%"},
        {{"key", "Up"}, "a.pic", " - 1 of 2 - 200%"}, // of the same size: it stays there
        {{"key", "r"}, "a.pic", " - 1 of 2 - red - 200%"},
        {{"key", "g"}, "a.pic", " - 1 of 2 - green - 200%"},
        {{"key", "b"}, "a.pic", " - 1 of 2 - blue - 200%"},
        {{"key", "a"}, "a.pic", " - 1 of 2 - alpha - 200%"},
        {{"key", "c", "p"}, "a.pic", " - 1 of 2 - premultiplied - 200%"},
        {{"key", "p", "1"}, "a.pic", " - 1 of 2"},
        {{"key", "minus"}, "a.pic", " - 1 of 2 - 67%"},
        {{"key", "f"}, "a.pic", " - 1 of 2"},
        {{"mousemove", "--window", "%1", "10", "20"},
         "a.pic",
         " - 1 of 2 - 10, 20: 200 100 50 255"},
        {{"click", "4"}, "a.pic", " - 1 of 2 - 200% - 10, 20: 200 100 50 255"},
        {{"mousedown", "1", "mousemove_relative", "--", "-6", "-8", "mouseup", "1"},
         "a.pic",
         " - 1 of 2 - 200% - 10, 20: 200 100 50 255"}, // it is dragged along
        {{"mousemove_relative", "2", "4"}, "a.pic", " - 1 of 2 - 200% - 11, 22: 200 100 50 255"},
        {{"click", "5", "key", "q"}, "", ""},
    };
    for (const auto manager : {Desk::Manager::Bare, Desk::Manager::Openbox}) {
        Desk desk("640x480x24", manager);
        const support::TempDir folder;
        const auto program = desk.start(
            {TDR_COMMAND, "view", folder.write("a.pic", plain(400, 300, 200)),
             folder.write("b.pic", "no picture"), folder.write("c.pic", plain(400, 300, 210))});
        const std::string size = " - 400 x 300 - SOFTIMAGE";
        const WindowId window = desk.window("a.pic" + size + " - 1 of 3");
        desk.xdotool({"mousemove", "600", "10"});
        if (manager == Desk::Manager::Bare) {
            desk.focus(window);
        } else {
            desk.awaitFocus(window);
        }
        for (const auto& step : steps) {
            SCOPED_TRACE(testing::PrintToString(step.does));
            auto does = step.does;
            std::ranges::replace(does, "%1", std::to_string(window));
            desk.xdotool(does);
            if (!step.file.empty()) {
                EXPECT_EQ(desk.window(step.file + size + step.title), window);
            }
        }
        EXPECT_EQ(program->exitStatus(), 1);
        EXPECT_NE(program->err().find("b.pic: no driver reads it"), std::string::npos);
        EXPECT_EQ(std::ranges::count(program->err(), '\n'), 1) << program->err();
    }
}

TEST(ViewKeys, FillTheScreenAndPlay) {
    for (const auto manager : {Desk::Manager::Bare, Desk::Manager::Openbox}) {
        Desk desk("640x480x24", manager);
        const support::TempDir folder;
        const auto program = desk.start({TDR_COMMAND, "view", "--rate", "200",
                                         folder.write("a.pic", plain(400, 300, 200)),
                                         folder.write("b.pic", plain(400, 300, 100))});
        const std::string size = " - 400 x 300 - SOFTIMAGE";
        const WindowId window = desk.window("a.pic" + size + " - 1 of 2");
        desk.awaitFocus(window);
        const Place small = desk.place(window);
        desk.xdotool({"key", "F11", "r"});
        eventually("a picture that fills the screen", [&] {
            if (desk.place(window) != Place{0, 0, 640, 480}) {
                return false; // while it changes its size it has no pixels
            }
            const Screenshot shot = desk.screenshot(window);
            return shot.pixels[0] == 0 && shot.pixels[std::size_t{240} * 640 + 320] == 0xc8c8c8;
        });
        desk.xdotool({"key", "F11"});
        eventually("a small window", [&] {
            return desk.place(window) == small && desk.screenshot(window).pixels[0] == 0xc8c8c8;
        });
        desk.xdotool({"key", "Return"});
        for (const std::uint32_t red : {0x646464U, 0xc8c8c8U, 0x646464U}) {
            eventually("the next picture",
                       [&] { return desk.screenshot(window).pixels[0] == red; });
        }
        desk.xdotool({"key", "Return", "Escape"});
        EXPECT_EQ(program->exitStatus(), 0);
        EXPECT_EQ(program->err(), "");
    }
}

/// The part of a screenshot where these numbers are, if they are there.
bool hasCaption(const Screenshot& shot, const std::string& text, CaptionPlace place) {
    Raster blank({shot.width, shot.height});
    drawCaption(text, place, blank);
    for (std::size_t i = 0; i < shot.pixels.size(); ++i) {
        const auto row =
            static_cast<std::size_t>(shot.height) - 1 - i / static_cast<std::size_t>(shot.width);
        const std::uint32_t wanted = blank.pixels[row * static_cast<std::size_t>(shot.width) +
                                                  i % static_cast<std::size_t>(shot.width)];
        if (wanted != 0 && shot.pixels[i] != (wanted & 0xffffffU)) {
            return false;
        }
    }
    return true;
}

/// The picture is in the middle: from 120, 90.
TEST(ViewKeys, ShowPixelValuesInFullScreen) {
    for (const auto manager : {Desk::Manager::Bare, Desk::Manager::Openbox}) {
        Desk desk("640x480x24", manager);
        const support::TempDir folder;
        const auto program =
            desk.start({TDR_COMMAND, "view", folder.write("a.pic", plain(400, 300, 200))});
        const WindowId window = desk.window("a.pic - 400 x 300 - SOFTIMAGE");
        desk.awaitFocus(window);
        desk.xdotool({"mousemove", "130", "200", "key", "F11", "1"});
        eventually("the whole screen", [&] { return desk.place(window) == Place{0, 0, 640, 480}; });
        const auto expect = [&](const std::string& text, CaptionPlace place) {
            eventually(text, [&] { return hasCaption(desk.screenshot(window), text, place); });
        };
        expect("10, 110: 200 100 50 255", CaptionPlace::Bottom);
        desk.xdotool({"mousemove", "120", "389"});
        expect("0, 299: 200 100 50 255", CaptionPlace::Top);
        desk.xdotool({"mousemove", "5", "5"}); // beside the picture
        const auto isPlain = [&] {
            return std::ranges::count(desk.screenshot(window).pixels, 0xffffffU) == 0;
        };
        eventually("no numbers", isPlain);
        desk.xdotool({"mousemove", "130", "200", "key", "F11"});
        eventually("a window", [&] { return desk.place(window).width == 400 && isPlain(); });
        desk.xdotool({"key", "q"});
        EXPECT_EQ(program->exitStatus(), 0);
        EXPECT_EQ(program->err(), "");
    }
}

/// Of a pattern the frames that exist are shown, and the mattes of each file one after another.
TEST_F(View, StepsThroughFramesAndMattes) {
    for (const char* name : {"f.002.pic", "f.010.pic", "f.001.pic", "f.1.pic"}) {
        folder_.write(name, kOne);
    }
    const std::string one = folder_.write("one.tag", support::tag(1, 1, 1, {0xC001}));
    const std::string three =
        folder_.write("three.tag", support::tag(1, 1, 3, {0x8001, 0xC001, 0x8001}));
    const auto program = desk_.start(
        {TDR_COMMAND, "view", folder_ / "f.%03d.pic", three, one, folder_ / "no.@.pic"});
    const struct {
        const char* key;
        const char* title;
    } steps[] = {
        {nullptr, "f.001.pic - 1 x 1 - SOFTIMAGE - 1 of 5 - 32000%"},
        {"m", "f.001.pic - 1 x 1 - SOFTIMAGE - 1 of 5 - 32000%"},
        {"space", "f.002.pic - 1 x 1 - SOFTIMAGE - 2 of 5 - 32000%"},
        {"space", "f.010.pic - 1 x 1 - SOFTIMAGE - 3 of 5 - 32000%"},
        {"space", "three.tag - 1 x 1 - SOFTIMAGE - 4 of 5 - matte 1 of 3 - 32000%"},
        {"m", "three.tag - 1 x 1 - SOFTIMAGE - 4 of 5 - matte 2 of 3 - 32000%"},
        {"space", "one.tag - 1 x 1 - SOFTIMAGE - 5 of 5 - 32000%"},
        {"Left", "three.tag - 1 x 1 - SOFTIMAGE - 4 of 5 - matte 2 of 3 - 32000%"},
        {"m", "three.tag - 1 x 1 - SOFTIMAGE - 4 of 5 - matte 3 of 3 - 32000%"},
        {"m", "three.tag - 1 x 1 - SOFTIMAGE - 4 of 5 - matte 1 of 3 - 32000%"},
    };
    WindowId window = 0;
    for (const auto& step : steps) {
        SCOPED_TRACE(step.title);
        if (step.key != nullptr) {
            desk_.xdotool({"key", step.key});
        }
        window = desk_.window(step.title);
        if (step.key == nullptr) {
            desk_.xdotool({"mousemove", "600", "10"});
            desk_.focus(window);
        }
        const bool white = std::string_view(step.title).find("matte 2") != std::string_view::npos;
        eventually("its pixel", [&] {
            return (desk_.screenshot(window).pixels[0] == 0xffffff) == white ||
                   std::string_view(step.title).find(" of 3") == std::string_view::npos;
        });
    }
    desk_.xdotool({"key", "q"});
    EXPECT_EQ(program->exitStatus(), 1);
    EXPECT_NE(program->err().find("f.%03d.pic: no frame 3-9; skipped"), std::string::npos);
    EXPECT_NE(program->err().find("no.@.pic: no file has a name of this pattern"),
              std::string::npos);
    EXPECT_EQ(std::ranges::count(program->err(), '\n'), 2) << program->err();
}

TEST_F(View, ShowsADamagedPictureAndSaysSo) {
    const auto program = view(folder_.write("cut.pic", support::rawPic(9, 7, 0xF0, "abcd")));
    const WindowId window = desk_.window("cut.pic - 9 x 7 - SOFTIMAGE - 3600%");
    desk_.awaitFocus(window);
    desk_.xdotool({"key", "Escape"});
    EXPECT_EQ(program->exitStatus(), 1);
    EXPECT_NE(program->err().find("cut.pic' is cut short or damaged"), std::string::npos);
}

TEST_F(View, EndsBySignalWhileTheWindowStands) {
    const auto program = view(folder_.write("a.pic", kOne));
    desk_.window("a.pic - 1 x 1 - SOFTIMAGE - 32000%");
    program->kill(SIGTERM);
    EXPECT_EQ(program->exitStatus(), 256 + SIGTERM);
}

TEST_F(View, FailsWithItsServer) {
    const auto program = view(folder_.write("a.pic", kOne));
    desk_.window("a.pic - 1 x 1 - SOFTIMAGE - 32000%");
    desk_.killServer();
    EXPECT_EQ(program->exitStatus(), 1);
    EXPECT_NE(program->err().find("the X server went away"), std::string::npos) << program->err();
    EXPECT_NE(program->err().find("a.pic: "), std::string::npos) << program->err();
}

/// The first connection asks for the size of the screen, and its end is the server's end.
TEST_F(View, FailsWithAServerThatGoesAwayBeforeTheWindow) {
    Program server({"Xvfb", "-displayfd", "1", "-nolisten", "tcp", "-terminate"});
    eventually("its number", [&] { return server.out().ends_with('\n'); });
    const std::string display = "DISPLAY=:" + server.out().substr(0, server.out().size() - 1);
    Program program({"env", display, TDR_COMMAND, "view", folder_.write("a.pic", kOne)});
    EXPECT_EQ(program.exitStatus(), 1);
    EXPECT_NE(program.err().find("a.pic: its window failed, see above"), std::string::npos)
        << program.err();
    EXPECT_EQ(server.exitStatus(), 0);
}

TEST_F(View, SaysWhatIsWrong) {
    const std::string good = folder_.write("a.pic", kOne);
    const std::string bad = folder_.write("b.pic", "no picture");
    const struct {
        std::string file;
        const char* display;
        const char* reason;
    } cases[] = {
        {good + "x", "--", "No such file"},
        {bad, "--", "no driver reads it"},
        {good, "--unset=DISPLAY", "no X display"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.reason);
        const auto program = desk_.start({"env", c.display, TDR_COMMAND, "view", c.file});
        EXPECT_EQ(program->exitStatus(), 1);
        EXPECT_EQ(program->out(), "");
        EXPECT_NE(program->err().find(c.reason), std::string::npos) << program->err();
        EXPECT_EQ(std::ranges::count(program->err(), '\n'), 1) << program->err();
    }
}

} // namespace
