// SPDX-License-Identifier: MIT
// `tdr view` on a separate screen.
#include "drivers/window/windowDesk.h"
#include "support/pictureFiles.h"

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

TEST_F(View, ShowsPixelsOverACheckerboardAndFitsThemToTheScreen) {
    std::string wide = support::rawPic(2, 2, 0xF0, kFour);
    wide.replace(96, 4, support::bytes({0x40, 0, 0, 0})); // ratio 2.0
    std::string many;
    for (int i = 0; i < 1240 * 100; ++i) {
        many += support::bytes({200, 100, 50});
    }
    const std::string large = support::rawPic(1240, 100, 0xE0, many);
    using Pixels = std::vector<std::uint32_t>; // red, green, blue; from the top
    // Over 204: 100 * 200 / 255 + 204 * 55 / 255 = 122.4, 44; divided by its alpha 100 is 128.
    const Pixels asItIs = {0xc86432, 0xc86432, 0x7a2c2c, 0x7a2c2c,
                           0x010203, 0x010203, 0xcccccc, 0xcccccc};
    const Pixels divided = {0xc86432, 0xc86432, 0x902c2c, 0x902c2c,
                            0x010203, 0x010203, 0xcccccc, 0xcccccc};
    const Pixels reduced(std::size_t{620} * 50, 0xc86432);
    const struct {
        const char* option;
        std::string title, pic;
        Place place;
        Pixels pixels;
    } cases[] = {
        {"--timeout=100", "2 x 2", wide, {10, 468, 4, 2}, asItIs},
        {"--unpremultiply", "2 x 2", wide, {10, 468, 4, 2}, divided},
        {"--timeout=100", "1240 x 100", large, {10, 420, 620, 50}, reduced},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.option + c.title);
        const auto program = view(folder_.write("a.pic", c.pic), c.option);
        const WindowId window = desk_.window("a.pic - " + c.title + " - SOFTIMAGE");
        EXPECT_EQ(desk_.place(window), c.place);
        eventually("every pixel", [&] { return desk_.screenshot(window).pixels == c.pixels; });
        desk_.awaitFocus(window);
        desk_.xdotool({"key", "Escape"});
        EXPECT_EQ(program->exitStatus(), 0);
        EXPECT_EQ(program->err(), "");
    }
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
    const auto program = view(folder_.write("a.pic", kOne));
    desk_.window("a.pic - 1 x 1 - SOFTIMAGE");
    eventually("the window's message", [&] { return !program->out().empty(); });
    program->kill(SIGTERM);
    EXPECT_EQ(program->exitStatus(), 256 + SIGTERM);
}

TEST_F(View, FailsWithItsServer) {
    const auto program = view(folder_.write("a.pic", kOne));
    desk_.window("a.pic - 1 x 1 - SOFTIMAGE");
    desk_.killServer();
    EXPECT_EQ(program->exitStatus(), 1);
    EXPECT_NE(program->err().find("the X server went away"), std::string::npos) << program->err();
    EXPECT_NE(program->err().find("a.pic: "), std::string::npos) << program->err();
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
