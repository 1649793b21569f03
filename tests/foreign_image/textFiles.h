// SPDX-License-Identifier: MIT
// Scenes, splines and trees as whole files, for tests.
#pragma once

#include "tinyScene.h"
#include "tinySpline.h"

#include <cstring>
#include <memory>
#include <string>

namespace textfiles {

using OwnedScene = std::unique_ptr<Scene, SceneDisposer>;
using OwnedSpline = std::unique_ptr<Spline, SplineDisposer>;
using Tree = std::unique_ptr<Model, ModelDisposer>;

// Each reads the file `from` and writes it to `to`, unless that is empty. False: one of them
// failed.

inline bool passScene(const std::string& from, const std::string& to) {
    const OwnedScene scene(sceneAllocate());
    if (scene == nullptr) {
        return false;
    }
    scene->name = strdup(from.c_str());
    if (sceneReadAsciiAnimation(scene.get()) == 0) {
        return false;
    }
    std::free(std::exchange(scene->name, strdup(to.c_str())));
    return to.empty() || sceneWriteAsciiAnimation("Niofle scene", 2.6F, scene.get()) == 1;
}

inline bool passSpline(const std::string& from, const std::string& to) {
    const OwnedSpline spline(splineReadFile(from.c_str()));
    return spline != nullptr && (to.empty() || splineWriteFile(to.c_str(), spline.get(), 0) == 1);
}

inline bool passModel(const std::string& from, const std::string& to) {
    const Tree root(modelReadFile(from.c_str()));
    return root != nullptr && (to.empty() || modelWriteFile(to.c_str(), root.get(), 0) == 1);
}

struct Kind {
    std::string ending;
    bool (*pass)(const std::string& from, const std::string& to);
    std::string sample;
};
inline const Kind kKinds[] = {{".scn", passScene, TDR_SOURCE_DIR "/samples/lighthouse"},
                              {".spl", passSpline, TDR_SOURCE_DIR "/samples/vase"},
                              {".hrc", passModel, TDR_SOURCE_DIR "/samples/desk_lamp"}};

} // namespace textfiles
