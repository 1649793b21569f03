// SPDX-License-Identifier: MIT
// The drawable pieces of a curve, evaluated by the toolkit itself.
#pragma once

#include "plotAxis.h"
#include "tinyFcurve.h"

#include <string_view>
#include <vector>

struct PlotSample {
    double time;
    double value;

    bool operator==(const PlotSample&) const = default;
};

/// The least and the greatest value within one column of the drawing.
struct PlotColumn {
    double time; ///< its middle
    PlotRange values;

    bool operator==(const PlotColumn&) const = default;
};

/// A stretch of a curve without a gap: a line through every key and every turn, or, if there are
/// too many of them to draw, the band that such a line fills.
struct PlotPiece {
    std::string_view name; ///< "before" the first key, "inside" the keys, "after" the last one
    std::vector<PlotSample> line;
    std::vector<PlotColumn> band; ///< empty: the piece is a line

    bool operator==(const PlotPiece&) const = default;
};

/// The curve over the frames, in pieces. Values that are not finite leave gaps, and an unknown
/// extrapolation gives no piece. The visible extremes are exact if the keys are in order of time.
/// At most a few thousand samples, whatever the number of keys.
[[nodiscard]] std::vector<PlotPiece> plotPieces(const Fcurve& curve, const PlotRange& frames);
