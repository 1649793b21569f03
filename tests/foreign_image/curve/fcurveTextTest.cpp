// SPDX-License-Identifier: MIT
// The text form of curves.
#include "foreign_image/animText.h"

namespace {

using namespace animtext;

class FcurveTextTest : public AnimText {
  protected:
    /// Reads a curve from text that begins with its first word. The token after it is `animToken`.
    Curve read(std::string_view text, int expected = 1) {
        const Input in(text);
        animSetLineNumber(1);
        in_animToken(in);
        Fcurve* curve = nullptr;
        EXPECT_EQ(fcurveReadAsciiAnimation(in, &curve), expected) << text;
        return Curve(curve);
    }
};

std::string textOf(const Fcurve* curve) {
    return written([curve](std::FILE* f) { fcurveWriteAsciiAnimation(f, curve); });
}

/// Two keys, by hand: the text of a file, with blanks at the ends of lines.
const std::string kTwoKeys =
    lines(1, "CURVE_TYPE LIG_POS|PRE_EXTRAPOLATION 1     POST_EXTRAPOLATION 2|FLAGS 7|"
             "INTERPOLATION SPLINE|KEYS 2") +
    "\n      " +
    lines(2, "TIME 1     VALUE 0.5|LEFT_SLOPE -2     RIGHT_SLOPE 3|"
             "INTERPOLATION LINEAR     FLAG 0|KEYTYPE FREEFORM") +
    "\n      " +
    lines(2, "TIME 24.5     VALUE 1e+06|LEFT_SLOPE 0     RIGHT_SLOPE 0|"
             "INTERPOLATION CONSTANT     FLAG 5     SPLINE_INDEX 9|KEYTYPE KEYPATH");

Curve twoKeys() {
    Curve curve(fcurveAllocate());
    curve->type = 31;
    curve->preExtrapolation = 1;
    curve->postExtrapolation = 2;
    curve->flags = 7;
    curve->interpolation = kInterpolateSpline;
    curve->keys = fcvkeyAllocate(2);
    curve->keyCount = 2;
    curve->keys[0] = {1.0F, 0.5F, 3.0F, -2.0F, 0, kInterpolateLinear, kKeyFreeform, 4};
    curve->keys[1] = {24.5F, 1e6F, 0.0F, 0.0F, 5, kInterpolateConstant, kKeyKeypath, 9};
    return curve;
}

TEST_F(FcurveTextTest, WritesAndReadsItsLines) {
    EXPECT_EQ(textOf(twoKeys().get()), kTwoKeys);
    EXPECT_EQ(animIndentLength, 0);
    EXPECT_EQ(fcurveWriteAsciiAnimation(nullptr, nullptr), 0);

    const Curve curve = read(kTwoKeys + " NEXT");
    ASSERT_NE(curve, nullptr);
    expectLeft("NEXT", "", "");
    EXPECT_EQ(curve->ascending, 1);
    EXPECT_EQ(curve->keys[0].splineIndex, -1) << "not in the text";
    EXPECT_EQ(curve->keys[0].leftSlope, -2.0F);
    EXPECT_EQ(curve->keys[1].time, 24.5F);
    EXPECT_EQ(textOf(curve.get()), kTwoKeys);
}

struct RoundTripCase {
    const char* name;
    const char* in;
    /// Blanks and line ends as one blank, $ for the lines of a curve without any, % for those of a
    /// key; null for no curve.
    const char* out;
    const char* next;
    const char* messages;
    const char* notices;
};

constexpr std::string_view kPlainCurve =
    " PRE_EXTRAPOLATION 0 POST_EXTRAPOLATION 0 FLAGS 0 INTERPOLATION CONSTANT KEYS ";
constexpr std::string_view kPlainKey =
    " LEFT_SLOPE 0 RIGHT_SLOPE 0 INTERPOLATION LINEAR FLAG 0 KEYTYPE ";

constexpr RoundTripCase kRoundTrips[] = {
    {"defaults of a key", "CURVE_TYPE CAM_FOV KEYS 1 VALUE 3 KEYTYPE RAWDATA X",
     "CURVE_TYPE CAM_FOV$1 TIME 0 VALUE 3%RAWDATA", "X", "", ""},
    {"no keys, but their count", "CURVE_TYPE CAM_FAR KEYS 0 X Y", "CURVE_TYPE CAM_FAR$0", "X", "",
     ""},
    {"a negative count", "CURVE_TYPE CAM_FAR KEYS -3 X Y", "CURVE_TYPE CAM_FAR$0", "X", "", ""},
    {"ends before its keys", "CURVE_TYPE CAM_FOV FLAGS 3 X Y", nullptr, "X", "", ""},
    {"a foreign first word", "X Y Z", nullptr, "Y", "", "unknown X 1;"},
    {"unknown words",
     "CURVE_TYPE CAM_FOV INTERPOLATION CUBIC KEYS 1 TIME 1 INTERPOLATION ODD KEYTYPE NONE X",
     "CURVE_TYPE CAM_FOV$1 TIME 1 VALUE 0%FREEFORM", "X",
     "FcurveReadAsciiAnimation: error, unknown interp animToken 'CUBIC'.\n"
     "FcvkeyReadAsciiAnimation: error, unknown interp animToken 'ODD'.\n"
     "FcvkeyReadAsciiAnimation: error, unknown keytype animToken 'NONE'.\n",
     "unknown CUBIC 1;unknown ODD 1;unknown NONE 1;"},
    {"an unknown channel keeps its name", "CURVE_TYPE OF_OURS KEYS 0 X", "CURVE_TYPE OF_OURS$0",
     "X", "", "kept OF_OURS 1;"},
    {"no channel at all", "CURVE_TYPE  PRE_EXTRAPOLATION 0 KEYS 0 X", "CURVE_TYPE$0", "X", "", ""},
    {"fewer keys than announced", "CURVE_TYPE MDL_POS KEYS 32767 TIME 4 KEYTYPE KEYFRAME X",
     "CURVE_TYPE MDL_POS$1 TIME 4 VALUE 0%KEYFRAME", "X", "", "missing KEYS 1;"},
    {"a word after its keys", "CURVE_TYPE MDL_POS KEYS 1 TIME 4 KEYTYPE KEYFRAME TIME 5",
     "CURVE_TYPE MDL_POS$1 TIME 4 VALUE 0%KEYFRAME", "TIME", "", ""},
};

TEST_F(FcurveTextTest, ReadAndWrittenAgain) {
    for (const RoundTripCase& c : kRoundTrips) {
        SCOPED_TRACE(c.name);
        const Curve curve = read(c.in);
        expectLeft(c.next, c.messages, c.notices);
        ASSERT_EQ(curve == nullptr, c.out == nullptr);
        if (c.out != nullptr) {
            const std::string out = textOf(curve.get());
            EXPECT_EQ(squeezed(out), expanded(expanded(c.out, '$', kPlainCurve), '%', kPlainKey));
            EXPECT_EQ(textOf(read(out + " X").get()), out) << "a second time";
        }
        notices();
    }
}

TEST_F(FcurveTextTest, OldKeysEndAfterTheirFlag) {
    for (const float version : {2.0F, 2.02F, 2.03F}) {
        animFileVersion = version;
        const Curve curve = read("CURVE_TYPE MDL_POS KEYS 2 TIME 1 FLAG 3 TIME 2 FLAG 4 X");
        const int keys = version < 2.025F ? 2 : 1; // newer ones continue to their type
        ASSERT_EQ(curve->keyCount, keys) << version;
        EXPECT_EQ(curve->keys[0].flag, keys == 2 ? 3 : 4);
        EXPECT_EQ(curve->keys[keys - 1].time, 2.0F);
        EXPECT_STREQ(animToken, "X");
        EXPECT_EQ(notices() == "", keys == 2);
    }
}

TEST_F(FcurveTextTest, WhatStoodThereIsReplacedOrNothingTaken) {
    const Input in(kTwoKeys + " NEXT");
    in_animToken(in);
    EXPECT_EQ(fcurveReadAsciiAnimation(in, nullptr), 1);
    EXPECT_STREQ(animToken, "NEXT");
    Fcurve* curve = twoKeys().release();
    const Input none("CURVE_TYPE CAM_FOV X");
    in_animToken(none);
    EXPECT_EQ(fcurveReadAsciiAnimation(none, &curve), 1);
    EXPECT_EQ(curve, nullptr);
}

TEST_F(FcurveTextTest, EveryTruncationEnds) {
    const std::string whole = kTwoKeys.substr(4); // begins with its first word
    const std::size_t secondKey = whole.rfind("TIME");
    forEachTruncation(whole + "x", 1, [&](const std::string& cut) {
        const std::size_t length = cut.size();
        const Input in(cut);
        in_animToken(in);
        Fcurve* read = nullptr;
        const int result = fcurveReadAsciiAnimation(in, &read);
        const Curve curve(read);
        if (cut.back() == ' ' || cut.back() == '\n') { // no word is cut
            EXPECT_EQ(result, length > whole.rfind("KEYPATH") ? 1 : 0) << length;
            EXPECT_EQ(curve != nullptr && curve->keyCount == 2, length > secondKey) << length;
        }
        EXPECT_TRUE(curve == nullptr || curve->keyCount <= 2) << length;
        EXPECT_EQ(in_animToken(in), 0) << length;
    });
    EXPECT_NE(read("CURVE_TYPE CAM_FOV KEYS 0", 0), nullptr) << "kept also where nothing follows";
}

TEST_F(FcurveTextTest, EveryChannelSurvives) {
    const auto again = [this](int type) {
        const Curve curve = twoKeys();
        curve->type = static_cast<std::int16_t>(type);
        return read(textOf(curve.get()) + " X")->type;
    };
    for (int type = 0; type < kFcurveChannels; ++type) {
        EXPECT_EQ(again(type), type);
    }
    for (const int type : {-1, 185, 32767}) {
        EXPECT_EQ(again(type), 0) << type;
    }
    constexpr std::pair<int, const char*> kKnown[] = {
        {0, ""},           {1, "MDL_SCL_X"},     {7, "MDL_POS"},    {9, "CAM_POS"},
        {22, "LIG_COL_R"}, {68, "TXT3D_STR"},    {139, "MDL_POSX"}, {163, "WAV_SCLX"},
        {175, "MDL_HID"},  {176, "LIG_HID"},     {177, "CAM_HID"},  {178, "MDL_ALGO"},
        {32, "LIG_INT"},   {184, "MDL_WCLUSTER"}};
    for (const auto& [index, name] : kKnown) {
        EXPECT_STREQ(fcv_name[index], name);
    }
}

} // namespace
