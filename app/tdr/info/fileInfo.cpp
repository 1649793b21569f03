// SPDX-License-Identifier: MIT
#include "fileInfo.h"

#include "files/readableFile.h"
#include "output/console.h"
#include "pictures/toolkitPicture.h"
#include "scene/sceneDocument.h"

#include <utility>

Outcome<FileInfo> describeFile(const std::filesystem::path& file, const DriverOptions& drivers) {
    if (const SceneFormat* scene = sceneFormatOf(file); scene != nullptr) {
        return describeScene(file, scene->name);
    }
    auto fd = openReadable(file);
    if (!fd) {
        return fd.failure();
    }
    const auto picture = openToolkitPicture(file.string(), std::move(*fd));
    if (!picture) {
        return picture.failure();
    }
    if (!*picture) {
        return describeByDriver(file, drivers);
    }
    if (!(*picture)->warning.empty()) {
        warn(file.string() + ": " + (*picture)->warning);
    }
    return describeHeader(**picture);
}
