// SPDX-License-Identifier: MIT
// The curve that control points stand for, as cubic pieces.
#pragma once

#include "tinySpline.h"

#include <vector>

struct SplineSegment {
    Vector from, control1, control2, to;
    bool straight;
};

/// The pieces of the spline through or along its first `points` control points. A Bezier piece is
/// curved by its handles or straight, as its point says. A B-spline is the uniform cubic one: open,
/// it does not reach its outer points. A cardinal spline passes through every point, there with the
/// tension times the way between the neighbours (0.5: smooth, 0: straight). An unknown type is
/// drawn like a linear one.
[[nodiscard]] std::vector<SplineSegment> splineSegments(const Spline& spline, int points);
