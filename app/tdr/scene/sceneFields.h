// SPDX-License-Identifier: MIT
// The numbers of scene elements that a curve can animate: one table for each kind of element, used
// to print, count and plot them.
#pragma once

#include "tinyCamera.h"
#include "tinyFcurve.h"
#include "tinyLight.h"
#include "tinyModel.h"
#include "tinyScene.h"

#include <array>
#include <cstddef>
#include <span>
#include <string>

/// One animatable number of a `Record`. Rows of one group are adjacent.
template <typename Record>
struct SceneField {
    std::size_t curve;              ///< index of its curve in the record's array
    const char* group;              ///< as in JSON: "fieldOfView"
    const char* part;               ///< "x" or "red"; null if it is alone in its group
    const char* unit;               ///< unit of its values
    double (*value)(const Record&); ///< the number without a curve; null if it is stored elsewhere
};

/// The record's array of curves.
inline std::span<Fcurve* const> curvesIn(const Camera& camera) {
    return camera.curves;
}
inline std::span<Fcurve* const> curvesIn(const Light& light) {
    return light.curves;
}
inline std::span<Fcurve* const> curvesIn(const Model& node) {
    return node.curves;
}
inline std::span<Fcurve* const> curvesIn(const SceneRendering& r) {
    return r.fadeCurves;
}

[[nodiscard]] std::span<const SceneField<Camera>> fieldsOf(const Camera&);
[[nodiscard]] std::span<const SceneField<Light>> fieldsOf(const Light&);
[[nodiscard]] std::span<const SceneField<Model>> fieldsOf(const Model&);
[[nodiscard]] std::span<const SceneField<SceneRendering>> fieldsOf(const SceneRendering&);

/// "fieldOfView" as "field of view".
[[nodiscard]] std::string wordsOf(const char* group);

/// A float as the double that is printed with the same few digits ("0.1", not "0.100000001").
[[nodiscard]] double shortest(float value);

/// An angle in radians as degrees, rounded to seven digits.
[[nodiscard]] double degrees(float radians);
