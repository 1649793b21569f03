// SPDX-License-Identifier: MIT
// Splines and positions inside scene files.
#include "position.h"

#include <cstring>

namespace {

using namespace animtext;

class SplineAnimationTest : public AnimText {
  protected:
    OwnedSpline read(std::string_view text, int expected = 1) {
        const Input in(text);
        animSetLineNumber(1);
        in_animToken(in);
        OwnedSpline spline(splineAllocate());
        EXPECT_EQ(splineReadAsciiAnimation(in, spline.get()), expected) << text;
        return spline;
    }
};

std::string textOf(const Spline* spline) {
    return written([spline](std::FILE* f) { splineWriteAsciiAnimation(f, spline); });
}

OwnedSpline bezier() {
    OwnedSpline spline(splineAllocate());
    constexpr int kDisplay = kSplineHasWireColour | kSplineHasLineType | kSplineHasSelection;
    // Name, phantom, close, type, points, tension, step, constraint, segment; display.
    *spline = {strdup("a path"),
               1,
               1,
               kSplineBezier,
               2,
               splineKeyAllocate(2),
               0.25F,
               12,
               3,
               1,
               kDisplay,
               490,
               2,
               3,
               nullptr,
               nullptr};
    spline->keys[0] = {{-1, 0, 0}, {0, 1.5F, 0}, {1, 0, 0}, 5, 2, kSplineKeySelected};
    spline->keys[1] = {{2, 0, 0}, {3, 0, -4}, {4, 0, 0}, 0, 0, 0xF0000000};
    return spline;
}

const std::string kBezierText =
    lines(0, "SPLINE BEZIER|   NAME 'a path'|   CLOSE|   PHANTOM|   TENSION 0.25|   STEP 12|"
             "   CONSTRAINT C2|   SEGMENT CURVE|"
             "   WIRE_COLOUR 490|   LINE_TYPE 2|   SELECTED INHERIT_SELECTED|   POINTS 2|"
             "      POSITION 0 1.5 0|      PREVIOUS -1 0 0|      NEXT 1 0 0|"
             "      CONSTRAINT G2|      SEGMENT LINEAR|      FLAG 65536|"
             "      POSITION 3 0 -4|      PREVIOUS 2 0 0|      NEXT 4 0 0|"
             "      CONSTRAINT --------|      SEGMENT --------|      FLAG -268435456");

TEST_F(SplineAnimationTest, WritesAndReadsItsLines) {
    EXPECT_EQ(textOf(bezier().get()), kBezierText);
    EXPECT_EQ(animIndentLength, 0);
    const OwnedSpline spline = read(kBezierText + "POSITION 1");
    expectLeft("POSITION", "", ""); // points are read by count
    EXPECT_EQ(spline->keys[1].flags, 0xF0000000);
    EXPECT_EQ(spline->keys[0].constraint, 5);
    EXPECT_EQ(textOf(spline.get()), kBezierText);
    EXPECT_EQ(splineWriteAsciiAnimation(nullptr, nullptr), 0);
}

// --- Positions -----------------------------------------------------------------------------------

/// A curve without keys, as it is written.
std::string curveLines(const char* channel) {
    return lines(1, std::string("CURVE_TYPE ") + channel +
                        "|PRE_EXTRAPOLATION 0     POST_EXTRAPOLATION 0|FLAGS 0|"
                        "INTERPOLATION CONSTANT|KEYS 0");
}

TEST_F(SplineAnimationTest, PositionsSurviveInEveryForm) {
    const std::string path =
        lines(0, "SPLINE LINEAR|   NAME 'p'|   TENSION 0|   STEP 0|   CONSTRAINT --------|"
                 "   SEGMENT --------|   POINTS 1|      POSITION 1 2 3|      FLAG 0");
    const struct {
        std::string text;
        std::string then; ///< replaces the first; empty: the same
    } cases[] = {
        {"STATIC \n   1 2.5 -3 ", ""},
        {"CONSTRAINT 2 'the eye' ", ""},
        {"PATH " + curveLines("CAM_POS") + path, "PATH " + path}, // then without timing
        {"EXPLICIT " + curveLines("CAM_POSX") + curveLines("CAM_POSY") + curveLines("CAM_POSZ"),
         ""},
        {"PATH_MODEL " + curveLines("CAM_POS") + "\n   NAME 'm' ", "PATH_MODEL \n   NAME 'n' "},
    };
    for (const auto& [text, then] : cases) {
        SCOPED_TRACE(text);
        Position position;
        for (const std::string& each : {text, then.empty() ? text : then}) {
            EXPECT_EQ(position.read(Input(each + "\nROLL 0")), 1);
            expectLeft("ROLL", "", "");
            EXPECT_EQ(position.write(), each);
        }
        EXPECT_EQ(positionReadAsciiAnimation(Input(text + "\nROLL 0"), nullptr, nullptr, nullptr,
                                             nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
                  1);
        EXPECT_STREQ(animToken, "ROLL") << "dropped";
    }
}

TEST_F(SplineAnimationTest, TheFirstFormThatAppliesIsWritten) {
    Position position;
    position.more.path = splineAllocate();
    position.curves[0] = fcurveAllocate();
    position.more.pathModelName = strdup("m");
    position.more.constraintName = strdup("c");
    EXPECT_EQ(position.write(), "CONSTRAINT 0 'c' ");
    std::free(std::exchange(position.more.constraintName, nullptr));
    EXPECT_EQ(position.write(), "PATH_MODEL \n   NAME 'm' ");
    std::free(std::exchange(position.more.pathModelName, nullptr));
    EXPECT_EQ(position.write().substr(0, 11), "PATH \nSPLIN");
    splineDispose(&position.more.path);
    EXPECT_EQ(position.write().substr(0, 24), "EXPLICIT \n   CURVE_TYPE ");
    fcurveDispose(&position.curves[0]);
    position.curves[1] = fcurveAllocate();
    EXPECT_EQ(position.write(), "STATIC \n   0 0 0 ") << "without an x curve";
    EXPECT_EQ(written([](std::FILE* f) {
                  positionWriteAsciiAnimation(f, nullptr, nullptr, nullptr, nullptr, 0, nullptr,
                                              nullptr, nullptr, nullptr);
              }),
              "STATIC ");
}

} // namespace
