// SPDX-License-Identifier: MIT
// The keywords of a scene file besides the rendering settings: paths and frames in front of them,
// camera, lights, trees, splines and wave data behind them, and the words that are read and
// dropped.
#include "file/tinyUtilsGrow.h"
#include "tinyOpaqueRead.h"
#include "tinySceneInner.h"
#include "tinySpline.h"

#include <algorithm>
#include <cstdlib>

namespace {

using block::Outcome;
using Rows = block::Rows<SceneBlock>;

// ------------------------------------------------------------------------------------------ paths

template <int Index>
constexpr SceneRow path(std::string_view word) {
    return {
        word,
        [](std::FILE* stream, SceneBlock& b) {
            return block::readQuoted(stream, b.record->paths[Index]);
        },
        [](std::FILE* stream, const Scene& scene) { text::putQuoted(stream, scene.paths[Index]); }};
}

constexpr SceneRow kPathRows[] = {
    path<kObjectPath>("OBJECT_PATH"),     path<kTexturePath>("TEXTURE_PATH"),
    path<kPicturePath>("PICTURE_PATH"),   path<kMaterialLibrary>("MATERIAL_LIB"),
    path<kTextureLibrary>("TEXTURE_LIB"), path<kPaletteLibrary>("PALETTE_LIB"),
};

Outcome readPaths(std::FILE* stream, SceneBlock& b) {
    return in_animToken(stream) && block::readRows(stream, kPathRows, b) ? Outcome::Again
                                                                         : Outcome::EndOfFile;
}

void writePaths(std::FILE* stream, const Scene& scene) {
    incIndent(1);
    block::write(stream, kPathRows, scene);
    incIndent(-1);
}

/// An empty path is written as none is, and reads back as none.
bool hasPaths(const Scene& scene) {
    return std::any_of(std::begin(scene.paths), std::end(scene.paths),
                       [](const char* path) { return path != nullptr && *path != '\0'; });
}

// ----------------------------------------------------------------------------------- frames, rate

/// The members on the "FRAME" line, in the line's order.
constexpr std::int16_t Scene::*kFrameLine[] = {&Scene::frameStart, &Scene::frameEnd,
                                               &Scene::frameThird, &Scene::frameFourth};

Outcome readFrames(std::FILE* stream, SceneBlock& b) {
    for (const auto member : kFrameLine) {
        if (!in_animSValue(stream, &(b.record->*member))) {
            return Outcome::EndOfFile;
        }
    }
    return Outcome::Next;
}

void writeFrames(std::FILE* stream, const Scene& scene) {
    for (const auto member : kFrameLine) {
        text::putInt(stream, scene.*member);
    }
}

/// A number of which the record keeps the whole part.
template <auto Member>
constexpr SceneRow wholePart(std::string_view word) {
    return {word,
            [](std::FILE* stream, SceneBlock& b) {
                float value = 0.0F;
                if (!in_animFValue(stream, &value)) {
                    return Outcome::EndOfFile;
                }
                b.record->*Member = text::toShort(value, animToken);
                return Outcome::Next;
            },
            [](std::FILE* stream, const Scene& scene) {
                text::putFloat(stream, static_cast<float>(scene.*Member));
            }};
}

// --------------------------------------------------------------------------------------- elements

/// Hangs `element` in at the end of a list that `end` points to.
template <typename Element>
void hangIn(Element**& end, Element* element) {
    *end = element;
    end = &element->next;
}

Outcome readCamera(std::FILE* stream, SceneBlock& b) {
    return Rows::again(in_animToken(stream) && cameraReadAsciiAnimation(stream, &b.record->camera));
}

void writeCamera(std::FILE* stream, const Scene& scene) {
    cameraWriteAsciiAnimation(stream, &scene.camera);
}

Outcome readLight(std::FILE* stream, SceneBlock& b) {
    Light* light = lightAllocate();
    const int result = lightReadAsciiAnimation(stream, light);
    if (light != nullptr) {
        hangIn(b.lightsEnd, light);
    }
    return Rows::again(result);
}

Outcome readHierarchy(std::FILE* stream, SceneBlock& b) {
    auto* element = newRecords<SceneHierarchy>(1);
    const int result =
        objectReadAsciiAnimation(stream, element != nullptr ? &element->root : nullptr);
    if (element != nullptr && element->root != nullptr) {
        hangIn(b.hierarchiesEnd, element);
    } else {
        std::free(element);
    }
    return Rows::again(result);
}

Outcome readSpline(std::FILE* stream, SceneBlock& b) {
    auto* element = newRecords<SceneSpline>(1);
    Spline* spline = element != nullptr ? splineAllocate() : nullptr;
    const int result = splineReadAsciiAnimation(stream, spline);
    if (spline != nullptr) {
        element->spline = spline;
        hangIn(b.splinesEnd, element);
    } else {
        std::free(element);
    }
    return Rows::again(result);
}

Outcome readWave(std::FILE* stream, SceneBlock& b) {
    opaqueReadTokens(stream, animToken, sceneIsWord, b.waveEnd);
    return animToken[0] != '\0' ? Outcome::Again : Outcome::EndOfFile;
}

// -------------------------------------------------------------------------------- read and dropped

/// Reports the current token as a word that the record has no place for, before `Read` passes over
/// its value.
template <auto Read>
Outcome dropped(std::FILE* stream, SceneBlock& b) {
    animNotify(AnimNoticeKind::ByFormat, animToken);
    return Read(stream, b);
}

template <int Count>
Outcome dropTokens(std::FILE* stream, SceneBlock&) {
    for (int i = 0; i < Count; ++i) {
        if (!in_animToken(stream)) {
            return Outcome::EndOfFile;
        }
    }
    return Outcome::Next;
}

Outcome dropQuoted(std::FILE* stream, SceneBlock&) {
    char* dropped = nullptr;
    const Outcome outcome = block::readQuoted(stream, dropped);
    std::free(dropped);
    return outcome;
}

constexpr SceneRow kLayoutRows[] = {
    {"WINDOW_TYPE", dropTokens<1>},
    {"CAMERA_TYPE", dropTokens<1>},
    {"GRID_VISIBLE", dropTokens<1>},
    {"AXIS_VISIBLE", dropTokens<1>},
    {"RULER_VISIBLE", dropTokens<1>},
    {"FIELD_VISIBLE", dropTokens<1>},
    {"X_AXIS_LOCK", dropTokens<1>},
    {"Y_AXIS_LOCK", dropTokens<1>},
    {"Z_AXIS_LOCK", dropTokens<1>},
    {"CAMERA_POSITION", dropTokens<3>},
    {"CAMERA_INTEREST", dropTokens<3>},
    {"MINIMUM_VIEW", dropTokens<3>},
    {"MAXIMUM_VIEW", dropTokens<3>},
    {"DELTA", dropTokens<3>},
    {"CAMERA_FOV", dropTokens<1>},
    {"CAMERA_ASPECT", dropTokens<1>},
    {"CAMERA_NEAR", dropTokens<1>},
    {"DISPLAY_TYPE", dropTokens<1>},
    {"PICTURE", dropQuoted},
    {"PICTURE_FRAME", dropTokens<6>},
    {"DEPTH_CUE", dropTokens<5>},
};

Outcome dropLayout(std::FILE* stream, SceneBlock& b) {
    return in_animToken(stream) && block::readRows(stream, kLayoutRows, b) ? Outcome::Again
                                                                           : Outcome::EndOfFile;
}

// ------------------------------------------------------------------------------------------ tables

constexpr SceneRow kFrontRows[] = {
    {"FILE_PATH", readPaths, writePaths, hasPaths},
    {"FRAME", readFrames, writeFrames},
    wholePart<&Scene::pause>("PAUSE"),
    wholePart<&Scene::rate>("RATE"),
};

/// Elements that come in lists are written by `sceneWriteLists`.
constexpr SceneRow kElementRows[] = {
    {"CAMERA", readCamera, writeCamera},
    {"LIGHT", readLight},
    {"HIERARCHY", readHierarchy},
    {"SPLINE", readSpline},
    {"WAVE", readWave},
    {"CAMERA_VISIBLE", dropped<dropTokens<1>>},
    {"WINDOW_LAYOUT", dropped<dropLayout>},
    {"MULTI_SELECT", dropped<dropTokens<1>>},
};

} // namespace

