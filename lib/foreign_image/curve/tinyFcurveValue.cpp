// SPDX-License-Identifier: MIT
// Evaluation. Both forms, float and integer, first find the spot on the curve for a time, and then
// compute its value.
#include "tinyFcurve.h"
#include "tinySoftType.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

namespace {

using Keys = std::span<const FcvKey>;

enum class Where : std::uint8_t {
    Nowhere, ///< no key, or an illegal extrapolation
    AtKey,   ///< the value of key `key`
    Inside,  ///< between the keys `key` - 1 and `key`
    Before,  ///< on the straight line to the first of several keys
    After,   ///< on the straight line from the last of several keys
};

struct Spot {
    Where where;
    std::size_t key;
    double time; ///< moved into the range of the keys if they cycle
};

Keys keysOf(const Fcurve* curve) {
    return curve == nullptr || curve->keys == nullptr || curve->keyCount < 1
               ? Keys{}
               : Keys{curve->keys, static_cast<std::size_t>(curve->keyCount)};
}

/// The first key after key 0 that is not before `time`; the number of keys if there is none.
std::size_t firstNotBefore(const Fcurve& curve, Keys keys, double time) {
    const auto reached = [time](const FcvKey& key) { return double{key.time} >= time; };
    const auto later = keys.subspan(1);
    const auto found = curve.ascending != 0
                           ? std::partition_point(later.begin(), later.end(),
                                                  [&](const FcvKey& k) { return !reached(k); })
                           : std::find_if(later.begin(), later.end(), reached);
    return 1 + static_cast<std::size_t>(found - later.begin());
}

/// The spot of a time within the keys.
Spot search(const Fcurve& curve, Keys keys, double time) {
    const std::size_t key = firstNotBefore(curve, keys, time);
    if (key == keys.size()) { // only if a time is NaN
        return {Where::AtKey, keys.size() - 1, time};
    }
    return {time < double{keys[key].time} ? Where::Inside : Where::AtKey, key, time};
}

/// Whether times can cycle over the keys; if not, the nearest key applies.
bool cycles(Keys keys, double time) {
    const double period = double{keys.back().time} - double{keys.front().time};
    return keys.size() > 1 && period > 0.0 && std::isfinite(period) && std::isfinite(time);
}

/// The equivalent of `time`, which is before the keys, in [first, last).
double cycledForward(Keys keys, double time) {
    const double first = keys.front().time;
    const double last = keys.back().time;
    const double distance = std::fmod(first - time, last - first);
    return distance == 0.0 ? first : std::min(last - distance, std::nextafter(last, first));
}

/// The equivalent of `time`, which is after the keys, in (first, last].
double cycledBack(Keys keys, double time) {
    const double first = keys.front().time;
    const double last = keys.back().time;
    const double distance = std::fmod(time - last, last - first);
    return distance == 0.0 ? last : std::max(first + distance, std::nextafter(first, last));
}

/// One end of the keys: its member of `Fcurve`, and the behaviour beyond it.
struct End {
    std::int16_t Fcurve::*extrapolation;
    Where line;
    double (*cycled)(Keys, double);
    const char* complaint;
};

constexpr End kFront = {&Fcurve::preExtrapolation, Where::Before, cycledForward,
                        "Error - fcurvePreValue: illegal extrapolation mode.\n"};
// Kept: The message about an illegal extrapolation after the keys has no full stop.
// A reader would expect it to end like the message for a time before the keys.
constexpr End kBack = {&Fcurve::postExtrapolation, Where::After, cycledBack,
                       "Error - fcurvePostValue: illegal extrapolation mode\n"};

/// The spot of a time beyond an end, whose key is `key`. With Where::Inside the time has been moved
/// into the range of the keys and must be searched.
Spot beyond(const End& end, const Fcurve& curve, Keys keys, std::size_t key, double time) {
    const Spot atKey = {Where::AtKey, key, time};
    switch (curve.*end.extrapolation) {
    case kExtrapolateConstant:
        return atKey;
    case kExtrapolateLinear:
        return keys.size() == 1 ? atKey : Spot{end.line, key, time};
    case kExtrapolateCycle:
        return cycles(keys, time) ? Spot{Where::Inside, key, end.cycled(keys, time)} : atKey;
    default:
        optionPrint("%s", end.complaint);
        return {Where::Nowhere, 0, time};
    }
}

Spot spotOf(const Fcurve* curve, double time) {
    const Keys keys = keysOf(curve);
    if (curve == nullptr || keys.empty()) {
        return {Where::Nowhere, 0, time};
    }
    Spot spot = {Where::Inside, 0, time};
    if (time < double{keys.front().time}) {
        spot = beyond(kFront, *curve, keys, 0, time);
    }
    if (spot.where == Where::Inside && spot.time >= double{keys.back().time}) {
        spot = beyond(kBack, *curve, keys, keys.size() - 1, spot.time);
    }
    return spot.where == Where::Inside ? search(*curve, keys, spot.time) : spot;
}

/// The slope from `a` to `b` on a linear curve, else `tangent`.
double slope(const Fcurve& curve, const FcvKey& a, const FcvKey& b, float tangent) {
    const double distance = double{b.time} - double{a.time};
    return curve.interpolation == kInterpolateLinear && distance != 0.0
               ? (double{b.value} - double{a.value}) / distance
               : double{tangent};
}

double step(const FcvKey& a, const FcvKey& /*b*/, double /*time*/) {
    return a.value;
}

double line(const FcvKey& a, const FcvKey& b, double time) {
    const double share = (time - double{a.time}) / (double{b.time} - double{a.time});
    return double{a.value} + (double{b.value} - double{a.value}) * share;
}

double hermite(const FcvKey& a, const FcvKey& b, double time) {
    const double h = double{b.time} - double{a.time};
    const double s = (time - double{a.time}) / h;
    const double s2 = s * s;
    const double s3 = s2 * s;
    return double{a.value} * (2.0 * s3 - 3.0 * s2 + 1.0) + double{b.value} * (3.0 * s2 - 2.0 * s3) +
           double{a.rightSlope} * h * (s3 - 2.0 * s2 + s) + double{b.leftSlope} * h * (s3 - s2);
}

/// By FcurveInterpolation.
constexpr double (*kSegments[])(const FcvKey&, const FcvKey&, double) = {step, line, hermite};

double between(const FcvKey& a, const FcvKey& b, double time) {
    const auto kind = static_cast<std::size_t>(a.interpolation);
    return a.interpolation >= 0 && kind < std::size(kSegments) ? kSegments[kind](a, b, time) : 0.0;
}

double floatAt(const Fcurve* curve, const Spot& spot) {
    const Keys keys = keysOf(curve);
    switch (spot.where) {
    case Where::AtKey:
        return keys[spot.key].value;
    case Where::Inside:
        return between(keys[spot.key - 1], keys[spot.key], spot.time);
    case Where::Before:
        return double{keys[0].value} - (double{keys[0].time} - spot.time) *
                                           slope(*curve, keys[0], keys[1], keys[0].leftSlope);
    case Where::After: {
        const FcvKey& last = keys.back();
        return double{last.value} + (spot.time - double{last.time}) *
                                        slope(*curve, keys[keys.size() - 2], last, last.rightSlope);
    }
    case Where::Nowhere:
        break;
    }
    return 0.0;
}

/// `value` as an integer, rounded toward zero and clamped; 0 for NaN.
std::int32_t cut(double value) {
    using Limits = std::numeric_limits<std::int32_t>;
    return std::isnan(value) ? 0
                             : static_cast<std::int32_t>(
                                   std::clamp(value, double{Limits::min()}, double{Limits::max()}));
}

bool isIntegerChannel(std::int16_t type) {
    return type >= kFcurveModelHidden && type <= kFcurveModelAlgorithm;
}

} // namespace

