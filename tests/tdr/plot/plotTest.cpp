// SPDX-License-Identifier: MIT
// tdr plot: the contents of the SVG, and its rendering in a browser.
#include "tdr/browser.h"
#include "tdr/commandTesting.h"
#include "tdr/picture.h"

#include <cmath>

namespace {

using namespace commandTesting;

struct Colour {
    int red, green, blue;
};
constexpr Colour kBlue = {0x25, 0x63, 0xEB};
constexpr Colour kOrange = {0xD9, 0x77, 0x06};
constexpr Colour kRed = {0xDC, 0x26, 0x26};
constexpr Colour kGreen = {0x05, 0x96, 0x69};
constexpr Colour kNode = {0xEF, 0xF6, 0xFF};
constexpr Colour kBranch = {0x9A, 0xA4, 0xB2};

/// A rectangle of the picture in pixels from the top left corner.
struct Area {
    int left, top, right, bottom;
};

/// Pixels of about that colour in a drawing.
int count(const tdr::Picture& drawn, const Colour& colour, const Area& area) {
    constexpr int kNear = 40;
    int found = 0;
    for (int y = area.top; y < area.bottom; ++y) {
        for (int x = area.left; x < area.right; ++x) {
            // Bottom line first; alpha, blue, green, red.
            const auto at =
                tdr::pictureBytes(drawn.width, drawn.height - 1 - y) + std::size_t(x) * 4;
            found += std::abs(drawn.pixels.at(at + 3) - colour.red) < kNear &&
                     std::abs(drawn.pixels[at + 2] - colour.green) < kNear &&
                     std::abs(drawn.pixels[at + 1] - colour.blue) < kNear;
        }
    }
    return found;
}

/// Percentage of the columns that have such a pixel.
int coverage(const tdr::Picture& drawn, const Colour& colour, const Area& area) {
    int columns = 0;
    for (int x = area.left; x < area.right; ++x) {
        columns += count(drawn, colour, {x, area.top, x + 1, area.bottom}) > 0 ? 1 : 0;
    }
    return columns * 100 / (area.right - area.left);
}

int countOf(const std::string& text, const std::string& part) {
    int count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

/// The animation text of a curve with these words before its keys, and these keys.
std::string curveText(const std::string& head, const std::vector<std::string>& keys) {
    std::string text = "CURVE_TYPE " + head + " \nKEYS " + std::to_string(keys.size()) + " \n";
    for (const std::string& key : keys) {
        text += key + " KEYTYPE KEYFRAME \n";
    }
    return text;
}

std::vector<std::string> manyKeys(int count) {
    std::vector<std::string> keys;
    for (int i = 0; i < count; ++i) {
        keys.push_back("TIME " + std::to_string(i) + " VALUE " + std::to_string(i % 7));
    }
    return keys;
}

std::string cameraWith(const std::string& curve) {
    return "SSCN \nx v2.60 \n\nFRAME 1 100 1 1 \nCAMERA \n   FIELD_OF_VIEW \n" + curve +
           "ENLARGE INACTIVE \n";
}

class PlotTest : public CommandTest {
  protected:
    std::string plot(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "plot");
        arguments.insert(arguments.end(), {"-o", in("o.svg"), "--force"});
        const Ended ended = run(arguments);
        EXPECT_EQ(ended.exit, 0) << ended.err;
        EXPECT_EQ(ended.out, "");
        said_ = ended.err;
        return contentOf(in("o.svg"));
    }

    /// The last plot in the browser.
    tdr::Picture shot(int width, int height) {
        browser::screenshot(in("o.svg"), in("o.png"), width, height);
        auto driver = tdr::Session::start(std::string(TDR_BIN_DIR) + "/pngFilter");
        auto picture = tdr::readPicture(*driver, in("o.png"));
        EXPECT_TRUE(picture && picture->width == width && picture->height == height);
        return std::move(*picture);
    }

    std::string said_; ///< what the last plot wrote to stderr
};

class BrowserTest : public PlotTest {
  protected:
    void SetUp() override {
        if (!browser::isInstalled()) {
            GTEST_SKIP() << browser::kProgram << " is missing: scripts/setup test";
        }
    }
};

// --- In a browser --------------------------------------------------------------------------------

TEST_F(BrowserTest, aCurveIsSolidBetweenItsKeysAndBrokenOutside) {
    plot({sample("lighthouse.scn"), "--curve", "cam_fov", "--frames", "-100-400"});
    const tdr::Picture drawn = shot(1016, 398);
    // The panel is 640 pixels wide from 112 on: frame 1 is at 241, frame 240 at 547.
    EXPECT_GT(coverage(drawn, kBlue, {252, 120, 536, 310}), 94) << "inside, but for keys' rims";
    for (const Area& outside : {Area{116, 120, 232, 310}, Area{558, 120, 748, 310}}) {
        EXPECT_GT(coverage(drawn, kBlue, outside), 20);
        EXPECT_LT(coverage(drawn, kBlue, outside), 90);
    }
    EXPECT_EQ(count(drawn, kOrange, {0, 0, 1016, 398}), 0);
}

TEST_F(BrowserTest, whatIsCrowdedIsDrawnInFull) {
    std::vector<std::string> keys = manyKeys(5000);
    keys[2500] = "TIME 2500 VALUE 1000";
    plot({files().write("spike.scn", cameraWith(curveText("CAM_FOV", keys)))});
    const tdr::Picture spike = shot(1016, 398);
    EXPECT_GT(count(spike, kBlue, {425, 130, 439, 280}), 100) << "one key far above the others";
    EXPECT_GT(coverage(spike, kBlue, {160, 280, 700, 310}), 99) << "a solid line between its keys";

    plot({files().write("cycle.scn", cameraWith(curveText("CAM_FOV POST_EXTRAPOLATION 2",
                                                          {"TIME 1 VALUE 0", "TIME 1.1 VALUE 3",
                                                           "TIME 1.2 VALUE 0"})))});
    const tdr::Picture cycle = shot(1016, 398);
    for (int row = 160; row < 270; ++row) { // one uniform shade, no moire pattern
        EXPECT_GT(count(cycle, {0xAF, 0xC4, 0xF4}, {180, row, 690, row + 1}), 480) << row;
    }

    const std::string same = curveText("LIG_COL_R", {"TIME 5 VALUE 0", "TIME 90 VALUE 1"});
    plot({files().write("same.scn",
                        "SSCN \nx v2.60 \n\nLIGHT \n   COLOUR \n" + same + same + same)});
    const tdr::Picture alike = shot(1016, 398);
    for (const Colour& colour : {kRed, kGreen, kBlue}) {
        EXPECT_GT(count(alike, colour, {180, 130, 640, 300}), 50) << "of three equal curves";
    }
}

TEST_F(BrowserTest, aSplineIsDrawnInThreeViewsWithPointsAndHandles) {
    plot({sample("vase.spl")});
    const tdr::Picture drawn = shot(1000, 1004);
    for (const Area& view :
         {Area{101, 125, 459, 483}, Area{581, 125, 939, 483}, Area{101, 575, 459, 933}}) {
        EXPECT_GT(count(drawn, kBlue, view), 20);
        EXPECT_GT(count(drawn, kOrange, view), 20);
        EXPECT_GT(count(drawn, kRed, view), 20) << "the selected point";
    }
    EXPECT_GT(coverage(drawn, kBlue, {230, 125, 320, 483}), 60) << "the front has a profile";
    EXPECT_LT(coverage(drawn, kBlue, {581, 125, 939, 483}), 5) << "the side has none";
}

TEST_F(BrowserTest, aTreeIsDrawnAsBoxesAndBranches) {
    const std::string svg = plot({sample("desk_lamp.hrc")});
    EXPECT_EQ(countOf(svg, "<rect class=\"node"), 7);
    EXPECT_EQ(countOf(svg, "class=\"branch\""), 6);
    const tdr::Picture drawn = shot(1200, 300);
    EXPECT_GT(count(drawn, kNode, {41, 76, 1200, 300}), 10000);
    EXPECT_GT(count(drawn, kBranch, {41, 76, 1200, 300}), 100);
}

TEST_F(BrowserTest, namesFromTheFileAreTextAndNothingElse) {
    const std::string evil = "</text><script>alert(1)</script>&\"\xff\x01" + std::string(150, 'W');
    const std::string curve = curveText(evil.substr(0, 20) + "&<\xff", {"TIME 1 VALUE 2"});
    files().write("evil.scn", "SSCN \nx v2.60 \n\nLIGHT \n   LIGHT_NAME '" + evil +
                                  "' \n   SHADOW_FACTOR \n" + curve + "HIERARCHY \n   MODEL '" +
                                  evil + "' '' \nSPLINE BEZIER \n   NAME '" + evil +
                                  "' \n   POINTS 1 \n      POSITION 1 2 3 \n");
    for (const std::string show : {"curves", "trees", "splines"}) {
        plot({in("evil.scn"), "--show", show});
        const std::string dom = browser::dom(in("o.svg"));
        EXPECT_TRUE(contains(dom, "</svg>")) << show;
        EXPECT_EQ(countOf(dom, "parsererror"), 0) << show;
        EXPECT_EQ(countOf(dom, "<script"), 0) << show;
        EXPECT_TRUE(contains(dom, "…")) << show;
    }
}

// --- Contents ------------------------------------------------------------------------------------

TEST_F(PlotTest, theCurvesOfAScene) {
    const std::string svg = plot({sample("lighthouse.scn")});
    EXPECT_EQ(countOf(svg, "<g class=\"panel\">"), 12);
    for (const char* part :
         {">camera · field of view<", ">degrees<", ">% of the path<", ">frames<", ">CAM_FOV<",
          "before cycle, after cycle", ">light beam · interest<", "frame 180, value 28",
          "class=\"curve before\"", "class=\"curve after\"", "class=\"handle\""}) {
        EXPECT_TRUE(contains(svg, part));
    }
    EXPECT_EQ(svg, plot({sample("lighthouse.scn")})) << "the same bytes again";
    EXPECT_EQ(said_, "");
    EXPECT_EQ(countOf(plot({sample("lighthouse.scn"), "--curve", "MDL_POSX", "--curve", "SWEIGHT"}),
                      "<g class=\"panel\">"),
              2);
    EXPECT_TRUE(contains(plot({sample("lighthouse.scn"), "--show", "trees"}), ">lantern<"));
    EXPECT_TRUE(
        contains(plot({sample("lighthouse.scn"), "--show", "splines"}), ">path of the camera<"));
}

TEST_F(PlotTest, aPictureThatCannotBeMadeHasAReason) {
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"plot", sample("lighthouse.scn"), "--curve", "CAM_XYZ", "-o", in("o.svg")},
         "lighthouse.scn: no curve of channel CAM_XYZ"},
        {{"plot", sample("vase.spl"), "--show", "curves", "-o", in("o.svg")},
         "vase.spl: no curves"},
        {{"plot", sample("vase.spl"), "--show", "trees", "-o", in("o.svg")}, "vase.spl: no trees"},
        {{"plot", sample("vase.spl"), "-o", in("no/o.svg")}, "no/o.svg: "},
        {{"plot", sample("vase.spl"), "-o", "/dev/full"}, "/dev/full: No space left on device"},
    };
    for (const auto& [line, reason] : cases) {
        expectFailed(line, reason);
    }
    EXPECT_TRUE(namesIn(files().path()).empty());
}

