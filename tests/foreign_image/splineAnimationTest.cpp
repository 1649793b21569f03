// SPDX-License-Identifier: MIT
// Splines and positions inside scene files.
#include "animText.h"

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
    spline->name = strdup("a path");
    spline->type = kSplineBezier;
    spline->close = 1;
    spline->phantom = 1;
    spline->tension = 0.25F;
    spline->step = 12;
    spline->constraint = 3;
    spline->segment = 1;
    spline->keyCount = 2;
    spline->keys = splineKeyAllocate(2);
    spline->keys[0] = {{-1, 0, 0}, {0, 1.5F, 0}, {1, 0, 0}, 5, 2, kSplineKeySelected};
    spline->keys[1] = {{2, 0, 0}, {3, 0, -4}, {4, 0, 0}, 0, 0, 0xF0000000};
    spline->display = kSplineHasWireColour | kSplineHasLineType | kSplineHasSelection;
    spline->wireColour = 490;
    spline->lineType = 2;
    spline->selection = 3;
    return spline;
}

constexpr const char* kBezierText = "\nSPLINE BEZIER "
                                    "\n   NAME 'a path' "
                                    "\n   CLOSE "
                                    "\n   PHANTOM "
                                    "\n   TENSION 0.25 "
                                    "\n   STEP 12 "
                                    "\n   CONSTRAINT C2 "
                                    "\n   SEGMENT CURVE "
                                    "\n   POINTS 2 "
                                    "\n      POSITION 0 1.5 0 "
                                    "\n      PREVIOUS -1 0 0 "
                                    "\n      NEXT 1 0 0 "
                                    "\n      CONSTRAINT G2 "
                                    "\n      SEGMENT LINEAR "
                                    "\n      FLAG 65536 "
                                    "\n      POSITION 3 0 -4 "
                                    "\n      PREVIOUS 2 0 0 "
                                    "\n      NEXT 4 0 0 "
                                    "\n      CONSTRAINT -------- "
                                    "\n      SEGMENT -------- "
                                    "\n      FLAG -268435456 "
                                    "\n   WIRE_COLOUR 490 "
                                    "\n   LINE_TYPE 2 "
                                    "\n   SELECTED INHERIT_SELECTED ";

TEST_F(SplineAnimationTest, WritesAndReadsItsLines) {
    EXPECT_EQ(textOf(bezier().get()), kBezierText);
    EXPECT_EQ(animIndentLength, 0);
    const OwnedSpline spline = read(std::string(kBezierText) + "POSITION 1");
    EXPECT_STREQ(animToken, "POSITION") << "points are read by count";
    EXPECT_STREQ(spline->name, "a path");
    EXPECT_EQ(spline->keys[1].position.z, -4.0F);
    EXPECT_EQ(spline->keys[1].flags, 0xF0000000);
    EXPECT_EQ(spline->keys[0].constraint, 5);
    EXPECT_EQ(textOf(spline.get()), kBezierText);
    EXPECT_EQ(messages() + notices(), "");
    EXPECT_EQ(written([](std::FILE* f) { EXPECT_EQ(splineWriteAsciiAnimation(f, nullptr), 0); }),
              "");
}

struct Case {
    const char* name;
    const char* in;
    const char* out; ///< what is written again
    const char* next;
    const char* messages;
    const char* notices;
};

