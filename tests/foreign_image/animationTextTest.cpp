// SPDX-License-Identifier: MIT
// The records of animation text, to the letter and to the member: a record that is read can be
// written again, unknown words are reported or end the form, and the text written from damaged
// input reads back the same.
#include "animText.h"
#include "tinyCamera.h"
#include "tinyLight.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace {

using namespace animtext;

using AnimationText = AnimText;
using Numbers = std::vector<int>;

using OwnedLight = std::unique_ptr<Light, LightDisposer>;

struct OwnedCamera : Camera {
    OwnedCamera() { cameraInitialize(this); }
    ~OwnedCamera() { cameraDisposeParts(this); }
    OwnedCamera(const OwnedCamera&) = delete;
    OwnedCamera& operator=(const OwnedCamera&) = delete;
};

struct OwnedPosition {
    Fcurve* curves[4] = {}; ///< x, y, z and the timing of a path
    AnimatedPosition more{};

    OwnedPosition() = default;
    ~OwnedPosition() {
        fcurveArrayDispose(curves, 4);
        positionClear(&more);
    }
    OwnedPosition(const OwnedPosition&) = delete;
    OwnedPosition& operator=(const OwnedPosition&) = delete;

    int read(std::FILE* in) {
        return positionReadAsciiAnimation(in, &more.fixed, &curves[3], &more.path,
                                          &more.constraintName, &more.constraintType, &curves[0],
                                          &curves[1], &curves[2], &more.pathModelName);
    }
    [[nodiscard]] std::string text() const {
        return written([this](std::FILE* f) {
            EXPECT_EQ(positionWriteAsciiAnimation(
                          f, &more.fixed, curves[3], more.path, more.constraintName,
                          more.constraintType, curves[0], curves[1], curves[2], more.pathModelName),
                      1);
        });
    }
};

/// The text of a record; without one there is none.
template <typename Record>
std::string textOf(int (*write)(std::FILE*, const Record*), const Record* record) {
    return written([&](std::FILE* f) { EXPECT_EQ(write(f, record), record != nullptr ? 1 : 0); });
}

int passCurve(std::FILE* in, std::string& out, bool dropped) {
    in_animToken(in);
    Fcurve* read = nullptr;
    const int result = fcurveReadAsciiAnimation(in, dropped ? nullptr : &read);
    const Curve curve(read);
    out = textOf<Fcurve>(fcurveWriteAsciiAnimation, read);
    return result;
}

int passSpline(std::FILE* in, std::string& out, bool dropped) {
    in_animToken(in);
    const OwnedSpline spline(dropped ? nullptr : splineAllocate());
    const int result = splineReadAsciiAnimation(in, spline.get());
    out = textOf<Spline>(splineWriteAsciiAnimation, spline.get());
    return result;
}

int passPosition(std::FILE* in, std::string& out, bool dropped) {
    if (dropped) {
        return positionReadAsciiAnimation(in, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                          nullptr, nullptr, nullptr);
    }
    OwnedPosition position;
    const int result = position.read(in);
    out = position.text();
    return result;
}

/// A mode or type without a word would be written as its keyword alone, and the next word would be
/// read in its place.
int passCamera(std::FILE* in, std::string& out, bool dropped) {
    in_animToken(in);
    OwnedCamera camera;
    const int result = cameraReadAsciiAnimation(in, dropped ? nullptr : &camera);
    camera.depthOfField = std::clamp<std::int16_t>(camera.depthOfField, 0, 2);
    out = textOf<Camera>(cameraWriteAsciiAnimation, dropped ? nullptr : &camera);
    return result;
}

int passLight(std::FILE* in, std::string& out, bool dropped) {
    const OwnedLight light(lightAllocate());
    const int result = lightReadAsciiAnimation(in, dropped ? nullptr : light.get());
    light->type = light->type == 0 ? std::int16_t{kLightPoint} : light->type;
    out = textOf<Light>(lightWriteAsciiAnimation, dropped ? nullptr : light.get());
    return result;
}