TEST_F(PlotTest, hostileCurvesGiveSmallValidPictures) {
    const struct {
        const char* name;
        std::string curve;
        const char* shows;
    } cases[] = {
        {"no keys", curveText("CAM_FOV", {}), ">no keys<"},
        {"one key", curveText("CAM_FOV", {"TIME 50 VALUE 3"}), "frame 50, value 3<"},
        {"same time", curveText("CAM_FOV", {"TIME 5 VALUE 3", "TIME 5 VALUE 9"}), "class=\"key\""},
        {"not ascending", curveText("CAM_FOV", {"TIME 90 VALUE 3", "TIME 5 VALUE 9"}),
         "class=\"key\""},
        {"huge",
         curveText("CAM_FOV PRE_EXTRAPOLATION 1 POST_EXTRAPOLATION 1 INTERPOLATION SPLINE",
                   {"TIME -3e38 VALUE -3e38 RIGHT_SLOPE 3e38 INTERPOLATION SPLINE",
                    "TIME 3e38 VALUE 3e38 LEFT_SLOPE 3e38 RIGHT_SLOPE -3e38"}),
         "class=\"key\""},
        {"huge cycles",
         curveText("CAM_FOV PRE_EXTRAPOLATION 2 POST_EXTRAPOLATION 2",
                   {"TIME -3e38 VALUE 0", "TIME 3e38 VALUE 1"}),
         "class=\"key\""},
        {"tiny", curveText("CAM_FOV", {"TIME 1 VALUE 1e-38", "TIME 2 VALUE 2e-38"}),
         "class=\"key\""},
        {"far from 0", curveText("CAM_FOV", {"TIME 1 VALUE 1e30", "TIME 2 VALUE 1.0000001e30"}),
         "1e+30"},
        {"unknown codes",
         curveText("CAM_FOV PRE_EXTRAPOLATION 7 POST_EXTRAPOLATION -2",
                   {"TIME 10 VALUE 1", "TIME 20 VALUE 2"}),
         "before unknown (7), after unknown (-2)"},
        {"cycle of nothing",
         curveText("CAM_FOV PRE_EXTRAPOLATION 2 POST_EXTRAPOLATION 2",
                   {"TIME 10 VALUE 1", "TIME 10 VALUE 2"}),
         "class=\"key\""},
        {"30,000 keys", curveText("CAM_FOV", manyKeys(30000)), "class=\"key\""},
    };
    for (const auto& c : cases) {
        const std::string svg = plot({files().write("c.scn", cameraWith(c.curve))});
        EXPECT_TRUE(contains(svg, c.shows)) << c.name;
        EXPECT_LT(svg.size(), 400000U) << c.name;
        EXPECT_EQ(countOf(svg, "\"nan") + countOf(svg, "inf ") + countOf(svg, ",nan"), 0) << c.name;
        EXPECT_TRUE(svg.ends_with("</svg>\n")) << c.name;
    }
}

