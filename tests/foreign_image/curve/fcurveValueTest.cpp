// SPDX-License-Identifier: MIT
// Curve values, computed by hand.
#include "foreign_image/animText.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace {

using namespace animtext;

class FcurveValueTest : public AnimText {};

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

enum Mode : std::int16_t { kConstant, kLinear, kCycle }; // of extrapolation

FcvKey key(float time, float value, std::int16_t interpolation = kInterpolateLinear,
           float leftSlope = 0.0F, float rightSlope = 0.0F) {
    return {time, value, rightSlope, leftSlope, 0, interpolation, 0, 0};
}

Curve curveOf(const std::vector<FcvKey>& keys, std::int16_t pre = kConstant,
              std::int16_t post = kConstant, std::int16_t interpolation = 0) {
    Curve curve(fcurveAllocate());
    curve->keys = fcvkeyAllocate(static_cast<std::int16_t>(keys.size()));
    std::copy(keys.begin(), keys.end(), curve->keys);
    curve->keyCount = static_cast<std::int16_t>(keys.size());
    curve->preExtrapolation = pre;
    curve->postExtrapolation = post;
    curve->interpolation = interpolation;
    return curve;
}

const std::vector<FcvKey> kRamp = {key(0, 0), key(10, 10)};
const std::vector<FcvKey> kSloped = {key(0, 1, kInterpolateLinear, 3, 7),
                                     key(2, 5, kInterpolateLinear, 8, 9),
                                     key(4, 6, kInterpolateLinear, 10, 0.25F)};
const std::vector<FcvKey> kSpread = {key(4, 1, 0, 3, 0), key(4, 2, 0, 0, 5)};
const std::vector<FcvKey> kEase = {key(0, 0, kInterpolateSpline), key(10, 1)};
const std::vector<FcvKey> kOne = {key(5, 3)};
const std::vector<FcvKey> kFlat = {key(4, 1), key(4, 2)};
const std::vector<FcvKey> kTwice = {key(0, 0), key(5, 1), key(5, 2), key(9, 4)};
const std::vector<FcvKey> kStep = {key(0, 4, kInterpolateConstant), key(10, 8)};
const std::vector<FcvKey> kOdd = {key(0, 4, 3), key(5, 8, 3), key(9, 1, -1), key(11, 6)};
const std::vector<FcvKey> kEndless = {key(0, 1), key(kInfinity, 2)};
const std::vector<FcvKey> kNoTimes = {key(kNan, 1), key(kNan, 2)};
// s = 1/2, h = 4: 1 * 4 * 1/8 + 2 * 4 * -1/8 = -1/2
const std::vector<FcvKey> kPerFrame = {key(0, 0, kInterpolateSpline, 0, 1), key(4, 0, 0, 2, 0)};

struct ValueCase {
    const char* name;
    const std::vector<FcvKey>& keys;
    std::int16_t pre, post, interpolation;
    float time, value;
};

