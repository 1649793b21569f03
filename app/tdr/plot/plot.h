// SPDX-License-Identifier: MIT
// Pictures of what a scene document holds, as SVG: curves over time, splines from three sides,
// trees. Each is bounded in size whatever the document holds, and says what it leaves out.
#pragma once

#include "plotAxis.h"
#include "scene/sceneDocument.h"

#include <optional>
#include <string>
#include <vector>

/// A picture, and what it does not show (empty: all is there).
struct Plot {
    std::string svg;
    std::string leftOut;
};

struct CurveChoice {
    std::vector<std::string> channels; ///< of these channels only; empty: all
    std::optional<PlotRange> frames;   ///< empty: the scene's frames, all keys and room around them
};

/// Fails when there is no curve, or none of a channel that was asked for.
Outcome<Plot> plotCurves(const SceneDocument& document, const std::string& title,
                         const CurveChoice& choice);

/// Fails when there is no spline.
Outcome<Plot> plotSplines(const SceneDocument& document, const std::string& title);

/// Fails when there is no tree.
Outcome<Plot> plotTrees(const SceneDocument& document, const std::string& title);

/// The style that all pictures share; each adds its own rules.
extern const char* const kPlotStyle;
