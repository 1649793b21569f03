// SPDX-License-Identifier: MIT
// Function curves: the value of one channel of a scene element over time, as a list of keys.
//
// A curve is owned by the record that it animates and owns its keys. Evaluation changes nothing
// and may run on any thread; reading and writing share the state of tinyUtils.h and may not.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

/// Names of the animated channels, indexed by `Fcurve::type`; entry 0 is the empty string.
inline constexpr int kFcurveChannels = 185;
extern const char* const fcv_name[kFcurveChannels];

/// Channel types that the code refers to by number. The four from kFcurveModelHidden to
/// kFcurveModelAlgorithm are the integer channels.
enum FcurveChannel : std::int16_t {
    kFcurveModelHidden = 175,
    kFcurveLightHidden = 176,
    kFcurveCameraHidden = 177,
    kFcurveModelAlgorithm = 178,
};

/// `Fcurve::preExtrapolation` and `Fcurve::postExtrapolation`: the value outside the keys.
enum FcurveExtrapolation : std::int16_t {
    kExtrapolateConstant = 0, ///< the value of the nearest key
    kExtrapolateLinear = 1,   ///< a straight line
    kExtrapolateCycle = 2,    ///< the keys, repeated
};

/// `FcvKey::interpolation` and `Fcurve::interpolation`.
enum FcurveInterpolation : std::int16_t {
    kInterpolateConstant = 0, ///< "CONSTANT": a step
    kInterpolateLinear = 1,   ///< "LINEAR"
    kInterpolateSpline = 2,   ///< "SPLINE": cubic Hermite
};

/// `FcvKey::keyType`.
enum FcvKeyType : std::int16_t { kKeyFreeform = 0, kKeyKeyframe, kKeyKeypath, kKeyRawdata };

/// One key. Keys are in an array in ascending order of time.
// Kept: A key stores its right slope before its left one.
// A reader would expect the order of the text form, which has the left slope first.
struct FcvKey {
    float time;                 ///< frames
    float value;                ///< value at that time, in the channel's unit
    float rightSlope;           ///< outgoing tangent, value units per frame
    float leftSlope;            ///< incoming tangent, value units per frame
    std::int16_t flag;          ///< carried, not interpreted
    std::int16_t interpolation; ///< of the segment to the next key, FcurveInterpolation
    std::int16_t keyType;       ///< FcvKeyType
    std::int16_t splineIndex;   ///< key type 2: point of the path spline that it belongs to, or -1
};

/// One curve. Zero-filled when allocated.
struct Fcurve {
    std::int16_t type;              ///< animated channel: index into `fcv_name`
    FcvKey* keys;                   ///< owned (see `fcvkeyAllocate`); null when there are none
    std::int16_t keyCount;          ///< keys in use
    std::int16_t preExtrapolation;  ///< before the first key, FcurveExtrapolation
    std::int16_t postExtrapolation; ///< after the last key, FcurveExtrapolation
    std::int16_t flags;             ///< carried and written, not interpreted
    std::int16_t interpolation;     ///< decides the slope of linear extrapolation only
    /// Not 0: the times are known to ascend, so that a key is found in logarithmic time. 0:
    /// unknown, and the keys are searched one by one. Set by the reader and by `fcurveCheckOrder`;
    /// after changing times call that again, or store 0.
    std::int16_t ascending;
    /// A channel name that is not in `fcv_name` (type 0), kept so that it is written back; owned
    /// (malloc), null otherwise.
    char* unknownChannel;
};

/// A new zero-filled curve, or null when out of memory.
[[nodiscard]] Fcurve* fcurveAllocate();

/// Memory for keys is allocated in multiples of this.
inline constexpr std::size_t kFcvKeyStep = 8;

/// A zero-filled array with room for `count` keys rounded up to that; the first key has the spline
/// index -1. Null when `count` is below 1 or when out of memory.
[[nodiscard]] FcvKey* fcvkeyAllocate(std::int16_t count);

/// Frees the keys and the curve and sets the pointer to null. Accepts null, and a pointer to null.
void fcurveDispose(Fcurve** curve);

/// Frees the keys and sets the pointer to null. Accepts null, and a pointer to null.
void fcvkeyDispose(FcvKey** keys);

/// Disposes of every curve in the array; the caller keeps the array itself. Does nothing when the
/// array is null or `count` is below 1.
void fcurveArrayDispose(Fcurve** curves, int count);

struct FcurveDisposer {
    void operator()(Fcurve* curve) const noexcept { fcurveDispose(&curve); }
};

/// Checks whether the times of the keys ascend (equal ones are allowed), stores the answer in
/// `curve->ascending` and returns it as 1 or 0. Call this once after building a long curve by hand,
/// and again after changing times. Accepts null (0).
int fcurveCheckOrder(Fcurve* curve);

/// The value at `time` (frames): of the four integer channels 0 or 1, of the others what
/// `fcurveFloatValue` gives. 0 for null and for a curve without keys.
[[nodiscard]] float fcurveValue(const Fcurve* curve, float time);

/// The value at `time` (frames) with extrapolation and interpolation. 0 for null, for a curve
/// without keys, and, with a message, outside the keys when the extrapolation code is illegal.
[[nodiscard]] float fcurveFloatValue(const Fcurve* curve, float time);

/// The value of the key at or before `time` (frames) as an integer: with `mode` 1, 1 when it is
/// greater than 0 and else 0; with another mode, the value plus one half, cut toward zero. Linear
/// extrapolation counts as constant. 0 in the cases where `fcurveFloatValue` finds no key.
[[nodiscard]] std::int32_t fcurveIntegerValue(const Fcurve* curve, float time, std::int32_t mode);

/// True for file versions 2.02 and older, whose keys have no type and end at their "FLAG".
[[nodiscard]] bool fcurveKeysHaveNoType(float version);

/// Writes the curve in its text form, one level deeper than the current one. 0 when it is null,
/// else 1.
int fcurveWriteAsciiAnimation(std::FILE* stream, const Fcurve* curve);

/// Reads a curve whose word "CURVE_TYPE" is the current token. An old curve in `*curve` is disposed
/// of; the caller owns the new one. `*curve` is null when the text ends before any "KEYS". `curve`
/// may be null: the same text is then read and dropped. Never takes more keys than the text holds,
/// whatever count it states.
/// Returns 1, with the first token after the curve as the current one, or 0 at end of file;
/// `*curve` then has the keys read so far, perhaps none, or is null before any "KEYS".
int fcurveReadAsciiAnimation(std::FILE* stream, Fcurve** curve);