std::span<const SceneRow> sceneFrontRows() {
    return kFrontRows;
}

std::span<const SceneRow> sceneElementRows() {
    return kElementRows;
}

bool sceneOpensElement(std::string_view word) {
    constexpr std::string_view kWords[] = {"CAMERA", "LIGHT",     "HIERARCHY", "SPLINE",
                                           "WAVE",   "FILE_PATH", "FRAME",     "WINDOW_LAYOUT"};
    return std::ranges::find(kWords, word) != std::end(kWords);
}

bool sceneIsWord(std::string_view word) {
    return table::find(kFrontRows, word) != nullptr || renderIsWord(word) ||
           table::find(kElementRows, word) != nullptr;
}

void sceneWriteLists(std::FILE* stream, const Scene& scene) {
    for (const Light* light = scene.lights; light != nullptr; light = light->next) {
        block::putKeyword(stream, "LIGHT");
        lightWriteAsciiAnimation(stream, light);
    }
    for (const SceneHierarchy* tree = scene.hierarchies; tree != nullptr; tree = tree->next) {
        block::putKeyword(stream, "HIERARCHY");
        objectWriteAsciiAnimation(stream, tree->root);
    }
    for (const SceneSpline* element = scene.splines; element != nullptr; element = element->next) {
        splineWriteAsciiAnimation(stream, element->spline); // begins with its own keyword
    }
    for (const Opaque* wave = scene.wave; wave != nullptr; wave = wave->next) {
        block::putKeyword(stream, wave->text);
    }
}
