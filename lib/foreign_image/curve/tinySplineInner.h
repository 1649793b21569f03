// SPDX-License-Identifier: MIT
// What the spline module's files share.
#pragma once

#include "file/tinyUtilsGrow.h"
#include "text/tinyTable.h"
#include "tinySpline.h"

#include <cstdlib>
#include <limits>
#include <memory>
#include <span>
#include <utility>

using SplinePointer = std::unique_ptr<Spline, SplineDisposer>;

/// Most points of a spline: the record counts them in 16 bits.
inline constexpr std::size_t kMostSplineKeys = std::numeric_limits<std::int16_t>::max();

/// The points that are really there.
[[nodiscard]] inline std::span<const SplineKey> splineKeys(const Spline& spline) {
    return spline.keys == nullptr || spline.keyCount < 1
               ? std::span<const SplineKey>{}
               : std::span{spline.keys, static_cast<std::size_t>(spline.keyCount)};
}

/// Gives the spline the points collected instead of those it has.
inline void splineTakeKeys(Spline& spline, GrowingArray<SplineKey>& keys) {
    std::free(spline.keys);
    spline.keyCount = static_cast<std::int16_t>(keys.size());
    spline.keys = keys.release();
}

/// The name at `index`, or the table's first where there is none.
[[nodiscard]] inline std::string_view splineNameOf(std::span<const char* const> names, int index) {
    const std::string_view name = table::nameAt(names, index);
    return name.empty() ? names[0] : name;
}

/// True when the only field of the splines of a file with this prototype is the name, which may be
/// empty.
[[nodiscard]] bool splineIsOnlyAName(const Prototype& prototype);

/// Reports what only scene files say about a spline, to a writer of spline and hierarchy files.
void splineReportSceneMembers(const Spline& spline);

/// Reads the animation form behind "PATH": it ends after its points, since what follows,
/// WIRE_COLOUR for example, belongs to the node or light that has the path.
int splineReadPath(std::FILE* stream, Spline* spline);

/// Gives the spline a malloc'ed name; an empty one stands for none.
inline void splineTakeName(Spline& spline, char* name) {
    if (name != nullptr && name[0] == '\0') {
        std::free(std::exchange(name, nullptr));
    }
    std::free(std::exchange(spline.name, name));
}
