// SPDX-License-Identifier: MIT
// The text form of curves.
#include "animText.h"

#include <vector>

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

/// Two keys, by hand: what a file holds, blanks at the ends of lines included.
constexpr std::string_view kTwoKeys =
    "\n   CURVE_TYPE LIG_POS "
    "\n   PRE_EXTRAPOLATION 1     POST_EXTRAPOLATION 2 "
    "\n   FLAGS 7 "
    "\n   INTERPOLATION SPLINE "
    "\n   KEYS 2 "
    "\n      "
    "\n      TIME 1     VALUE 0.5 "
    "\n      LEFT_SLOPE -2     RIGHT_SLOPE 3 "
    "\n      INTERPOLATION LINEAR     FLAG 0 "
    "\n      KEYTYPE FREEFORM "
    "\n      "
    "\n      TIME 24.5     VALUE 1e+06 "
    "\n      LEFT_SLOPE 0     RIGHT_SLOPE 0 "
    "\n      INTERPOLATION CONSTANT     FLAG 5     SPLINE_INDEX 9 "
    "\n      KEYTYPE KEYPATH ";

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

TEST_F(FcurveTextTest, WritesItsLines) {
    EXPECT_EQ(textOf(twoKeys().get()), kTwoKeys);
    EXPECT_EQ(animIndentLength, 0);
    EXPECT_EQ(written([](std::FILE* f) { EXPECT_EQ(fcurveWriteAsciiAnimation(f, nullptr), 0); }),
              "");
}

TEST_F(FcurveTextTest, ReadsItsLines) {
    const Curve curve = read(std::string(kTwoKeys) + " NEXT");
    ASSERT_NE(curve, nullptr);
    EXPECT_STREQ(animToken, "NEXT");
    EXPECT_STREQ(fcv_name[curve->type], "LIG_POS");
    EXPECT_EQ(curve->preExtrapolation, 1);
    EXPECT_EQ(curve->postExtrapolation, 2);
    EXPECT_EQ(curve->flags, 7);
    EXPECT_EQ(curve->interpolation, kInterpolateSpline);
    EXPECT_EQ(curve->ascending, 1);
    ASSERT_EQ(curve->keyCount, 2);
    EXPECT_EQ(curve->keys[0].leftSlope, -2.0F);
    EXPECT_EQ(curve->keys[0].rightSlope, 3.0F);
    EXPECT_EQ(curve->keys[0].splineIndex, -1) << "not in the text";
    EXPECT_EQ(curve->keys[1].time, 24.5F);
    EXPECT_EQ(curve->keys[1].value, 1e6F);
    EXPECT_EQ(curve->keys[1].flag, 5);
    EXPECT_EQ(curve->keys[1].keyType, kKeyKeypath);
    EXPECT_EQ(curve->keys[1].splineIndex, 9);
    EXPECT_EQ(textOf(curve.get()), kTwoKeys);
    EXPECT_EQ(messages() + notices(), "");
}

struct RoundTripCase {
    const char* name;
    const char* in;
    const char* out; ///< blanks and line ends as one blank; null for no curve
    const char* next;
    const char* messages;
    const char* notices;
};

/// The text with every run of blanks and line ends as one blank.
std::string squeezed(const std::string& text) {
    std::string all;
    for (const Input in(text); in_animToken(in) != 0;) {
        all += all.empty() ? "" : " ";
        all += animToken;
    }
    return all;
}

