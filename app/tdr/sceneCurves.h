// SPDX-License-Identifier: MIT
// All curves of a scene document, each with what it animates.
#pragma once

#include "sceneDocument.h"

#include <string>
#include <vector>

struct OwnedCurve {
    const Fcurve* curve;
    std::string owner; ///< "camera", "light beam", "node flag"
    std::string group; ///< "field of view"; curves of one owner and group belong together
    std::string part;  ///< "x", "red" or empty
    const char* unit;
};

/// In file order of their owners: rendering, camera, lights, trees. Parameters without a curve are
/// left out.
[[nodiscard]] std::vector<OwnedCurve> curvesOf(const SceneDocument& document);

/// The name of the curve's channel ("CAM_FOV"); empty when it has none.
[[nodiscard]] std::string channelOf(const Fcurve& curve);