const ValueCase kValues[] = {
    {"constant before", kRamp, kConstant, kCycle, 0, -3, 0},
    {"constant after", kRamp, kCycle, kConstant, 0, 13, 10},
    {"at the last key", kRamp, kConstant, kConstant, 0, 10, 10},
    {"linear segment", kRamp, kConstant, kConstant, 0, 2.5F, 2.5F},
    {"cycle before", kRamp, kCycle, kCycle, 0, -3, 7},
    {"cycle after", kRamp, kCycle, kCycle, 0, 23, 3},
    {"cycle at the last key", kRamp, kCycle, kCycle, 0, 10, 10},
    {"cycle a whole period after", kRamp, kCycle, kCycle, 0, 20, 10},
    {"cycle far after", kRamp, kCycle, kCycle, 0, 16777213.0F, 3},
    {"cycle far before", kRamp, kCycle, kCycle, 0, -16777213.0F, 7},
    {"cycle to an infinite time", kRamp, kCycle, kCycle, 0, kInfinity, 10},
    {"cycle from an infinite time", kRamp, kCycle, kCycle, 0, -kInfinity, 0},
    {"cycle just before", kRamp, kCycle, kConstant, 0, -1e-30F, 10},
    {"cycle, period 0, before", kFlat, kCycle, kCycle, 0, 3, 1},
    {"cycle, period 0, after", kFlat, kCycle, kCycle, 0, 5, 2},
    {"cycle, period 0, at", kFlat, kCycle, kCycle, 0, 4, 2},
    {"cycle, infinite period", kEndless, kCycle, kCycle, 0, -3, 1},
    {"one key, constant", kOne, kConstant, kConstant, 0, 9, 3},
    {"one key, linear before", kOne, kLinear, kLinear, 1, 1, 3},
    {"one key, cycle after", kOne, kCycle, kCycle, 0, 9, 3},
    {"linear before, secant", kSloped, kLinear, kLinear, 1, -2, -3},
    {"linear before, tangent", kSloped, kLinear, kLinear, 2, -2, -5},
    {"linear after, secant", kSloped, kLinear, kLinear, 1, 8, 8},
    {"linear after, tangent", kSloped, kLinear, kLinear, 0, 8, 7},
    {"linear, keys at one time", kSpread, kLinear, kLinear, 1, 6, 12},
    {"step", kStep, 0, 0, 2, 9.75F, 4},
    {"spline without slopes, middle", kEase, 0, 0, 0, 5, 0.5F},
    {"spline without slopes, at 2", kEase, 0, 0, 0, 2, 0.104F},
    {"spline slopes count per frame", kPerFrame, 0, 0, 0, 2, -0.5F},
    {"unknown interpolation", kOdd, 0, 0, 0, 4, 0},
    {"unknown interpolation, at a key", kOdd, 0, 0, 0, 5, 8},
    {"negative interpolation", kOdd, 0, 0, 0, 10, 0},
    {"equal times: the first one counts", kTwice, 0, 0, 0, 5, 1},
    {"equal times: after them", kTwice, 0, 0, 0, 7, 3},
    {"time is not a number", kRamp, kCycle, kCycle, 0, kNan, 10},
    {"keys that are no number", kNoTimes, 0, 0, 0, 1, 2},
};

TEST_F(FcurveValueTest, ValuesWorkedOutByHand) {
    for (const ValueCase& c : kValues) {
        const Curve curve = curveOf(c.keys, c.pre, c.post, c.interpolation);
        EXPECT_FLOAT_EQ(fcurveFloatValue(curve.get(), c.time), c.value) << c.name << ", walked";
        fcurveCheckOrder(curve.get());
        EXPECT_FLOAT_EQ(fcurveFloatValue(curve.get(), c.time), c.value) << c.name << ", searched";
        EXPECT_FLOAT_EQ(fcurveValue(curve.get(), c.time), c.value) << c.name;
    }
    EXPECT_EQ(messages(), "");
}

TEST_F(FcurveValueTest, SearchAndWalkAgreeForAnyOrder) {
    std::mt19937 random(1);
    int unsorted = 0;
    for (int round = 0; round < 300; ++round) {
        std::vector<FcvKey> keys = {key(-100, 0, kInterpolateConstant)};
        float time = 0;
        for (auto left = random() % 20; left > 0; --left) {
            time += static_cast<float>(random() % 9) - (round % 2 == 0 ? 0.0F : 3.0F);
            keys.push_back(key(time, static_cast<float>(left), kInterpolateConstant));
        }
        keys.push_back(key(200, 99));
        const Curve walked = curveOf(keys);
        const Curve curve = curveOf(keys);
        unsorted += fcurveCheckOrder(curve.get()) == 0 ? 1 : 0;
        for (int half = -199; half < 398; ++half) {
            const float t = static_cast<float>(half) / 2;
            ASSERT_EQ(fcurveFloatValue(curve.get(), t), fcurveFloatValue(walked.get(), t))
                << round << " at " << t;
        }
    }
    EXPECT_GT(unsorted, 50);
    EXPECT_LT(unsorted, 250);
}

TEST_F(FcurveValueTest, OrderIsKnownOnlyAfterChecking) {
    const auto isOrdered = [](float second, float last) {
        const Curve curve = curveOf({key(0, 0), key(second, 1), key(2, 2), key(last, 3)});
        EXPECT_EQ(curve->ascending, 0);
        EXPECT_EQ(fcurveCheckOrder(curve.get()), curve->ascending);
        return curve->ascending == 1;
    };
    EXPECT_TRUE(isOrdered(2, 3));
    EXPECT_FALSE(isOrdered(2.5F, 3));
    EXPECT_FALSE(isOrdered(kNan, 3));
    EXPECT_FALSE(isOrdered(2, 1)) << "the last pair counts too";
    EXPECT_EQ(fcurveCheckOrder(nullptr), 0);
}

