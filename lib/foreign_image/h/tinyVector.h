// SPDX-License-Identifier: MIT
// Points and directions in the records of curves, splines, nodes and scenes.
#pragma once

/// A point or direction.
struct Vector {
    float x, y, z;
};

/// A homogeneous point.
struct HVector {
    float x, y, z, w;
};