/// One kind of record.
struct Form {
    const char* name;
    /// Reads a record and writes it again, or reads it with nobody to take it.
    int (*pass)(std::FILE* in, std::string& out, bool dropped);
};
constexpr Form kForms[] = {{"curve", passCurve},
                           {"spline", passSpline},
                           {"position", passPosition},
                           {"camera", passCamera},
                           {"light", passLight}};

const Form& form(std::string_view name) {
    return *std::ranges::find(kForms, name, &Form::name);
}

// --- Lines to the letter ---

/// The lines of a curve up to its keys.
std::string curveLines(int depth, const char* channel, int keys = 0) {
    return lines(depth, std::string("CURVE_TYPE ") + channel +
                            "|PRE_EXTRAPOLATION 0     POST_EXTRAPOLATION 0|FLAGS 0|"
                            "INTERPOLATION CONSTANT|KEYS " +
                            std::to_string(keys));
}

/// The lines of a curve with one key, two levels deep.
std::string oneKey(const char* channel, int value) {
    return curveLines(2, channel, 1) + "\n         " +
           lines(3, "TIME 1     VALUE " + std::to_string(value) +
                        "|LEFT_SLOPE 0     RIGHT_SLOPE 0|INTERPOLATION CONSTANT     FLAG 0|"
                        "KEYTYPE FREEFORM");
}

const std::string kCurve =
    lines(1, "CURVE_TYPE LIG_POS|PRE_EXTRAPOLATION 1     POST_EXTRAPOLATION 2|FLAGS 7|"
             "INTERPOLATION SPLINE|KEYS 2") +
    "\n      " +
    lines(2, "TIME 1     VALUE 0.5|LEFT_SLOPE -2     RIGHT_SLOPE 3|"
             "INTERPOLATION LINEAR     FLAG 0|KEYTYPE FREEFORM") +
    "\n      " +
    lines(2, "TIME 24.5     VALUE 1e+06|LEFT_SLOPE 0     RIGHT_SLOPE 0|"
             "INTERPOLATION CONSTANT     FLAG 5     SPLINE_INDEX 9|KEYTYPE KEYPATH");

const std::string kSpline =
    lines(0, "SPLINE BEZIER|   NAME 'a path'|   CLOSE|   PHANTOM|   TENSION 0.25|   STEP 12|"
             "   CONSTRAINT C2|   SEGMENT CURVE|"
             "   WIRE_COLOUR 490|   LINE_TYPE 2|   SELECTED INHERIT_SELECTED|   POINTS 2|"
             "      POSITION 0 1.5 0|      PREVIOUS -1 0 0|      NEXT 1 0 0|"
             "      CONSTRAINT G2|      SEGMENT LINEAR|      FLAG 65536|"
             "      POSITION 3 0 -4|      PREVIOUS 2 0 0|      NEXT 4 0 0|"
             "      CONSTRAINT --------|      SEGMENT --------|      FLAG -268435456");

const std::string kPath =
    lines(0, "SPLINE LINEAR|   NAME 'p'|   TENSION 0|   STEP 0|   CONSTRAINT --------|"
             "   SEGMENT --------|   POINTS 1|      POSITION 1 2 3|      FLAG 0");

const std::string kCamera =
    lines(1, "POSITION EXPLICIT") + oneKey("CAM_POSX", 1) + oneKey("CAM_POSY", 2) +
    oneKey("CAM_POSZ", 3) + lines(1, "INTEREST STATIC|   0 0 0|ROLL") + oneKey("CAM_ROLL", 5) +
    lines(1, "YAW_PITCH_ROLL 0 0 0|NEAR 0.1|FAR 32768|FOCAL_LENGTH 0|F_STOP 0|FOCAL_DISTANCE 0|"
             "FIELD_OF_VIEW 41.5|DEPTH_OF_FIELD OFF|NEAR_FOCUS 0|FAR_FOCUS 0|OUT_OF_FOCUS 0|"
             "MAXIMUM_COC 0|HIDDEN") +
    oneKey("CAM_HID", 1) + lines(1, "ENLARGE INACTIVE");

