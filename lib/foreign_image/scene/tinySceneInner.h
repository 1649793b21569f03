// SPDX-License-Identifier: MIT
// What the files of the scene module share, and the question that the reader of model trees asks.
#pragma once

#include "text/tinyTable.h"
#include "tinyScene.h"

#include <cstdint>
#include <cstdio>
#include <span>
#include <string_view>

/// Reads the block of a camera or a light, whose first token is the current one. 1, or 0 at end of
/// file.
// Kept: An empty camera or light block also consumes the word after it.
// A reader would expect a block without lines to leave what follows alone; the first token examined
// is dropped when it is none of the block's words.
template <typename Rows, typename Draft>
int sceneReadBlock(std::FILE* stream, const Rows& rows, Draft& draft) {
    if (animToken[0] != '\0' && table::find(rows, animToken) == nullptr) {
        animNotify(AnimNoticeKind::UnknownWord, animToken);
        static_cast<void>(in_animToken(stream));
        return 1;
    }
    std::uint64_t seen = 0;
    return table::read(text::Reader::on(stream), rows, draft, &seen) == table::Outcome::Again ? 1
                                                                                              : 0;
}

/// A scene while its file is read: the ends of its lists, where the next element goes.
struct SceneDraft {
    Scene* record;
    Light** lightsEnd;
    SceneHierarchy** hierarchiesEnd;
    SceneSpline** splinesEnd;
    Opaque** waveEnd;
};

using SceneRow = table::Row<SceneDraft>;

/// The tables of a scene's words in the order of the file: what stands in front of the rendering
/// settings, these, and what stands behind them.
[[nodiscard]] std::span<const std::span<const SceneRow>> sceneTables();

/// The rendering settings'.
[[nodiscard]] std::span<const SceneRow> renderRows();

/// True for the words that open an element of the scene, which end a block kept as text in a tree.
[[nodiscard]] bool sceneOpensElement(std::string_view word);

/// True for every word that stands for something at the scene's level.
[[nodiscard]] bool sceneIsWord(std::string_view word);

/// Reports sizes of the picture that its format does not have.
void renderReportSizes(const Scene& scene);

/// Writes the scene's lists: lights, trees, splines and wave data.
void sceneWriteLists(std::FILE* stream, const Scene& scene);

/// Sets the rendering settings' defaults; they hold nothing yet.
void renderInitialize(SceneRendering* rendering);

/// Frees what the rendering settings own and zeroes those pointers.
void renderDisposeParts(SceneRendering* rendering);

/// The block with its list ends at the ends of the scene's lists.
[[nodiscard]] SceneDraft sceneOpen(Scene* scene);
