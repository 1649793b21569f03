// SPDX-License-Identifier: MIT
// Drawings of a scene document as SVG: curves over time, splines from three sides, trees. The size
// of each is limited, and omitted parts are reported.
#pragma once

#include "plotAxis.h"
#include "scene/sceneDocument.h"

#include <optional>
#include <string>
#include <vector>

/// A drawing, and what it omits (empty: nothing).
struct Plot {
    std::string svg;
    std::string leftOut;
};

struct CurveChoice {
    std::vector<std::string> channels; ///< only these channels; empty: all
    std::optional<PlotRange> frames;   ///< empty: the scene's frames, all keys and room around them
};

/// Fails when there is no curve, or none of the requested channels.
Outcome<Plot> plotCurves(const SceneDocument& document, const std::string& title,
                         const CurveChoice& choice);

/// Fails when there is no spline.
Outcome<Plot> plotSplines(const SceneDocument& document, const std::string& title);

/// Fails when there is no tree.
Outcome<Plot> plotTrees(const SceneDocument& document, const std::string& title);

/// The style of all drawings; each adds its own rules.
extern const char* const kPlotStyle;