std::string light(const std::string& type, const std::string& forType) {
    return lines(1, "LIGHT_NAME 'key light'|LIGHT_TYPE " + type + "|COLOUR") +
           oneKey("LIG_COL_R", 1) + oneKey("LIG_COL_G", 2) + oneKey("LIG_COL_B", 3) +
           lines(1, "FALL_OFF_START 0|FALL_OFF_END 0|SHADOW_FACTOR 0|POSITION STATIC|   0 0 0" +
                        forType + "|HIDDEN") +
           oneKey("LIG_HID", 1) +
           lines(1, "SHADOW_TYPE 0|SHADOW_MAP_RES 512|SHADOW_FILTER_SIZE 0|SHADOW_FILTER_STEP 0|"
                    "SHADOW_FADE_START 0|SHADOW_FADE_RATE 0|WIRE_COLOUR 0|LINE_TYPE 0|"
                    "SELECTED INHERIT_SELECTED");
}

const std::pair<const char*, std::string> kLines[] = {
    {"curve", kCurve},
    {"spline", kSpline},
    {"position", "STATIC \n   1 2.5 -3 "},
    {"position", "CONSTRAINT 2 'the eye' "},
    {"position", "PATH " + curveLines(1, "CAM_POS") + kPath},
    {"position", "EXPLICIT " + curveLines(1, "CAM_POSX") + curveLines(1, "CAM_POSY") +
                     curveLines(1, "CAM_POSZ")},
    {"position", "PATH_MODEL " + curveLines(1, "CAM_POS") + "\n   NAME 'm' "},
    {"camera", kCamera},
    {"light", light("SPOT", "|INTEREST STATIC|   0 0 0|CONE_ANGLE 0|SPREAD_ANGLE 0")},
    {"light", light("INFINITE", "")},
};

TEST_F(AnimationText, IsWrittenAsItWasRead) {
    for (const auto& [name, text] : kLines) {
        for (const bool dropped : {true, false}) {
            SCOPED_TRACE(testing::Message() << text << ", dropped " << dropped);
            std::string out;
            EXPECT_EQ(form(name).pass(Input(text + "\nLAST "), out, dropped), 1);
            expectLeft("LAST", "", "");
            EXPECT_EQ(animIndentLength, 0);
            EXPECT_TRUE(dropped || out == text) << out;
        }
    }
}

/// Reads and writes the text, and reads and writes the result again.
void expectFixed(const Form& f, const std::string& text) {
    constexpr const char* kEnd = " LAST"; // a look-ahead that no reader knows
    std::string once;
    std::string twice;
    f.pass(Input(text + kEnd), once, false);
    f.pass(Input(once + kEnd), twice, false);
    EXPECT_EQ(twice, once) << f.name << ", from " << testing::PrintToString(text);
}

TEST_F(AnimationText, DamagedReadsBackAsItIsWritten) {
    option.level = 0; // thousands of messages about unknown words
    for (const auto& [name, lines] : kLines) {
        const Form& f = form(name);
        const std::string text = squeezed(lines) + " ";
        forEachBitFlip(text, 0, [&](const std::string& flipped, auto) { expectFixed(f, flipped); });
        for (std::size_t begin = 0; begin < text.size();) {
            const std::size_t end = text.find(' ', begin) + 1;
            expectFixed(f, text.substr(0, begin) + text.substr(end));
            expectFixed(f, text.substr(0, end) + text.substr(begin));
            begin = end;
        }
        forEachTruncation(text, 1, [&](const std::string& cut) {
            for (const bool dropped : {true, false}) {
                const Input in(cut);
                std::string out;
                f.pass(in, out, dropped);
                EXPECT_EQ(in_animToken(in), 0) << f.name << " is read to its end, " << cut;
            }
            expectFixed(f, cut);
        });
        notices();
    }
}