const Case kCases[] = {
    {"nothing but its type", "SPLINE CARDINAL X",
     "\nSPLINE CARDINAL \n   NAME '' \n   TENSION 0 \n   STEP 0 \n   CONSTRAINT -------- "
     "\n   SEGMENT -------- \n   POINTS 0 ",
     "X", "", ""},
    {"unknown type", "SPLINE NURBS STEP 3 X",
     "\nSPLINE LINEAR \n   NAME '' \n   TENSION 0 \n   STEP 3 \n   CONSTRAINT -------- "
     "\n   SEGMENT -------- \n   POINTS 0 ",
     "X", "SplineReadAsciiAnimation: error, unknown spline type animToken 'NURBS'.\n",
     "unknown NURBS 1;"},
    {"no type", "SPLINE STEP 3 X",
     "\nSPLINE LINEAR \n   NAME '' \n   TENSION 0 \n   STEP 3 \n   CONSTRAINT -------- "
     "\n   SEGMENT -------- \n   POINTS 0 ",
     "X", "SplineReadAsciiAnimation: error, unknown spline type animToken 'STEP'.\n",
     "unknown STEP 1;"},
    {"a second spline ends it", "SPLINE LINEAR SPLINE BEZIER",
     "\nSPLINE LINEAR \n   NAME '' \n   TENSION 0 \n   STEP 0 \n   CONSTRAINT -------- "
     "\n   SEGMENT -------- \n   POINTS 0 ",
     "SPLINE", "", ""},
    {"unknown selection and constraint", "SPLINE LINEAR CONSTRAINT C9 SELECTED SELECTED CLOSE X",
     "\nSPLINE LINEAR \n   NAME '' \n   CLOSE \n   TENSION 0 \n   STEP 0 \n   CONSTRAINT -------- "
     "\n   SEGMENT -------- \n   POINTS 0 ",
     "X", "SplineReadAsciiAnimation: error, unknown select animToken 'SELECTED'.\n",
     "unknown C9 1;unknown SELECTED 1;"},
    {"older words are kept",
     "SPLINE LINEAR KEYFRAME 1 2 KEYLIST 3 -4.5 +6 .7 WIRE_COLOUR_INDEX 3 7 SELECTED UNSELECTED X",
     "\nSPLINE LINEAR \n   NAME '' \n   TENSION 0 \n   STEP 0 \n   CONSTRAINT -------- "
     "\n   SEGMENT -------- \n   KEYFRAME 1 2 \n   KEYLIST 3 -4.5 +6 .7 \n   POINTS 0 "
     "\n   WIRE_COLOUR 490 \n   SELECTED UNSELECTED ",
     "X", "", ""},
    {"older words without numbers", "SPLINE LINEAR KEYFRAME KEYLIST X",
     "\nSPLINE LINEAR \n   NAME '' \n   TENSION 0 \n   STEP 0 \n   CONSTRAINT -------- "
     "\n   SEGMENT -------- \n   KEYFRAME \n   KEYLIST \n   POINTS 0 ",
     "X", "", ""},
    {"points: fewer than announced, short ones, handles of no use", //
     "SPLINE BSPLINE POINTS 30000 POSITION 1 2 3 POSITION 4 5 6 FLAG 9 NEXT 7 8 9 LIGHT",
     "\nSPLINE BSPLINE \n   NAME '' \n   TENSION 0 \n   STEP 0 \n   CONSTRAINT -------- "
     "\n   SEGMENT -------- \n   POINTS 2 \n      POSITION 1 2 3 \n      FLAG 0 "
     "\n      POSITION 4 5 6 \n      FLAG 9 ",
     "LIGHT", "", "missing LIGHT 1;"},
    {"points: more than announced", "SPLINE LINEAR POINTS 1 POSITION 1 2 3 FLAG 0 POSITION 4 5 6",
     "\nSPLINE LINEAR \n   NAME '' \n   TENSION 0 \n   STEP 0 \n   CONSTRAINT -------- "
     "\n   SEGMENT -------- \n   POINTS 1 \n      POSITION 1 2 3 \n      FLAG 0 ",
     "POSITION", "", ""},
    {"a negative count, then again", "SPLINE LINEAR POINTS -1 POINTS 1 POSITION 1 2 3 X",
     "\nSPLINE LINEAR \n   NAME '' \n   TENSION 0 \n   STEP 0 \n   CONSTRAINT -------- "
     "\n   SEGMENT -------- \n   POINTS 1 \n      POSITION 1 2 3 \n      FLAG 0 ",
     "X", "", ""},
    {"its first word is gone", "BEZIER STEP 2 X",
     "\nSPLINE BEZIER \n   NAME '' \n   TENSION 0 \n   STEP 2 \n   CONSTRAINT -------- "
     "\n   SEGMENT -------- \n   POINTS 0 ",
     "X", "", ""},
    {"no spline at all", "INTEREST X",
     "\nSPLINE LINEAR \n   NAME '' \n   TENSION 0 \n   STEP 0 \n   CONSTRAINT -------- "
     "\n   SEGMENT -------- \n   POINTS 0 ",
     "INTEREST", "", "missing INTEREST 1;"},
};

TEST_F(SplineAnimationTest, ReadAndWrittenAgain) {
    for (const Case& c : kCases) {
        const OwnedSpline spline = read(c.in);
        EXPECT_STREQ(animToken, c.next) << c.name;
        EXPECT_EQ(messages(), c.messages) << c.name;
        EXPECT_EQ(notices(), c.notices) << c.name;
        EXPECT_EQ(textOf(spline.get()), c.out) << c.name;
        EXPECT_EQ(textOf(read(std::string(c.out) + " X").get()), c.out) << c.name << ", again";
    }
}

