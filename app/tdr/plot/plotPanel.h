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
    std::string title; ///< unique among the panels
};

/// The frames of a scene, which are shaded.
struct PlotFrames {
    double first, last;
};

inline constexpr double kPanelHeight = 190;
inline constexpr std::size_t kMostInPanel = 5; ///< curves that fit the legend

/// Draws the panel between the ends of the frame axis, with its top edge at `top`.
void drawPanel(Svg& svg, const PlotPanel& panel, const PlotAxis& frames,
               const std::optional<PlotFrames>& shaded, double top);

/// The style rules for panels and for the key to the marks.
extern const char* const kPanelStyle;

/// A few keys so far away that the others cannot be distinguished on the same axis.
struct PlotFar {
    std::size_t count;  ///< how many
    double farthest;    ///< the farthest of these
    double least, most; ///< range of the others
};
[[nodiscard]] std::optional<PlotFar> farFrom(std::vector<double> values);