int fcurveCheckOrder(Fcurve* curve) {
    if (curve == nullptr) {
        return 0;
    }
    const Keys keys = keysOf(curve);
    curve->ascending = 1;
    for (std::size_t i = 0; i < keys.size(); ++i) {
        if (!(keys[i].time >= keys[i == 0 ? 0 : i - 1].time)) { // also false for NaN
            curve->ascending = 0;
        }
    }
    return curve->ascending;
}

float fcurveValue(const Fcurve* curve, float time) {
    // Kept: The selector channel evaluates to 0 or 1 like the on/off channels.
    // A reader would expect MDL_ALGO to give the number of the algorithm. All four integer channels
    // give an on/off value here; `fcurveIntegerValue` with another mode gives the number.
    return curve != nullptr && isIntegerChannel(curve->type)
               ? static_cast<float>(fcurveIntegerValue(curve, time, 1))
               : fcurveFloatValue(curve, time);
}

float fcurveFloatValue(const Fcurve* curve, float time) {
    return static_cast<float>(floatAt(curve, spotOf(curve, time)));
}

std::int32_t fcurveIntegerValue(const Fcurve* curve, float time, std::int32_t mode) {
    const Spot spot = spotOf(curve, time);
    if (spot.where == Where::Nowhere) {
        return 0;
    }
    const std::size_t key = spot.where == Where::Inside ? spot.key - 1 : spot.key;
    const double value = keysOf(curve)[key].value;
    return mode == 1 ? (value > 0.0 ? 1 : 0) : cut(value + 0.5);
}