// --- Odd text ---

struct Case {
    const char *form, *in;
    int result;
    const char* next; ///< the look-ahead afterwards
    /// The rewritten text, with blanks and line ends as one blank, $ for the lines of an empty
    /// curve, & for those of a spline and % for those of a key; null if it is not checked.
    const char* out = nullptr;
    const char* messages = ""; ///< @ stands for "ReadAsciiAnimation: error, "
    const char* notices = "";
};

constexpr std::string_view kEmptyCurve =
    " PRE_EXTRAPOLATION 0 POST_EXTRAPOLATION 0 FLAGS 0 INTERPOLATION CONSTANT KEYS ";
constexpr std::string_view kEmptySpline =
    "NAME '' TENSION 0 STEP 0 CONSTRAINT -------- SEGMENT --------";
constexpr std::string_view kPlainKey =
    " LEFT_SLOPE 0 RIGHT_SLOPE 0 INTERPOLATION LINEAR FLAG 0 KEYTYPE ";

constexpr Case kCases[] = {
    // Defaults of a key.
    {"curve", "CURVE_TYPE CAM_FOV KEYS 1 VALUE 3 KEYTYPE RAWDATA X", 1, "X",
     "CURVE_TYPE CAM_FOV$1 TIME 0 VALUE 3%RAWDATA"},
    {"curve", "CURVE_TYPE CAM_FAR KEYS 0 X Y", 1, "X", "CURVE_TYPE CAM_FAR$0"},
    {"curve", "CURVE_TYPE CAM_FAR KEYS -3 X Y", 1, "X", "CURVE_TYPE CAM_FAR$0", "", "number -3 1;"},
    // Kept also where nothing follows.
    {"curve", "CURVE_TYPE CAM_FOV KEYS 0", 0, "", "CURVE_TYPE CAM_FOV$0"},
    // Ends before its keys.
    {"curve", "CURVE_TYPE CAM_FOV FLAGS 3 X Y", 1, "X", "", "", "missing KEYS 1;"},
    // An unknown first word.
    {"curve", "X Y Z", 1, "Y", "", "", "unknown X 1;"},
    {"curve",
     "CURVE_TYPE CAM_FOV INTERPOLATION CUBIC KEYS 1 TIME 1 INTERPOLATION ODD KEYTYPE NONE X", 1,
     "X", "CURVE_TYPE CAM_FOV$1 TIME 1 VALUE 0%FREEFORM",
     "Fcurve@unknown interp animToken 'CUBIC'.\n"
     "Fcvkey@unknown interp animToken 'ODD'.\n"
     "Fcvkey@unknown keytype animToken 'NONE'.\n",
     "unknown CUBIC 1;unknown ODD 1;unknown NONE 1;"},
    // An unknown channel keeps its name.
    {"curve", "CURVE_TYPE OF_OURS KEYS 0 X", 1, "X", "CURVE_TYPE OF_OURS$0", "", "kept OF_OURS 1;"},
    // No channel at all.
    {"curve", "CURVE_TYPE  PRE_EXTRAPOLATION 0 KEYS 0 X", 1, "X", "CURVE_TYPE$0"},
    // Fewer keys than announced.
    {"curve", "CURVE_TYPE MDL_POS KEYS 32767 TIME 4 KEYTYPE KEYFRAME X", 1, "X",
     "CURVE_TYPE MDL_POS$1 TIME 4 VALUE 0%KEYFRAME", "", "missing KEYS 1;"},
    // A word after its keys.
    {"curve", "CURVE_TYPE MDL_POS KEYS 1 TIME 4 KEYTYPE KEYFRAME TIME 5", 1, "TIME",
     "CURVE_TYPE MDL_POS$1 TIME 4 VALUE 0%KEYFRAME"},

    {"spline", "SPLINE CARDINAL X", 1, "X", "SPLINE CARDINAL & POINTS 0"},
    {"spline", "SPLINE NURBS KEYLIST 3 X", 1, "X", "SPLINE LINEAR & KEYLIST 3 POINTS 0",
     "Spline@unknown spline type animToken 'NURBS'.\n", "unknown NURBS 1;"},
    {"spline", "SPLINE STEP 3 X", 1, "X",
     "SPLINE LINEAR NAME '' TENSION 0 STEP 3 CONSTRAINT -------- SEGMENT -------- POINTS 0",
     "Spline@unknown spline type animToken 'STEP'.\n", "unknown STEP 1;"},
    // A second spline ends it.
    {"spline", "SPLINE LINEAR SPLINE BEZIER", 1, "SPLINE", "SPLINE LINEAR & POINTS 0"},
    {"spline", "SPLINE LINEAR CONSTRAINT C9 SELECTED SELECTED KEYLIST 3 X", 1, "X",
     "SPLINE LINEAR & KEYLIST 3 POINTS 0", "Spline@unknown select animToken 'SELECTED'.\n",
     "unknown C9 1;unknown SELECTED 1;"},
    // Older words are kept.
    {"spline",
     "SPLINE LINEAR KEYFRAME 1 2 KEYLIST 3 -4.5 +6 .7 WIRE_COLOUR_INDEX 3 7 SELECTED UNSELECTED X",
     1, "X",
     "SPLINE LINEAR & KEYFRAME 1 2 KEYLIST 3 -4.5 +6 .7 WIRE_COLOUR 490 SELECTED UNSELECTED "
     "POINTS 0"},
    // Older words without numbers.
    {"spline", "SPLINE LINEAR KEYFRAME KEYLIST X", 1, "X",
     "SPLINE LINEAR & KEYFRAME KEYLIST POINTS 0"},
    // Fewer points than announced, short ones, a handle without a Bezier spline.
    {"spline", "SPLINE BSPLINE POINTS 30000 POSITION 1 2 3 POSITION 4 5 6 FLAG 9 NEXT 7 8 9 LIGHT",
     1, "LIGHT", "SPLINE BSPLINE & POINTS 2 POSITION 1 2 3 FLAG 0 POSITION 4 5 6 NEXT 7 8 9 FLAG 9",
     "", "missing POINTS 1;"},
    // More points than announced.
    {"spline", "SPLINE LINEAR POINTS 1 POSITION 1 2 3 FLAG 0 POSITION 4 5 6", 1, "POSITION",
     "SPLINE LINEAR & POINTS 1 POSITION 1 2 3 FLAG 0"},
    // A negative count, then again.
    {"spline", "SPLINE LINEAR POINTS -1 POINTS 1 POSITION 1 2 3 X", 1, "X",
     "SPLINE LINEAR & POINTS 1 POSITION 1 2 3 FLAG 0", "", "number -1 1;dropped POINTS 1;"},
    {"spline", "SPLINE LINEAR FLAG 3 POINTS 1 POSITION 1 2 3 X", 1, "X",
     "SPLINE LINEAR & POINTS 1 POSITION 1 2 3 FLAG 0", "", "by format FLAG 1;"},
    // Its first word is gone.
    {"spline", "BEZIER X", 1, "X", "SPLINE BEZIER & POINTS 0"},
    {"spline", "INTEREST X", 1, "INTEREST", "SPLINE LINEAR & POINTS 0", "", "missing INTEREST 1;"},

    {"position", "ORBIT ROLL 0", 1, "ROLL", "STATIC 0 0 0", "Position@unknown animToken 'ORBIT'.\n",
     "unknown ORBIT 1;"},
    {"position", "", 0, "", "STATIC 0 0 0", "", "missing  1;"},
    // The end of the file inside a value.
    {"position", "STATIC 1 2", 1, "", "STATIC 1 2 0", "", "missing  1;"},
    {"position", "CONSTRAINT 2 'eye", 1, "", "CONSTRAINT 2 'eye'", "", "missing  1;"},

    {"camera", "FRAME 1 2", 1, "1", nullptr, "", "unknown FRAME 1;"},
    {"camera", "FRAME", 1, "", nullptr, "", "unknown FRAME 1;"},
    {"camera", " ", 0, ""},
    {"camera", "ENLARGE ACTIVE", 0, ""},
    {"camera", "ROLL 3", 0, ""},
    {"camera", "ROLL", 0, "", nullptr, "", "missing  1;"},
    {"camera", "YAW_PITCH_ROLL 1 2", 0, "", nullptr, "", "missing  1;"},
    {"camera", "DEPTH_OF_FIELD DEEP ROLL 1 X ", 1, "X", nullptr,
     "Camera@unknown depth of field animToken 'DEEP'.\n", "unknown DEEP 1;"},
    {"camera", "ENLARGE MAYBE X", 1, "X", nullptr,
     "Camera@unknown enlarge active animToken 'MAYBE'.\n", "unknown MAYBE 1;"},
    // Mode without a word.
    {"camera", "DEPTH_OF_FIELD\nNEAR_FOCUS 4 FAR_FOCUS 5 ", 1, "4", nullptr,
     "Camera@unknown depth of field animToken 'NEAR_FOCUS'.\n", "unknown NEAR_FOCUS 2;"},

    // Any order, and old words.
    {"camera", "ENLARGE ACTIVE TYPE 3 FAR 7 STEREO 1 NEAR 2 POSITION CONSTRAINT 4 'eye' LIGHT ", 1,
     "LIGHT", nullptr, "", "by format TYPE 1;by format STEREO 1;"},

    {"light", "LIGHT ENLARGE X", 1, "ENLARGE", nullptr, "", "unknown LIGHT 1;"},
    {"light", " ", 0, ""},
    {"light", "LIGHT_NAME", 0, "", nullptr, "", "missing  1;"},
    {"light", "LIGHT_NAME 'x'", 0, ""},
    {"light", "LIGHT_NAME 'x' LIGHT_NAME 'y' Z ", 1, "Z", nullptr, "", "dropped LIGHT_NAME 1;"},
    {"light", "SELECTED HALF Z ", 1, "Z", nullptr, "Light@unknown select animToken 'HALF'.\n",
     "unknown HALF 1;"},
    {"light", "LIGHT_TYPE\nLASER Z ", 1, "Z", nullptr,
     "Light@unknown light type animToken 'LASER'.\n", "unknown LASER 2;"},
    // Type without a word.
    {"light", "LIGHT_TYPE\nCOLOUR 0.5 1 1 Z ", 1, "0.5", nullptr,
     "Light@unknown light type animToken 'COLOUR'.\n", "unknown COLOUR 2;"},
    // End in an old pair.
    {"light", "WIRE_COLOUR_INDEX 3", 0, "", nullptr, "",
     "by format WIRE_COLOUR_INDEX 1;missing  1;"},
};