TEST_F(SplineAnimationTest, EveryTruncationEnds) {
    const std::string whole(kBezierText + 1);
    for (std::size_t length = 1; length <= whole.size(); ++length) {
        const Input in(whole.substr(0, length));
        in_animToken(in);
        const OwnedSpline spline(splineAllocate());
        EXPECT_EQ(splineReadAsciiAnimation(in, spline.get()) == 1 && animToken[0] == '\0', false)
            << length;
        EXPECT_LE(spline->keyCount, 2) << length;
        EXPECT_EQ(in_animToken(in), 0) << length;
        const Input dropped(whole.substr(0, length));
        in_animToken(dropped);
        splineReadAsciiAnimation(dropped, nullptr);
        EXPECT_EQ(in_animToken(dropped), 0) << length;
    }
}

// ------------------------------------------------------------------------------------- positions

/// All that a position can have.
struct Position {
    Vector fixed{};
    Fcurve* timing = nullptr;
    Fcurve* curves[3] = {};
    AnimatedPosition more{};

    Position() = default;
    ~Position() {
        fcurveDispose(&timing);
        fcurveArrayDispose(curves, 3);
        positionClear(&more);
    }
    Position(const Position&) = delete;
    Position& operator=(const Position&) = delete;

    int read(std::FILE* in) {
        return positionReadAsciiAnimation(in, &fixed, &timing, &more.path, &more.constraintName,
                                          &more.constraintType, &curves[0], &curves[1], &curves[2],
                                          &more.pathModelName);
    }
    [[nodiscard]] std::string write() const {
        return written([this](std::FILE* f) {
            EXPECT_EQ(positionWriteAsciiAnimation(f, &fixed, timing, more.path, more.constraintName,
                                                  more.constraintType, curves[0], curves[1],
                                                  curves[2], more.pathModelName),
                      1);
        });
    }
};

/// A curve without keys, as it is written.
std::string curveLines(const char* channel) {
    return std::string("\n   CURVE_TYPE ") + channel +
           " \n   PRE_EXTRAPOLATION 0     POST_EXTRAPOLATION 0 \n   FLAGS 0 "
           "\n   INTERPOLATION CONSTANT \n   KEYS 0 ";
}

constexpr const char* kPathSpline = "\nSPLINE LINEAR \n   NAME 'p' \n   TENSION 0 \n   STEP 0 "
                                    "\n   CONSTRAINT -------- \n   SEGMENT -------- \n   POINTS 1 "
                                    "\n      POSITION 1 2 3 \n      FLAG 0 ";

struct FormCase {
    const char* name;
    std::string text; ///< read, and written again
};

TEST_F(SplineAnimationTest, PositionsSurviveInEveryForm) {
    const FormCase cases[] = {
        {"static", "STATIC \n   1 2.5 -3 "},
        {"constraint", "CONSTRAINT 2 'the eye' "},
        {"path", "PATH " + curveLines("CAM_POS") + kPathSpline},
        {"path without timing", "PATH " + std::string(kPathSpline)},
        {"explicit",
         "EXPLICIT " + curveLines("CAM_POSX") + curveLines("CAM_POSY") + curveLines("CAM_POSZ")},
        {"path model", "PATH_MODEL " + curveLines("CAM_POS") + "\n   NAME 'm' "},
        {"path model without timing", "PATH_MODEL \n   NAME 'm' "},
    };
    for (const FormCase& c : cases) {
        const Input in(c.text + "\nROLL 0");
        Position position;
        EXPECT_EQ(position.read(in), 1) << c.name;
        EXPECT_STREQ(animToken, "ROLL") << c.name;
        EXPECT_EQ(position.write(), c.text) << c.name;
        EXPECT_EQ(messages() + notices(), "") << c.name;

        const Input dropped(c.text + "\nROLL 0");
        EXPECT_EQ(positionReadAsciiAnimation(dropped, nullptr, nullptr, nullptr, nullptr, nullptr,
                                             nullptr, nullptr, nullptr, nullptr),
                  1);
        EXPECT_STREQ(animToken, "ROLL") << c.name << ", dropped";
        EXPECT_EQ(position.read(Input(c.text)), 1) << "what stood there is replaced";
        for (std::size_t length = 1; length < c.text.size(); ++length) {
            const Input cut(c.text.substr(0, length));
            Position scratch;
            scratch.read(cut);
            EXPECT_EQ(in_animToken(cut), 0) << c.name << " cut at " << length;
        }
        messages();
        notices();
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

TEST_F(SplineAnimationTest, UnknownFormsAreReportedAndSkipped) {
    Position position;
    const Input in("ORBIT ROLL 0");
    EXPECT_EQ(position.read(in), 1);
    EXPECT_STREQ(animToken, "ROLL");
    EXPECT_EQ(messages(), "PositionReadAsciiAnimation: error, unknown animToken 'ORBIT'.\n");
    EXPECT_EQ(notices(), "unknown ORBIT 1;");
    EXPECT_EQ(position.read(Input("")), 0);
}

} // namespace
