// SPDX-License-Identifier: MIT
// The forms of animation text: a record that is read can be written again, unknown words are
// reported or end the form, and the text written from damaged input reads back the same.
#include "animText.h"
#include "curve/position.h"
#include "tinyCamera.h"
#include "tinyLight.h"

#include <algorithm>

namespace {

using namespace animtext;

class AnimationText : public AnimText {};

/// One kind of record: `pass` reads one and writes it again, `drop` reads it into null.
struct Form {
    const char* name;
    int (*pass)(std::FILE* in, std::string& out);
    int (*drop)(std::FILE* in);
    std::string whole; ///< every word of the form
    std::string rest;  ///< $ in the cases: the lines of an empty record
};

int passCurve(std::FILE* in, std::string& out) {
    in_animToken(in);
    Fcurve* read = nullptr;
    const int result = fcurveReadAsciiAnimation(in, &read);
    const Curve curve(read);
    out = written([&](std::FILE* f) { fcurveWriteAsciiAnimation(f, curve.get()); });
    return result;
}

int dropCurve(std::FILE* in) {
    in_animToken(in);
    return fcurveReadAsciiAnimation(in, nullptr);
}

int passSpline(std::FILE* in, std::string& out) {
    in_animToken(in);
    const OwnedSpline spline(splineAllocate());
    const int result = splineReadAsciiAnimation(in, spline.get());
    out = written([&](std::FILE* f) { splineWriteAsciiAnimation(f, spline.get()); });
    return result;
}

int dropSpline(std::FILE* in) {
    in_animToken(in);
    return splineReadAsciiAnimation(in, nullptr);
}

int passPosition(std::FILE* in, std::string& out) {
    Position position;
    const int result = position.read(in);
    out = position.write();
    return result;
}

int dropPosition(std::FILE* in) {
    return positionReadAsciiAnimation(in, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                      nullptr, nullptr, nullptr);
}

int passCamera(std::FILE* in, std::string& out) {
    in_animToken(in);
    Camera camera;
    cameraInitialize(&camera);
    const int result = cameraReadAsciiAnimation(in, &camera);
    camera.depthOfField = std::clamp<std::int16_t>(camera.depthOfField, 0, 2);
    out = written([&](std::FILE* f) { cameraWriteAsciiAnimation(f, &camera); });
    cameraDisposeParts(&camera);
    return result;
}

int dropCamera(std::FILE* in) {
    in_animToken(in);
    return cameraReadAsciiAnimation(in, nullptr);
}

int passLight(std::FILE* in, std::string& out) {
    const Owned<Light, lightDispose> light(lightAllocate());
    const int result = lightReadAsciiAnimation(in, light.get());
    // Without a type only the keyword would be written, and the next word would be read in its
    // place.
    light->type = light->type == 0 ? std::int16_t{kLightPoint} : light->type;
    out = written([&](std::FILE* f) { lightWriteAsciiAnimation(f, light.get()); });
    return result;
}

int dropLight(std::FILE* in) {
    return lightReadAsciiAnimation(in, nullptr);
}

const std::string kKeys = "CURVE_TYPE CAM_POS KEYS 1 TIME 1 KEYTYPE KEYFRAME ";

const Form kForms[] = {
    {"curve", passCurve, dropCurve,
     "CURVE_TYPE CAM_FOV PRE_EXTRAPOLATION 1 POST_EXTRAPOLATION 2 FLAGS 3 INTERPOLATION LINEAR "
     "KEYS 2 TIME 1 VALUE -2.5 LEFT_SLOPE 1e-3 RIGHT_SLOPE 4 INTERPOLATION SPLINE FLAG 5 "
     "SPLINE_INDEX 6 KEYTYPE KEYPATH TIME 2 VALUE 3 FLAG 9 KEYTYPE RAWDATA",
     " PRE_EXTRAPOLATION 0 POST_EXTRAPOLATION 0 FLAGS 0 INTERPOLATION CONSTANT KEYS "},
    {"spline", passSpline, dropSpline,
     "SPLINE BEZIER NAME 'a b' CLOSE PHANTOM TENSION 0.5 STEP 3 CONSTRAINT C1 SEGMENT CURVE "
     "KEYFRAME 1 KEYLIST 2 3 POINTS 2 POSITION 1 2 3 PREVIOUS 4 5 6 NEXT 7 8 9 CONSTRAINT G2 "
     "SEGMENT LINEAR FLAG 65536 POSITION -1 0 1e9 WIRE_COLOUR 4 LINE_TYPE 5 SELECTED UNSELECTED",
     "NAME '' TENSION 0 STEP 0 CONSTRAINT -------- SEGMENT --------"},
    {"static position", passPosition, dropPosition, "STATIC 1 2.5 -3", ""},
    {"constrained position", passPosition, dropPosition, "CONSTRAINT 2 'the eye'", ""},
    {"position on a path", passPosition, dropPosition,
     "PATH " + kKeys + "SPLINE LINEAR POINTS 1 POSITION 1 2 3", ""},
    {"position on a model", passPosition, dropPosition,
     "PATH_MODEL CURVE_TYPE CAM_POS KEYS 0 NAME 'm'", ""},
    {"camera", passCamera, dropCamera,
     "POSITION STATIC 1 2 3 INTEREST PATH " + kKeys +
         "SPLINE LINEAR POINTS 1 POSITION 1 2 3 FLAG 0 ROLL 1 YAW_PITCH_ROLL 1 2 3 NEAR 1 FAR " +
         kKeys + "FOCAL_LENGTH 1 F_STOP 1 FOCAL_DISTANCE 1 FIELD_OF_VIEW 9 DEPTH_OF_FIELD CUSTOM " +
         "NEAR_FOCUS 1 FAR_FOCUS 1 OUT_OF_FOCUS 1 MAXIMUM_COC 1 HIDDEN " + kKeys + "ENLARGE ACTIVE",
     ""},
    {"light", passLight, dropLight,
     "LIGHT_NAME 'n' LIGHT_TYPE SPOT COLOUR 1 2 3 FALL_OFF_START 1 FALL_OFF_END 2 SHADOW_FACTOR 3 "
     "POSITION STATIC 1 2 3 INTEREST PATH_MODEL " +
         kKeys + "NAME 'm' CONE_ANGLE 4 SPREAD_ANGLE 5 HIDDEN " + kKeys +
         "SHADOW_TYPE 1 SHADOW_MAP_RES 2 SHADOW_FILTER_SIZE 3 SHADOW_FILTER_STEP 4 "
         "SHADOW_FADE_START 1 SHADOW_FADE_RATE 2 WIRE_COLOUR 3 LINE_TYPE 4 SELECTED NODE_SELECTED",
     ""},
};

const Form& form(std::string_view name) {
    return *std::ranges::find_if(kForms, [&](const Form& f) { return f.name == name; });
}

struct Case {
    const char* form;
    const char* name;
    const char* in;
    int result;
    /// The rewritten text, with blanks and line ends as one blank, $ as above and % for the lines
    /// of a key; null if it is not checked.
    const char* out;
    const char* next; ///< the look-ahead afterwards
    const char* messages;
    const char* notices;
};

constexpr std::string_view kPlainKey =
    " LEFT_SLOPE 0 RIGHT_SLOPE 0 INTERPOLATION LINEAR FLAG 0 KEYTYPE ";

constexpr Case kCases[] = {
    {"curve", "defaults of a key", "CURVE_TYPE CAM_FOV KEYS 1 VALUE 3 KEYTYPE RAWDATA X", 1,
     "CURVE_TYPE CAM_FOV$1 TIME 0 VALUE 3%RAWDATA", "X", "", ""},
    {"curve", "no keys, but their count", "CURVE_TYPE CAM_FAR KEYS 0 X Y", 1,
     "CURVE_TYPE CAM_FAR$0", "X", "", ""},
    {"curve", "a negative count", "CURVE_TYPE CAM_FAR KEYS -3 X Y", 1, "CURVE_TYPE CAM_FAR$0", "X",
     "", ""},
    {"curve", "kept also where nothing follows", "CURVE_TYPE CAM_FOV KEYS 0", 0,
     "CURVE_TYPE CAM_FOV$0", "", "", ""},
    {"curve", "ends before its keys", "CURVE_TYPE CAM_FOV FLAGS 3 X Y", 1, "", "X", "", ""},
    {"curve", "an unknown first word", "X Y Z", 1, "", "Y", "", "unknown X 1;"},
    {"curve", "unknown words",
     "CURVE_TYPE CAM_FOV INTERPOLATION CUBIC KEYS 1 TIME 1 INTERPOLATION ODD KEYTYPE NONE X", 1,
     "CURVE_TYPE CAM_FOV$1 TIME 1 VALUE 0%FREEFORM", "X",
     "FcurveReadAsciiAnimation: error, unknown interp animToken 'CUBIC'.\n"
     "FcvkeyReadAsciiAnimation: error, unknown interp animToken 'ODD'.\n"
     "FcvkeyReadAsciiAnimation: error, unknown keytype animToken 'NONE'.\n",
     "unknown CUBIC 1;unknown ODD 1;unknown NONE 1;"},
    {"curve", "an unknown channel keeps its name", "CURVE_TYPE OF_OURS KEYS 0 X", 1,
     "CURVE_TYPE OF_OURS$0", "X", "", "kept OF_OURS 1;"},
    {"curve", "no channel at all", "CURVE_TYPE  PRE_EXTRAPOLATION 0 KEYS 0 X", 1, "CURVE_TYPE$0",
     "X", "", ""},
    {"curve", "fewer keys than announced",
     "CURVE_TYPE MDL_POS KEYS 32767 TIME 4 KEYTYPE KEYFRAME X", 1,
     "CURVE_TYPE MDL_POS$1 TIME 4 VALUE 0%KEYFRAME", "X", "", "missing KEYS 1;"},
    {"curve", "a word after its keys", "CURVE_TYPE MDL_POS KEYS 1 TIME 4 KEYTYPE KEYFRAME TIME 5",
     1, "CURVE_TYPE MDL_POS$1 TIME 4 VALUE 0%KEYFRAME", "TIME", "", ""},

    {"spline", "nothing but its type", "SPLINE CARDINAL X", 1, "SPLINE CARDINAL $ POINTS 0", "X",
     "", ""},
    {"spline", "unknown type", "SPLINE NURBS PHANTOM X", 1,
     "SPLINE LINEAR NAME '' PHANTOM TENSION 0 STEP 0 CONSTRAINT -------- SEGMENT -------- POINTS 0",
     "X", "SplineReadAsciiAnimation: error, unknown spline type animToken 'NURBS'.\n",
     "unknown NURBS 1;"},
    {"spline", "no type", "SPLINE STEP 3 X", 1,
     "SPLINE LINEAR NAME '' TENSION 0 STEP 3 CONSTRAINT -------- SEGMENT -------- POINTS 0", "X",
     "SplineReadAsciiAnimation: error, unknown spline type animToken 'STEP'.\n", "unknown STEP 1;"},
    {"spline", "a second spline ends it", "SPLINE LINEAR SPLINE BEZIER", 1,
     "SPLINE LINEAR $ POINTS 0", "SPLINE", "", ""},
    {"spline", "unknown selection and constraint",
     "SPLINE LINEAR CONSTRAINT C9 SELECTED SELECTED CLOSE X", 1,
     "SPLINE LINEAR NAME '' CLOSE TENSION 0 STEP 0 CONSTRAINT -------- SEGMENT -------- POINTS 0",
     "X", "SplineReadAsciiAnimation: error, unknown select animToken 'SELECTED'.\n",
     "unknown C9 1;unknown SELECTED 1;"},
    {"spline", "older words are kept",
     "SPLINE LINEAR KEYFRAME 1 2 KEYLIST 3 -4.5 +6 .7 WIRE_COLOUR_INDEX 3 7 SELECTED UNSELECTED X",
     1,
     "SPLINE LINEAR $ KEYFRAME 1 2 KEYLIST 3 -4.5 +6 .7 WIRE_COLOUR 490 SELECTED UNSELECTED "
     "POINTS 0",
     "X", "", ""},
    {"spline", "older words without numbers", "SPLINE LINEAR KEYFRAME KEYLIST X", 1,
     "SPLINE LINEAR $ KEYFRAME KEYLIST POINTS 0", "X", "", ""},
    {"spline", "fewer points than announced, short ones, a handle without a Bezier spline",
     "SPLINE BSPLINE POINTS 30000 POSITION 1 2 3 POSITION 4 5 6 FLAG 9 NEXT 7 8 9 LIGHT", 1,
     "SPLINE BSPLINE $ POINTS 2 POSITION 1 2 3 FLAG 0 POSITION 4 5 6 NEXT 7 8 9 FLAG 9", "LIGHT",
     "", "missing POINTS 1;"},
    {"spline", "more points than announced",
     "SPLINE LINEAR POINTS 1 POSITION 1 2 3 FLAG 0 POSITION 4 5 6", 1,
     "SPLINE LINEAR $ POINTS 1 POSITION 1 2 3 FLAG 0", "POSITION", "", ""},
    {"spline", "a negative count, then again", "SPLINE LINEAR POINTS -1 POINTS 1 POSITION 1 2 3 X",
     1, "SPLINE LINEAR $ POINTS 1 POSITION 1 2 3 FLAG 0", "X", "", ""},
    {"spline", "its first word is gone", "BEZIER X", 1, "SPLINE BEZIER $ POINTS 0", "X", "", ""},
    {"spline", "no spline at all", "INTEREST X", 1, "SPLINE LINEAR $ POINTS 0", "INTEREST", "",
     "missing INTEREST 1;"},

    {"static position", "unknown form", "ORBIT ROLL 0", 1, "STATIC 0 0 0", "ROLL",
     "PositionReadAsciiAnimation: error, unknown animToken 'ORBIT'.\n", "unknown ORBIT 1;"},
    {"static position", "nothing", "", 0, "STATIC 0 0 0", "", "", ""},

    {"camera", "no block", "FRAME 1 2", 1, nullptr, "1", "", "unknown FRAME 1;"},
    {"camera", "no block at the end", "FRAME", 1, nullptr, "", "", "unknown FRAME 1;"},
    {"camera", "nothing at all", " ", 0, nullptr, "", "", ""},
    {"camera", "end after a choice", "ENLARGE ACTIVE", 0, nullptr, "", "", ""},
    {"camera", "end after a number", "ROLL 3", 0, nullptr, "", "", ""},
    {"camera", "end inside a value", "ROLL", 0, nullptr, "", "", ""},
    {"camera", "unknown depth", "DEPTH_OF_FIELD DEEP ROLL 1 X ", 1, nullptr, "X",
     "CameraReadAsciiAnimation: error, unknown depth of field animToken 'DEEP'.\n",
     "unknown DEEP 1;"},
    {"camera", "unknown enlarge", "ENLARGE MAYBE X", 1, nullptr, "X",
     "CameraReadAsciiAnimation: error, unknown enlarge active animToken 'MAYBE'.\n",
     "unknown MAYBE 1;"},
    {"camera", "mode without a word", "DEPTH_OF_FIELD\nNEAR_FOCUS 4 FAR_FOCUS 5 ", 1, nullptr, "4",
     "CameraReadAsciiAnimation: error, unknown depth of field animToken 'NEAR_FOCUS'.\n",
     "unknown NEAR_FOCUS 2;"},

    {"light", "no block", "LIGHT ENLARGE X", 1, nullptr, "ENLARGE", "", "unknown LIGHT 1;"},
    {"light", "nothing", " ", 0, nullptr, "", "", ""},
    {"light", "end in a name", "LIGHT_NAME", 0, nullptr, "", "", ""},
    {"light", "end after a name", "LIGHT_NAME 'x'", 0, nullptr, "", "", ""},
    {"light", "two names", "LIGHT_NAME 'x' LIGHT_NAME 'y' Z ", 1, nullptr, "Z", "",
     "dropped LIGHT_NAME 1;"},
    {"light", "unknown state", "SELECTED HALF Z ", 1, nullptr, "Z",
     "LightReadAsciiAnimation: error, unknown select animToken 'HALF'.\n", "unknown HALF 1;"},
    {"light", "unknown type", "LIGHT_TYPE\nLASER Z ", 1, nullptr, "Z",
     "LightReadAsciiAnimation: error, unknown light type animToken 'LASER'.\n", "unknown LASER 2;"},
    {"light", "type without a word", "LIGHT_TYPE\nCOLOUR 0.5 1 1 Z ", 1, nullptr, "0.5",
     "LightReadAsciiAnimation: error, unknown light type animToken 'COLOUR'.\n",
     "unknown COLOUR 2;"},
    {"light", "end in an old pair", "WIRE_COLOUR_INDEX 3", 0, nullptr, "", "",
     "by format WIRE_COLOUR_INDEX 1;"},
};

TEST_F(AnimationText, IsReadAndWrittenAgain) {
    for (const Case& c : kCases) {
        SCOPED_TRACE(std::string(c.form) + ": " + c.name);
        const Form& f = form(c.form);
        animSetLineNumber(1);
        EXPECT_EQ(f.drop(Input(c.in)), c.result) << "with nobody to take it";
        expectLeft(c.next, c.messages, c.notices);
        animSetLineNumber(1);
        std::string out;
        EXPECT_EQ(f.pass(Input(c.in), out), c.result);
        expectLeft(c.next, c.messages, c.notices);
        if (c.out != nullptr) {
            EXPECT_EQ(squeezed(out), expanded(expanded(c.out, '$', f.rest), '%', kPlainKey));
        }
    }
}

/// Reads and writes the text, and reads and writes the result again.
void expectFixed(const Form& f, const std::string& text) {
    constexpr const char* kEnd = " LAST"; // a look-ahead that no reader knows
    std::string once;
    std::string twice;
    f.pass(Input(text + kEnd), once);
    f.pass(Input(once + kEnd), twice);
    EXPECT_EQ(twice, once) << f.name << ", from " << testing::PrintToString(text);
}

TEST_F(AnimationText, DamagedReadsBackAsItIsWritten) {
    option.level = 0; // thousands of messages about unknown words
    for (const Form& f : kForms) {
        forEachBitFlip(f.whole, 0,
                       [&](const std::string& flipped, auto) { expectFixed(f, flipped); });
        const std::string text = f.whole + " ";
        for (std::size_t begin = 0; begin < text.size();) {
            const std::size_t end = text.find(' ', begin) + 1;
            expectFixed(f, text.substr(0, begin) + text.substr(end));
            expectFixed(f, text.substr(0, end) + text.substr(begin));
            begin = end;
        }
        notices();
    }
}

TEST_F(AnimationText, EveryTruncationIsReadToItsEnd) {
    option.level = 0;
    for (const Form& f : kForms) {
        forEachTruncation(f.whole + " ", 1, [&](const std::string& cut) {
            const Input in(cut);
            std::string out;
            f.pass(in, out);
            EXPECT_EQ(in_animToken(in), 0) << f.name << ", " << cut;
            const Input dropped(cut);
            f.drop(dropped);
            EXPECT_EQ(in_animToken(dropped), 0) << f.name << ", dropped, " << cut;
            expectFixed(f, cut);
        });
    }
}

} // namespace