TEST_F(AnimationText, IsReadAndWrittenAgain) {
    for (const Case& c : kCases) {
        for (const bool dropped : {true, false}) {
            SCOPED_TRACE(testing::Message() << c.form << ": " << c.in << ", dropped " << dropped);
            animSetLineNumber(1);
            std::string out;
            EXPECT_EQ(form(c.form).pass(Input(c.in), out, dropped), c.result);
            expectLeft(c.next, expanded(c.messages, '@', "ReadAsciiAnimation: error, "), c.notices);
            if (c.out != nullptr && !dropped) {
                const std::string lines =
                    expanded(expanded(c.out, '$', kEmptyCurve), '&', kEmptySpline);
                EXPECT_EQ(squeezed(out), expanded(lines, '%', kPlainKey));
            }
        }
    }
}

// --- Members ---

Curve readCurve(std::string_view text, Fcurve* curve = nullptr) {
    const Input in(text);
    in_animToken(in);
    EXPECT_EQ(fcurveReadAsciiAnimation(in, &curve), 1) << text;
    return Curve(curve);
}

TEST_F(AnimationText, StandInTheirMembers) {
    Curve curve = readCurve(kCurve + " NEXT");
    EXPECT_EQ(Numbers({curve->type, curve->preExtrapolation, curve->postExtrapolation, curve->flags,
                       curve->interpolation, curve->ascending}),
              Numbers({31, 1, 2, 7, kInterpolateSpline, 1}));
    const FcvKey keys[] = {{1.0F, 0.5F, 3.0F, -2.0F, 0, kInterpolateLinear, kKeyFreeform, -1},
                           {24.5F, 1e6F, 0.0F, 0.0F, 5, kInterpolateConstant, kKeyKeypath, 9}};
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): exact values, no padding
    EXPECT_EQ(std::memcmp(curve->keys, keys, sizeof keys), 0);
    EXPECT_EQ(readCurve("CURVE_TYPE CAM_FOV X", curve.release()), nullptr) << "replaced";

    const OwnedSpline s(splineAllocate());
    const Input in(kSpline);
    in_animToken(in);
    splineReadAsciiAnimation(in, s.get());
    EXPECT_EQ(Numbers({s->phantom, s->close, s->type, s->keyCount, s->step, s->constraint,
                       s->segment, s->display, s->wireColour, s->lineType, s->selection}),
              Numbers({1, 1, kSplineBezier, 2, 12, 3, 1, 7, 490, 2, 3}));
    const SplineKey points[] = {{{-1, 0, 0}, {0, 1.5F, 0}, {1, 0, 0}, 5, 2, kSplineKeySelected},
                                {{2, 0, 0}, {3, 0, -4}, {4, 0, 0}, 0, 0, 0xF0000000}};
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): exact values, no padding
    EXPECT_EQ(std::memcmp(s->keys, points, sizeof points), 0);
}

