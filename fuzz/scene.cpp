// SPDX-License-Identifier: MIT
// Scene text: every scene that is read can be written, and from then on reading and writing changes
// nothing.
#include "fuzzInput.h"

#include "tinyScene.h"
#include "tinySoftType.h"
#include "tinyUtils.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace {

struct Disposer {
    void operator()(Scene* scene) const { sceneDispose(&scene); }
};
using ScenePointer = std::unique_ptr<Scene, Disposer>;

/// A scene with the name that a reader or writer completes to a file of the folder.
ScenePointer named(const std::string& path) {
    ScenePointer scene(sceneAllocate());
    scene->name = strdup(path.c_str());
    return scene;
}

/// Reads the scene file `from` of the folder and writes it as `to`. False when it is not a scene.
bool pass(const fuzz::InputFolder& folder, const char* from, const char* to) {
    animReset();
    const ScenePointer scene = named(folder.path(from));
    if (sceneReadAsciiAnimation(scene.get()) == 0) {
        return false;
    }
    for (Light* light = scene->lights; light != nullptr; light = light->next) {
        // For any other type only the keyword is written, which then consumes the next word.
        light->type = std::clamp<std::int16_t>(light->type, 1, 3);
    }
    std::free(scene->name);
    scene->name = strdup(folder.path(to).c_str());
    if (sceneWriteAsciiAnimation("Fuzz", RELEASE_NUMBER, scene.get()) == 0) {
        std::abort();
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::InputFolder folder;
    option.level = 0;
    folder.write("input.scn", data, size);
    if (!pass(folder, "input", "once") || fuzz::holdsZero(folder.read("input.scn"))) {
        return 0;
    }
    if (!pass(folder, "once", "twice") || folder.read("once.scn") != folder.read("twice.scn")) {
        std::abort();
    }
    return 0;
}
