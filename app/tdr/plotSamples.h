// SPDX-License-Identifier: MIT
// A curve as points to draw, evaluated by the toolkit itself.
#pragma once

#include "plotAxis.h"
#include "tinyFcurve.h"

#include <span>
#include <vector>

struct PlotSample {
    double time;
    double value;
};

/// A line without a gap.
struct PlotPiece {
    const char* name; ///< "before" the first key, "inside" the keys, "after" the last one
    std::vector<PlotSample> samples;
};

/// The curve over the frames, in pieces. Values that are no finite numbers leave gaps; where the
/// extrapolation has no meaning there is nothing. At most a few thousand samples, whatever the
/// number of keys.
[[nodiscard]] std::vector<PlotPiece> plotPieces(const Fcurve& curve, const PlotRange& frames);

/// The keys in use.
[[nodiscard]] inline std::span<const FcvKey> plotKeys(const Fcurve& curve) {
    return curve.keys == nullptr || curve.keyCount < 1
               ? std::span<const FcvKey>{}
               : std::span<const FcvKey>{curve.keys, static_cast<std::size_t>(curve.keyCount)};
}