TEST_F(AnimationText, KeysOfOldFilesEndAfterTheirFlag) {
    for (const float version : {2.0F, 2.02F, 2.03F}) {
        animFileVersion = version;
        const Curve curve = readCurve("CURVE_TYPE MDL_POS KEYS 2 TIME 1 FLAG 3 TIME 2 FLAG 4 X");
        const int keys = version < 2.025F ? 2 : 1; // newer ones continue to their type
        ASSERT_EQ(curve->keyCount, keys) << version;
        EXPECT_EQ(curve->keys[0].flag, keys == 2 ? 3 : 4);
        EXPECT_EQ(curve->keys[keys - 1].time, 2.0F);
        EXPECT_STREQ(animToken, "X");
        EXPECT_EQ(notices() == "", keys == 2);
    }
}

TEST_F(AnimationText, EveryChannelSurvives) {
    for (int type = -1; type <= kFcurveChannels; ++type) {
        const Curve curve(fcurveAllocate());
        curve->type = static_cast<std::int16_t>(type);
        curve->keys = fcvkeyAllocate(1);
        curve->keyCount = 1;
        const std::string text = textOf<Fcurve>(fcurveWriteAsciiAnimation, curve.get());
        EXPECT_EQ(readCurve(text + " X")->type, type == kFcurveChannels ? 0 : std::max(type, 0));
    }
    for (const auto& [index, name] : {std::pair(0, ""), {68, "TXT3D_STR"}, {184, "MDL_WCLUSTER"}}) {
        EXPECT_STREQ(fcv_name[index], name);
    }
}

