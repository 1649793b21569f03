// SPDX-License-Identifier: MIT
// Converts control points to the cubic pieces of their curve.
#pragma once

#include "tinySpline.h"

#include <vector>

struct SplineSegment {
    Vector from, control1, control2, to;
    bool straight;
};

/// The pieces of the spline for its first `points` control points. A Bezier piece is curved by its
/// handles or straight, according to its point. A B-spline is uniform and cubic; an open one does
/// not reach its outer points. A cardinal spline passes through every point, with the tension times
/// the vector between the neighbours as its direction (0.5: smooth, 0: straight). An unknown type
/// is drawn like a linear one.
[[nodiscard]] std::vector<SplineSegment> splineSegments(const Spline& spline, int points);
