// SPDX-License-Identifier: MIT
// The keywords of a scene file besides the rendering settings: paths and frames before them,
// camera, lights, trees, splines and wave data after them, and the words that are read and dropped.
#include "file/tinyUtilsGrow.h"
#include "tinyOpaqueRead.h"
#include "tinySceneInner.h"
#include "tinySpline.h"

#include <algorithm>
#include <cstdlib>

namespace {

using table::Outcome;

// --- Paths ---------------------------------------------------------------------------------------

template <int Index>
constexpr SceneRow path(std::string_view word) {
    return {
        word,
        [](std::FILE* stream, SceneDraft& draft) {
            return table::readQuoted(stream, draft.record->paths[Index]);
        },
        [](std::FILE* stream, const Scene& scene) { text::putQuoted(stream, scene.paths[Index]); }};
}

constexpr SceneRow kPathRows[] = {
    path<kObjectPath>("OBJECT_PATH"),     path<kTexturePath>("TEXTURE_PATH"),
    path<kPicturePath>("PICTURE_PATH"),   path<kMaterialLibrary>("MATERIAL_LIB"),
    path<kTextureLibrary>("TEXTURE_LIB"), path<kPaletteLibrary>("PALETTE_LIB"),
};

Outcome readPaths(std::FILE* stream, SceneDraft& draft) {
    return table::readBlock(stream, "FILE_PATH", kPathRows, draft);
}

void writePaths(std::FILE* stream, const Scene& scene) {
    table::writeDeeper(stream, kPathRows, scene);
}

/// True if a path is set. An empty path is not written and reads back as none.
bool hasPaths(const Scene& scene) {
    return std::any_of(std::begin(scene.paths), std::end(scene.paths),
                       [](const char* path) { return path != nullptr && *path != '\0'; });
}

// --- Frames, rate --------------------------------------------------------------------------------

/// The members on the "FRAME" line, in the line's order.
constexpr std::int16_t Scene::*kFrameLine[] = {&Scene::frameStart, &Scene::frameEnd,
                                               &Scene::frameThird, &Scene::frameFourth};

Outcome readFrames(std::FILE* stream, SceneDraft& draft) {
    for (const auto member : kFrameLine) {
        if (!in_animSValue(stream, &(draft.record->*member))) {
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

/// A number whose whole part the record keeps.
template <auto Member>
constexpr SceneRow wholePart(std::string_view word) {
    return {word,
            [](std::FILE* stream, SceneDraft& draft) {
                float value = 0.0F;
                if (!in_animFValue(stream, &value)) {
                    return Outcome::EndOfFile;
                }
                draft.record->*Member = text::toShort(value, animToken);
                return Outcome::Next;
            },
            [](std::FILE* stream, const Scene& scene) {
                text::putFloat(stream, static_cast<float>(scene.*Member));
            }};
}

// --- Elements ------------------------------------------------------------------------------------

/// Appends `element` at the end of a list, to which `end` points.
template <typename Element>
void hangIn(Element**& end, Element* element) {
    *end = element;
    end = &element->next;
}

Outcome readCamera(std::FILE* stream, SceneDraft& draft) {
    return in_animToken(stream) != 0
               ? table::again(cameraReadAsciiAnimation(stream, &draft.record->camera))
               : Outcome::EndOfFile;
}

void writeCamera(std::FILE* stream, const Scene& scene) {
    cameraWriteAsciiAnimation(stream, &scene.camera);
}

Outcome readLight(std::FILE* stream, SceneDraft& draft) {
    Light* light = lightAllocate();
    const int result = lightReadAsciiAnimation(stream, light);
    if (light != nullptr) {
        hangIn(draft.lightsEnd, light);
    }
    return table::again(result);
}

Outcome readHierarchy(std::FILE* stream, SceneDraft& draft) {
    const std::int64_t line = animTokenLineNumber();
    auto* element = newRecords<SceneHierarchy>(1);
    const int result =
        objectReadAsciiAnimation(stream, element != nullptr ? &element->root : nullptr);
    if (element != nullptr && element->root != nullptr) {
        hangIn(draft.hierarchiesEnd, element);
    } else {
        if (!notice::Call::failed()) {
            notice::atLine(AnimNoticeKind::Missing, "HIERARCHY", line, "the tree has no node");
        }
        std::free(element);
    }
    return table::again(result);
}

Outcome readSpline(std::FILE* stream, SceneDraft& draft) {
    auto* element = newRecords<SceneSpline>(1);
    Spline* spline = element != nullptr ? splineAllocate() : nullptr;
    const int result = splineReadAsciiAnimation(stream, spline);
    if (spline != nullptr) {
        element->spline = spline;
        hangIn(draft.splinesEnd, element);
    } else {
        std::free(element);
    }
    return table::again(result);
}

Outcome readWave(std::FILE* stream, SceneDraft& draft) {
    return opaqueRead(text::Reader::on(stream), animToken, sceneIsWord, draft.waveEnd);
}

// --- Read and dropped ----------------------------------------------------------------------------

/// Reports the current token as a word that the record cannot hold, before `Read` skips its value.
template <auto Read>
Outcome dropped(std::FILE* stream, SceneDraft& draft) {
    animNotify(AnimNoticeKind::ByFormat, animToken);
    return Read(stream, draft);
}

template <int Count>
Outcome dropTokens(std::FILE* stream, SceneDraft&) {
    for (int i = 0; i < Count; ++i) {
        if (!text::Reader::on(stream).value()) {
            return Outcome::EndOfFile;
        }
    }
    return Outcome::Next;
}

Outcome dropQuoted(std::FILE* stream, SceneDraft&) {
    char* dropped = nullptr;
    const Outcome outcome = table::readQuoted(stream, dropped);
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

Outcome dropLayout(std::FILE* stream, SceneDraft& draft) {
    return table::readBlock(stream, nullptr, kLayoutRows, draft);
}

// --- Tables --------------------------------------------------------------------------------------

constexpr SceneRow kFrontRows[] = {
    {"FILE_PATH", readPaths, writePaths, hasPaths},
    {"FRAME", readFrames, writeFrames},
    wholePart<&Scene::pause>("PAUSE"),
    wholePart<&Scene::rate>("RATE"),
};

/// `sceneWriteLists` writes the elements of lists.
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

void sceneListWords(const table::WordTaker& taker) {
    table::listWords(kFrontRows, taker);
    table::listWords(kPathRows, taker);
    table::listWords(kElementRows, taker);
    table::listWords(kLayoutRows, taker);
}

std::span<const std::span<const SceneRow>> sceneTables() {
    static const std::span<const SceneRow> tables[] = {kFrontRows, renderRows(), kElementRows};
    return tables;
}

bool sceneOpensElement(std::string_view word) {
    constexpr std::string_view kWords[] = {"CAMERA", "LIGHT",     "HIERARCHY", "SPLINE",
                                           "WAVE",   "FILE_PATH", "FRAME",     "WINDOW_LAYOUT"};
    return std::ranges::find(kWords, word) != std::end(kWords);
}

bool sceneIsWord(std::string_view word) {
    return std::ranges::any_of(sceneTables(), [word](const std::span<const SceneRow>& rows) {
        return table::find(rows, word) != nullptr;
    });
}

void sceneWriteLists(std::FILE* stream, const Scene& scene) {
    for (const Light* light = scene.lights; light != nullptr; light = light->next) {
        table::putKeyword(stream, "LIGHT");
        lightWriteAsciiAnimation(stream, light);
    }
    for (const SceneHierarchy* tree = scene.hierarchies; tree != nullptr; tree = tree->next) {
        table::putKeyword(stream, "HIERARCHY");
        objectWriteAsciiAnimation(stream, tree->root);
    }
    for (const SceneSpline* element = scene.splines; element != nullptr; element = element->next) {
        splineWriteAsciiAnimation(stream, element->spline); // begins with its own keyword
    }
    for (const Opaque* wave = scene.wave; wave != nullptr; wave = wave->next) {
        table::putKeyword(stream, wave->text);
    }
}