TEST_F(AnimationText, APositionIsReplacedAndWrittenInTheFirstFormThatApplies) {
    OwnedPosition position;
    position.read(Input("PATH " + curveLines(1, "CAM_POS") + kPath + " X"));
    position.read(Input("PATH " + kPath + " X"));
    EXPECT_EQ(position.text(), "PATH " + kPath) << "without the timing";
    position.curves[0] = fcurveAllocate();
    position.more.pathModelName = strdup("m");
    position.read(Input("PATH_MODEL NAME 'n' X"));
    position.more.constraintName = strdup("c");
    EXPECT_EQ(position.text(), "CONSTRAINT 0 'c' ");
    std::free(std::exchange(position.more.constraintName, nullptr));
    EXPECT_EQ(position.text(), "PATH_MODEL \n   NAME 'n' ");
    std::free(std::exchange(position.more.pathModelName, nullptr));
    EXPECT_EQ(position.text().substr(0, 11), "PATH \nSPLIN");
    splineDispose(&position.more.path);
    EXPECT_EQ(position.text().substr(0, 24), "EXPLICIT \n   CURVE_TYPE ");
    fcurveDispose(&position.curves[0]);
    position.curves[1] = fcurveAllocate();
    EXPECT_EQ(position.text(), "STATIC \n   0 0 0 ") << "without an x curve";
    EXPECT_EQ(written([](std::FILE* f) {
                  positionWriteAsciiAnimation(f, nullptr, nullptr, nullptr, nullptr, 0, nullptr,
                                              nullptr, nullptr, nullptr);
              }),
              "STATIC ");
}

