// SPDX-License-Identifier: MIT
// A curve as what is to be drawn of it, evaluated by the toolkit itself.
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

/// The least and the most value within one column of the picture.
struct PlotColumn {
    double time; ///< its middle
    PlotRange values;

    bool operator==(const PlotColumn&) const = default;
};

/// A stretch of a curve without a gap: a line through every key and every turn, or, where there are
/// more of them than can be drawn, the band that such a line fills.
struct PlotPiece {
    std::string_view name; ///< "before" the first key, "inside" the keys, "after" the last one
    std::vector<PlotSample> line;
    std::vector<PlotColumn> band; ///< empty: the piece is a line

    bool operator==(const PlotPiece&) const = default;
};

/// The curve over the frames, in pieces. Values that are no finite numbers leave gaps; where the
/// extrapolation has no meaning there is nothing. The extremes in view are the curve's, when its
/// keys are in the order of time. A few thousand samples at most, whatever the number of keys.
[[nodiscard]] std::vector<PlotPiece> plotPieces(const Fcurve& curve, const PlotRange& frames);
