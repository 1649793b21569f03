// SPDX-License-Identifier: MIT
// What the files of the scene module share, and the question that the reader of model trees asks.
#pragma once

#include "tinyCameraBlock.h"
#include "tinyScene.h"

#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <string_view>

/// A scene while its file is read: the ends of its lists, where the next element goes.
struct SceneBlock {
    Scene* record;
    Light** lightsEnd;
    SceneHierarchy** hierarchiesEnd;
    SceneSpline** splinesEnd;
    Opaque** waveEnd;
};

using SceneRow = block::Row<SceneBlock>;

/// The rows of a scene in the order of the file: those in front of the rendering settings and those
/// behind them.
[[nodiscard]] std::span<const SceneRow> sceneFrontRows();
[[nodiscard]] std::span<const SceneRow> sceneElementRows();

/// True for the words that open an element of the scene, which end a block kept as text in a tree.
[[nodiscard]] bool sceneOpensElement(std::string_view word);

/// True for every word that stands for something at the scene's level.
[[nodiscard]] bool sceneIsWord(std::string_view word);

/// Reads the value of the current token into the settings, or gives nothing when it is none of the
/// rendering keywords. `seen` has a bit for each keyword that the file has had before.
[[nodiscard]] std::optional<table::Outcome>
renderReadKeyword(std::FILE* stream, SceneRendering* rendering, std::uint64_t& seen);

/// True for a rendering keyword.
[[nodiscard]] bool renderIsWord(std::string_view word);

/// Writes the rendering block. Always 1.
int renderWriteAsciiAnimation(std::FILE* stream, const SceneRendering& rendering);

/// Writes the scene's lists: lights, trees, splines and wave data.
void sceneWriteLists(std::FILE* stream, const Scene& scene);

/// Sets the rendering settings' defaults; they hold nothing yet.
void renderInitialize(SceneRendering* rendering);

/// Frees what the rendering settings own and zeroes those pointers.
void renderDisposeParts(SceneRendering* rendering);

/// The block with its list ends at the ends of the scene's lists.
[[nodiscard]] SceneBlock sceneOpen(Scene* scene);