const RoundTripCase kRoundTrips[] = {
    {"defaults of a key", "CURVE_TYPE CAM_FOV KEYS 1 VALUE 3 KEYTYPE RAWDATA X",
     "CURVE_TYPE CAM_FOV PRE_EXTRAPOLATION 0 POST_EXTRAPOLATION 0 FLAGS 0 INTERPOLATION CONSTANT "
     "KEYS 1 TIME 0 VALUE 3 LEFT_SLOPE 0 RIGHT_SLOPE 0 INTERPOLATION LINEAR FLAG 0 KEYTYPE RAWDATA",
     "X", "", ""},
    {"no keys, but their count", "CURVE_TYPE CAM_FAR KEYS 0 X Y",
     "CURVE_TYPE CAM_FAR PRE_EXTRAPOLATION 0 POST_EXTRAPOLATION 0 FLAGS 0 INTERPOLATION CONSTANT "
     "KEYS 0",
     "X", "", ""},
    {"a negative count", "CURVE_TYPE CAM_FAR KEYS -3 X Y",
     "CURVE_TYPE CAM_FAR PRE_EXTRAPOLATION 0 POST_EXTRAPOLATION 0 FLAGS 0 INTERPOLATION CONSTANT "
     "KEYS 0",
     "X", "", ""},
    {"ends before its keys", "CURVE_TYPE CAM_FOV FLAGS 3 X Y", nullptr, "X", "", ""},
    {"a foreign first word", "X Y Z", nullptr, "Y", "", "unknown X 1;"},
    {"unknown words",
     "CURVE_TYPE CAM_FOV INTERPOLATION CUBIC KEYS 1 TIME 1 INTERPOLATION ODD KEYTYPE NONE X",
     "CURVE_TYPE CAM_FOV PRE_EXTRAPOLATION 0 POST_EXTRAPOLATION 0 FLAGS 0 INTERPOLATION CONSTANT "
     "KEYS 1 TIME 1 VALUE 0 LEFT_SLOPE 0 RIGHT_SLOPE 0 INTERPOLATION LINEAR FLAG 0 KEYTYPE "
     "FREEFORM",
     "X",
     "FcurveReadAsciiAnimation: error, unknown interp animToken 'CUBIC'.\n"
     "FcvkeyReadAsciiAnimation: error, unknown interp animToken 'ODD'.\n"
     "FcvkeyReadAsciiAnimation: error, unknown keytype animToken 'NONE'.\n",
     "unknown CUBIC 1;unknown ODD 1;unknown NONE 1;"},
    {"an unknown channel keeps its name", "CURVE_TYPE OF_OURS KEYS 0 X",
     "CURVE_TYPE OF_OURS PRE_EXTRAPOLATION 0 POST_EXTRAPOLATION 0 FLAGS 0 INTERPOLATION CONSTANT "
     "KEYS 0",
     "X", "", "unknown OF_OURS 1;"},
    {"no channel at all", "CURVE_TYPE  PRE_EXTRAPOLATION 2 KEYS 0 X",
     "CURVE_TYPE PRE_EXTRAPOLATION 2 POST_EXTRAPOLATION 0 FLAGS 0 INTERPOLATION CONSTANT KEYS 0",
     "X", "", ""},
    {"fewer keys than announced", "CURVE_TYPE MDL_POS KEYS 32767 TIME 4 KEYTYPE KEYFRAME X",
     "CURVE_TYPE MDL_POS PRE_EXTRAPOLATION 0 POST_EXTRAPOLATION 0 FLAGS 0 INTERPOLATION CONSTANT "
     "KEYS 1 TIME 4 VALUE 0 LEFT_SLOPE 0 RIGHT_SLOPE 0 INTERPOLATION LINEAR FLAG 0 KEYTYPE "
     "KEYFRAME",
     "X", "", "missing X 1;"},
    {"a word after its keys", "CURVE_TYPE MDL_POS KEYS 1 TIME 4 KEYTYPE KEYFRAME TIME 5", //
     "CURVE_TYPE MDL_POS PRE_EXTRAPOLATION 0 POST_EXTRAPOLATION 0 FLAGS 0 INTERPOLATION CONSTANT "
     "KEYS 1 TIME 4 VALUE 0 LEFT_SLOPE 0 RIGHT_SLOPE 0 INTERPOLATION LINEAR FLAG 0 KEYTYPE "
     "KEYFRAME",
     "TIME", "", ""},
};

TEST_F(FcurveTextTest, ReadAndWrittenAgain) {
    for (const RoundTripCase& c : kRoundTrips) {
        const Curve curve = read(c.in);
        EXPECT_STREQ(animToken, c.next) << c.name;
        EXPECT_EQ(messages(), c.messages) << c.name;
        EXPECT_EQ(notices(), c.notices) << c.name;
        ASSERT_EQ(curve == nullptr, c.out == nullptr) << c.name;
        if (c.out != nullptr) {
            const std::string out = textOf(curve.get());
            EXPECT_EQ(squeezed(out), c.out) << c.name;
            EXPECT_EQ(textOf(read(out + " X").get()), out) << c.name << ", a second time";
        }
        notices();
    }
}

