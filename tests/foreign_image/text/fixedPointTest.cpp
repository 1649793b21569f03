// SPDX-License-Identifier: MIT
// Damaged text: whatever is read from it, writing and reading it again gives the same text.
#include "foreign_image/curve/position.h"

namespace {

using namespace animtext;

class FixedPointTest : public AnimText {};

constexpr const char* kEnd = " LAST"; // a look-ahead that no reader knows

std::string passCurve(const std::string& text) {
    const Input in(text + kEnd);
    in_animToken(in);
    Fcurve* read = nullptr;
    fcurveReadAsciiAnimation(in, &read);
    const Curve curve(read);
    return written([&](std::FILE* f) { fcurveWriteAsciiAnimation(f, curve.get()); });
}

std::string passSpline(const std::string& text) {
    const Input in(text + kEnd);
    in_animToken(in);
    const OwnedSpline spline(splineAllocate());
    splineReadAsciiAnimation(in, spline.get());
    return written([&](std::FILE* f) { splineWriteAsciiAnimation(f, spline.get()); });
}

std::string passPosition(const std::string& text) {
    const Input in(text + kEnd);
    Position position;
    position.read(in);
    return position.write();
}

std::string passBody(const std::string& text) {
    const Input in(text);
    const OwnedSpline spline(splineReadAscii(in, nullptr, nullptr));
    const std::string out = written([&](std::FILE* f) { splineWriteAscii(f, spline.get(), ""); });
    return out.substr(std::min<std::size_t>(out.size(), 8)); // the caller reads the word "spline"
}

struct Pass {
    const char* name;
    std::string (*pass)(const std::string&); ///< reads, and writes again
    const char* text;
};

const Pass kPasses[] = {
    {"curve", passCurve,
     "CURVE_TYPE CAM_FOV PRE_EXTRAPOLATION 1 POST_EXTRAPOLATION 2 FLAGS 3 INTERPOLATION LINEAR "
     "KEYS 2 TIME 1 VALUE -2.5 LEFT_SLOPE 1e-3 RIGHT_SLOPE 4 INTERPOLATION SPLINE FLAG 5 "
     "SPLINE_INDEX 6 KEYTYPE KEYPATH TIME 2 VALUE 3 FLAG 9 KEYTYPE RAWDATA"},
    {"spline", passSpline,
     "SPLINE BEZIER NAME 'a b' CLOSE PHANTOM TENSION 0.5 STEP 3 CONSTRAINT C1 SEGMENT CURVE "
     "KEYFRAME 1 KEYLIST 2 3 POINTS 2 POSITION 1 2 3 PREVIOUS 4 5 6 NEXT 7 8 9 CONSTRAINT G2 "
     "SEGMENT LINEAR FLAG 65536 POSITION -1 0 1e9 WIRE_COLOUR 4 LINE_TYPE 5 SELECTED UNSELECTED"},
    {"static position", passPosition, "STATIC 1 2.5 -3"},
    {"constrained position", passPosition, "CONSTRAINT 2 'the eye'"},
    {"position on a path", passPosition,
     "PATH CURVE_TYPE CAM_POS KEYS 1 TIME 1 KEYTYPE KEYFRAME SPLINE LINEAR POINTS 1 POSITION 1 2 "
     "3"},
    {"position on a model", passPosition, "PATH_MODEL CURVE_TYPE CAM_POS KEYS 0 NAME 'm'"},
    {"body of a spline file", passBody,
     "{ name \"a b\" type BEZIER nbKeys 2 tension 0.5 step 3 close phantom constraint C1 segment "
     "CURVE controlPoints { [0] position 1 2 3 previous 4 5 6 next 7 8 9 constraint G2 segment "
     "LINEAR flag ( SELECTED ) [1] position -1 0 1e9 } }"},
};

TEST_F(FixedPointTest, EverySingleBitFlipAndEveryWordRemovedOrDoubled) {
    option.level = 0; // thousands of messages about unknown words
    for (const Pass& c : kPasses) {
        const auto expectFixed = [&c](const std::string& text) {
            const std::string once = c.pass(text);
            EXPECT_EQ(c.pass(once), once) << c.name << ", from " << testing::PrintToString(text);
        };
        forEachBitFlip(c.text, 0, [&](const std::string& flipped, auto) { expectFixed(flipped); });
        const std::string text = std::string(c.text) + " ";
        for (std::size_t begin = 0; begin < text.size();) {
            const std::size_t end = text.find(' ', begin) + 1;
            expectFixed(text.substr(0, begin) + text.substr(end));
            expectFixed(text.substr(0, end) + text.substr(begin));
            begin = end;
        }
        notices();
    }
}

} // namespace
