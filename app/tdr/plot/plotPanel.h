// SPDX-License-Identifier: MIT
// One panel of curves over time: axes, curves with their keys, legend.
#pragma once

#include "plotAxis.h"
#include "scene/sceneWalk.h"
#include "svg.h"

#include <optional>
#include <string>
#include <vector>

/// Curves of one source and group.
struct PlotPanel {
    std::vector<OwnedCurve> curves;
    std::string title; ///< no other panel has the same
};

/// The frames of a scene, which are shaded.
struct PlotFrames {
    double first, last;
};

inline constexpr double kPanelHeight = 190;
inline constexpr std::size_t kMostInPanel = 5; ///< curves; the legend has room for these

/// Draws the panel between the ends of the axis of frames, its top edge at `top`.
void drawPanel(Svg& svg, const PlotPanel& panel, const PlotAxis& frames,
               const std::optional<PlotFrames>& shaded, double top);

/// The rules for it, and for a picture's key to its marks.
extern const char* const kPanelStyle;

/// Few among many that lie so far away that the others cannot be told apart on one axis.
struct PlotFar {
    std::size_t count;  ///< how many
    double farthest;    ///< of them
    double least, most; ///< of the others
};
[[nodiscard]] std::optional<PlotFar> farFrom(std::vector<double> values);