TEST_F(PlotTest, aFlatStretchBeginsAtItsKey) {
    const std::string rises = curveText("CAM_FOV INTERPOLATION LINEAR",
                                        {"TIME 10 VALUE 1", "TIME 20 VALUE 2", "TIME 30 VALUE 2"});
    EXPECT_TRUE(contains(plot({files().write("flat.scn", cameraWith(rises))}),
                         "262.02,138.39 317.75,138.39 \"/>"));
}

TEST_F(PlotTest, labelsNotesAndTitlesSayWhatIsThere) {
    const std::string few = curveText(
        "CAM_FOV", {"TIME 1 VALUE 1000", "TIME 50 VALUE 1000.002", "TIME 90 VALUE 1000.001"});
    std::string svg = plot({files().write("ticks.scn", cameraWith(few))});
    EXPECT_TRUE(contains(svg, ">1000.001<"));
    EXPECT_EQ(countOf(svg, ">1000<"), 1);
    EXPECT_EQ(countOf(svg, "far from"), 0);

    svg = plot({files().write(
        "far.scn",
        cameraWith(curveText("CAM_FOV", {"TIME 1 VALUE 1", "TIME 5 VALUE 2", "TIME 9 VALUE 1.5",
                                         "TIME 90000 VALUE 7000"})))});
    EXPECT_TRUE(contains(svg, ">one key is far from the rest: value 7000;<"));
    EXPECT_TRUE(contains(svg, ">the rest goes from 1 to 2<"));
    EXPECT_TRUE(contains(svg, ">frame 90000 lies far from the rest; --frames=1-100 shows that<"));

    std::string shapes = "HIERARCHY \n   MODEL 'n' '' \n      SHAPE \n         SHAPE_NAME 's' \n"
                         "         WEIGHT_FCURVES 7 \n";
    for (int i = 0; i < 7; ++i) {
        shapes += curveText("SWEIGHT", {"TIME 1 VALUE " + std::to_string(i)});
    }
    const std::string light = "LIGHT \n   LIGHT_NAME 'beam' \n   SHADOW_FACTOR \n" +
                              curveText("LIG_SHADOW", {"TIME 1 VALUE 2"});
    svg = plot({files().write("titles.scn", "SSCN \nx v2.60 \n\n" + light + light + shapes)});
    for (const char* title :
         {">light beam · shadow factor (1 of 2)<", ">light beam · shadow factor (2 of 2)<",
          ">node n · shape s weights<", ">node n · shape s weights (panel 2 of 2)<"}) {
        EXPECT_EQ(countOf(svg, title), 1) << title;
    }
}