TEST_F(FcurveValueTest, IllegalExtrapolationIsReported) {
    const Curve curve = curveOf(kRamp, 3, -1);
    for (const auto& [time, message] :
         {std::pair(-1.0F, "Error - fcurvePreValue: illegal extrapolation mode.\n"),
          std::pair(11.0F, "Error - fcurvePostValue: illegal extrapolation mode\n"),
          std::pair(5.0F, "")}) {
        for (option.level = 0; option.level < 2; ++option.level) {
            const float value = fcurveFloatValue(curve.get(), time);
            EXPECT_EQ(value, *message != '\0' ? 0.0F : 5.0F);
            EXPECT_EQ(messages(), option.level == 1 ? message : "");
            EXPECT_EQ(fcurveIntegerValue(curve.get(), time, 0), 0);
            EXPECT_EQ(messages(), option.level == 1 ? message : "");
        }
    }
}

TEST_F(FcurveValueTest, IntegerValuesStepAndRound) {
    const std::vector<FcvKey> keys = {key(0, -0.7F), key(10, 0.3F, kInterpolateSpline),
                                      key(20, 2.5F), key(30, -1.6F)};
    const struct {
        const char* name;
        std::int16_t pre, post;
        float time;
        std::int32_t mode, value;
    } cases[] = {
        {"off", 0, 0, 0, 1, 0},
        {"on", 0, 0, 10, 1, 1},
        {"between keys the earlier one", 0, 0, 19.9F, 1, 1},
        {"-0.7 is 0", 0, 0, 5, 0, 0},
        {"0.3 is 0", 0, 0, 15, 0, 0},
        {"2.5 is 3", 0, 0, 20, 0, 3},
        {"-1.6 is -1", 0, 0, 31, 2, -1},
        {"linear before is constant", 1, 1, -50, 0, 0},
        {"linear after is constant", 1, 1, 50, 0, -1},
        {"cycle before", 2, 2, -8, 0, 3},
        {"cycle after", 2, 2, 41, 1, 1},
    };
    for (const auto& c : cases) {
        const Curve curve = curveOf(keys, c.pre, c.post, 1);
        EXPECT_EQ(fcurveIntegerValue(curve.get(), c.time, c.mode), c.value) << c.name;
    }
    const Curve huge = curveOf({key(0, 1e30F), key(1, -kInfinity), key(2, kNan)});
    EXPECT_EQ(fcurveIntegerValue(huge.get(), 0, 0), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(fcurveIntegerValue(huge.get(), 1, 0), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(fcurveIntegerValue(huge.get(), 2, 0), 0);
}

TEST_F(FcurveValueTest, IntegerChannelsAreOnOrOff) {
    for (std::int16_t type = 174; type <= 179; ++type) {
        const Curve curve = curveOf({key(0, 0.3F)});
        curve->type = type;
        const bool integer = type >= 175 && type <= 178;
        EXPECT_EQ(fcurveValue(curve.get(), 0), integer ? 1.0F : 0.3F) << type;
        EXPECT_EQ(fcurveIntegerValue(curve.get(), 0, 0), 0) << type;
    }
}

TEST_F(FcurveValueTest, NoCurveAndNoKeysAreZero) {
    const Curve empty(fcurveAllocate());
    for (const int count : {0, 3, -1}) { // a count without keys gives no key
        empty->keyCount = static_cast<std::int16_t>(count);
        for (const Fcurve* curve : {empty.get(), static_cast<Fcurve*>(nullptr)}) {
            EXPECT_EQ(fcurveValue(curve, 1) + fcurveFloatValue(curve, 1), 0.0F);
            EXPECT_EQ(fcurveIntegerValue(curve, 1, 1), 0);
        }
    }
}

TEST_F(FcurveValueTest, KeysAreAllocatedInEights) {
    EXPECT_EQ(fcvkeyAllocate(0), nullptr);
    EXPECT_EQ(fcvkeyAllocate(-5), nullptr);
    for (const int count : {1, 8, 9}) {
        const Curve curve(fcurveAllocate());
        curve->keys = fcvkeyAllocate(static_cast<std::int16_t>(count));
        EXPECT_EQ(curve->keys[0].splineIndex, -1);
        for (int i = 1; i < (count + 7) / 8 * 8; ++i) { // the sanitizer watches the end
            EXPECT_EQ(curve->keys[i].splineIndex, 0);
        }
    }
}

} // namespace
