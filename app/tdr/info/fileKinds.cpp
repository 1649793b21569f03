// SPDX-License-Identifier: MIT
#include "fileKinds.h"

#include "scene/sceneDocument.h"

FileKind kindOf(const std::filesystem::path& file) {
    const SceneFormat* scene = sceneFormatOf(file);
    return scene != nullptr ? FileKind{scene->name, describeScene}
                            : FileKind{"picture", describePicture};
}