TEST_F(FcurveTextTest, OldKeysEndAfterTheirFlag) {
    constexpr std::string_view kText = "CURVE_TYPE MDL_POS KEYS 2 TIME 1 FLAG 3 TIME 2 FLAG 4 X";
    for (const float version : {2.0F, 2.02F}) {
        animFileVersion = version;
        const Curve curve = read(kText);
        ASSERT_EQ(curve->keyCount, 2) << version;
        EXPECT_EQ(curve->keys[0].flag, 3);
        EXPECT_EQ(curve->keys[1].time, 2.0F);
        EXPECT_STREQ(animToken, "X");
        EXPECT_EQ(notices(), "");
    }
    animFileVersion = 2.03F;
    const Curve curve = read(kText);
    ASSERT_EQ(curve->keyCount, 1) << "newer keys go on to their type";
    EXPECT_EQ(curve->keys[0].time, 2.0F);
    EXPECT_EQ(curve->keys[0].flag, 4);
    EXPECT_STREQ(animToken, "X");
}

TEST_F(FcurveTextTest, WithoutAPlaceTheTextIsDropped) {
    const Input in(std::string(kTwoKeys) + " NEXT");
    in_animToken(in);
    EXPECT_EQ(fcurveReadAsciiAnimation(in, nullptr), 1);
    EXPECT_STREQ(animToken, "NEXT");
}

TEST_F(FcurveTextTest, TheCurveThatWasThereIsReplaced) {
    Fcurve* curve = twoKeys().release();
    const Input in("CURVE_TYPE CAM_FOV X");
    in_animToken(in);
    EXPECT_EQ(fcurveReadAsciiAnimation(in, &curve), 1);
    EXPECT_EQ(curve, nullptr);
}

TEST_F(FcurveTextTest, EveryTruncationEnds) {
    const std::string whole(kTwoKeys.substr(4)); // begins with its first word
    const std::size_t secondKey = whole.rfind("TIME");
    for (std::size_t length = 1; length <= whole.size(); ++length) {
        const Input in(whole.substr(0, length));
        in_animToken(in);
        Fcurve* read = nullptr;
        const int result = fcurveReadAsciiAnimation(in, &read);
        const Curve curve(read);
        if (whole[length - 1] == ' ' || whole[length - 1] == '\n') { // no word is cut
            EXPECT_EQ(result, length > whole.rfind("KEYPATH") ? 1 : 0) << length;
            EXPECT_EQ(curve != nullptr && curve->keyCount == 2, length > secondKey) << length;
        }
        EXPECT_TRUE(curve == nullptr || curve->keyCount <= 2) << length;
        EXPECT_EQ(in_animToken(in), 0) << length;
    }
    const Curve noKeys = read("CURVE_TYPE CAM_FOV KEYS 0", 0);
    EXPECT_NE(noKeys, nullptr) << "kept also where nothing follows";
}

TEST_F(FcurveTextTest, EveryChannelSurvives) {
    for (std::int16_t type = 0; type < kFcurveChannels; ++type) {
        const Curve curve = twoKeys();
        curve->type = type;
        EXPECT_EQ(read(textOf(curve.get()) + " X")->type, type);
    }
    for (const int type : {-1, 185, 32767}) {
        const Curve curve = twoKeys();
        curve->type = static_cast<std::int16_t>(type);
        EXPECT_EQ(read(textOf(curve.get()) + " X")->type, 0) << type;
    }
}

TEST_F(FcurveTextTest, ChannelsStandAtTheirNumbers) {
    const struct {
        int index;
        const char* name;
    } kKnown[] = {{0, ""},           {1, "MDL_SCL_X"},     {7, "MDL_POS"},    {9, "CAM_POS"},
                  {22, "LIG_COL_R"}, {68, "TXT3D_STR"},    {139, "MDL_POSX"}, {163, "WAV_SCLX"},
                  {175, "MDL_HID"},  {176, "LIG_HID"},     {177, "CAM_HID"},  {178, "MDL_ALGO"},
                  {32, "LIG_INT"},   {184, "MDL_WCLUSTER"}};
    for (const auto& known : kKnown) {
        EXPECT_STREQ(fcv_name[known.index], known.name);
    }
}

} // namespace
