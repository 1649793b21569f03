// SPDX-License-Identifier: MIT
// Shared by the files of the spline module.
#pragma once

#include "file/tinyUtilsGrow.h"
#include "text/tinyTable.h"
#include "tinySpline.h"

#include <cstdlib>
#include <limits>
#include <memory>
#include <span>
#include <utility>

using UniqueSpline = std::unique_ptr<Spline, SplineDisposer>;

/// Maximum number of points of a spline: the record counts them in 16 bits.
inline constexpr std::size_t kMostSplineKeys = std::numeric_limits<std::int16_t>::max();

/// The points of the spline.
[[nodiscard]] inline std::span<const SplineKey> splineKeys(const Spline& spline) {
    return spline.keys == nullptr || spline.keyCount < 1
               ? std::span<const SplineKey>{}
               : std::span{spline.keys, static_cast<std::size_t>(spline.keyCount)};
}

/// Replaces the spline's points by the collected ones.
inline void splineTakeKeys(Spline& spline, GrowingArray<SplineKey>& keys) {
    std::free(spline.keys);
    spline.keyCount = static_cast<std::int16_t>(keys.size());
    spline.keys = keys.release();
}

/// The name at `index`, or the table's first if there is none.
[[nodiscard]] inline std::string_view splineNameOf(std::span<const char* const> names, int index) {
    const std::string_view name = table::nameAt(names, index);
    return name.empty() ? names[0] : name;
}

/// True when the name, which may be empty, is the only field of the prototype's splines.
[[nodiscard]] bool splineIsOnlyAName(const Prototype& prototype);

/// Reports the members that only scene files hold, for a writer of spline and hierarchy files.
void splineReportSceneMembers(const Spline& spline);

/// Reads the animation form after "PATH": it ends after its points, because a word that follows,
/// WIRE_COLOUR for example, belongs to the node or light that has the path.
int splineReadPath(std::FILE* stream, Spline* spline);

/// Sets the spline's name to a malloc'ed string; an empty one means none.
inline void splineTakeName(Spline& spline, char* name) {
    if (name != nullptr && name[0] == '\0') {
        std::free(std::exchange(name, nullptr));
    }
    std::free(std::exchange(spline.name, name));
}
