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

TEST_F(FcurveTextTest, WhatStoodThereIsReplaced) {
    Fcurve* curve = twoKeys().release();
    const Input none("CURVE_TYPE CAM_FOV X");
    in_animToken(none);
    EXPECT_EQ(fcurveReadAsciiAnimation(none, &curve), 1);
    EXPECT_EQ(curve, nullptr);
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