TEST_F(PlotTest, theMarksOfATreeAreExplained) {
    const std::string file = files().write(
        "t.scn", "SSCN \nx v2.60 \n\nHIERARCHY \n   MODEL 'a' '' \n      HIDDEN 1 \n");
    EXPECT_TRUE(contains(plot({file, "--show", "trees"}), ">hidden in the scene<"));
    EXPECT_EQ(countOf(plot({sample("desk_lamp.hrc")}), "hidden"), 1) << "in the rules only";
}

TEST_F(PlotTest, whatIsLeftOutIsSaid) {
    std::string lights = "SSCN \nx v2.60 \n\n";
    std::string nodes = lights + "HIERARCHY \n   MODEL 'n0' '' \n";
    for (int i = 1; i < 2000; ++i) {
        lights += "LIGHT \n   SHADOW_FACTOR \n" + curveText("LIG_SHADOW", {"TIME 1 VALUE 2"});
        nodes += "   MODEL 'n" + std::to_string(i) + "' 'n" + std::to_string(i - 1) + "' \n";
    }
    EXPECT_LT(plot({files().write("l.scn", lights)}).size(), 500000U);
    EXPECT_TRUE(contains(said_, "l.scn: the first 40 of 1999 groups of curves are drawn"));
    EXPECT_TRUE(contains(plot({files().write("n.scn", nodes), "--show", "trees"}), ">+1975<"));
    EXPECT_TRUE(contains(said_, "n.scn: 25 of 2000 nodes are drawn"));
}

} // namespace