TEST_F(AnimationText, CodesWithoutAWordWriteNoneAndOtherLevelsAreSilent) {
    OwnedCamera camera;
    camera.depthOfField = 3;
    EXPECT_NE(textOf<Camera>(cameraWriteAsciiAnimation, &camera)
                  .find("\n   DEPTH_OF_FIELD \n   NEAR_FOCUS"),
              std::string::npos);
    const OwnedLight light(lightAllocate());
    EXPECT_EQ(textOf<Light>(lightWriteAsciiAnimation, light.get()).substr(0, 44),
              "\n   LIGHT_NAME '' \n   LIGHT_TYPE \n   COLOUR ");
    for (const int level : {0, 2}) {
        option.level = level;
        in_animToken(Input("ENLARGE"));
        cameraReadAsciiAnimation(Input("MAYBE X"), &camera);
        EXPECT_EQ(messages(), "");
    }
    in_animToken(Input("TYPE"));
    cameraReadAsciiAnimation(Input("12 X"), &camera);
    EXPECT_EQ(animSValue, 12) << "also of a dropped number";
    lightReadAsciiAnimation(Input("WIRE_COLOUR_INDEX 3 7 SHADOW_TYPE 8 X"), light.get());
    EXPECT_EQ(animSValue + light->shadowType, 16);
}

TEST_F(AnimationText, ALightIsReadIntoWhatItWas) {
    const OwnedLight light(lightAllocate());
    const auto read = [&](const char* text) {
        return lightReadAsciiAnimation(Input(text), light.get());
    };
    char before[] = "not from the heap";
    light->name = before; // its owner frees it
    EXPECT_EQ(read("LIGHT_NAME 'a' DECAY 2 WIRE_COLOUR_INDEX 3 7 LIGHT_TYPE POINT CONE_ANGLE 30 "
                   "INTEREST STATIC 1 2 3 LIGHT_NAME 'b' NEXT "),
              1);
    EXPECT_STREQ(light->name, "b");
    EXPECT_EQ(light->wireColour, 490);
    read("COLOUR CURVE_TYPE LIG_COL_R KEYS 0 CURVE_TYPE LIG_COL_G KEYS 0 CURVE_TYPE X Y ");
    EXPECT_EQ(light->curves[kLightBlue]->type, light->curves[kLightRed]->type + 2) << "completed";
    EXPECT_EQ(light->coneAngle, 30.0F) << "accepted for every type";
    EXPECT_EQ(light->interest.fixed.y, 2.0F);
    light->type = kLightInfinite;
    read("LIGHT_TYPE LASER Z ");
    EXPECT_EQ(light->type, 0) << "not the record's old type";
    light->type = kLightInfinite;
    read("LIGHT_TYPE SPOT LIGHT_TYPE LASER Z ");
    EXPECT_EQ(light->type, kLightSpot) << "the earlier line's";
    read("SELECTED UNSELECTED Z ");
    EXPECT_EQ(light->type, kLightSpot) << "no line, no change";
}

} // namespace
