// SPDX-License-Identifier: MIT
// Shared by the files of the scene module, and one function for the reader of model trees.
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
// A reader would expect a block without lines to leave the next token alone. The first token is
// dropped if it is not one of the block's words.
template <typename Rows, typename Draft>
int sceneReadBlock(std::FILE* stream, const Rows& rows, Draft& draft) {
    text::Reader& in = text::Reader::on(stream);
    if (!in.atEnd() && table::find(rows, in.word()) == nullptr) {
        animNotify(AnimNoticeKind::UnknownWord, animToken);
        static_cast<void>(in.next());
        return 1;
    }
    return table::read(in, rows, draft) == table::Outcome::Again ? 1 : 0;
}

/// A scene while its file is read, with the ends of its lists.
struct SceneDraft {
    Scene* record;
    Light** lightsEnd;
    SceneHierarchy** hierarchiesEnd;
    SceneSpline** splinesEnd;
    Opaque** waveEnd;
};

using SceneRow = table::Row<SceneDraft>;

/// The tables of a scene's words in the order of the file: those before the rendering settings,
/// these, and those after them.
[[nodiscard]] std::span<const std::span<const SceneRow>> sceneTables();

/// The rows of the rendering settings.
[[nodiscard]] std::span<const SceneRow> renderRows();

/// True for the words that open an element of the scene, which end a block kept as text in a tree.
[[nodiscard]] bool sceneOpensElement(std::string_view word);

/// True for every known word at the scene's level.
[[nodiscard]] bool sceneIsWord(std::string_view word);

/// List words for `animWords`; those of trees for the animation form, and for hierarchy files.
void cameraListWords(const table::WordTaker& taker);
void lightListWords(const table::WordTaker& taker);
void modelListWords(const table::WordTaker& taker);
void modelListFileWords(const table::WordTaker& taker);
void renderListWords(const table::WordTaker& taker);
void sceneListWords(const table::WordTaker& taker);

/// Reports settings that are not written: those of no antialiasing, of a picture that is not set,
/// and sizes that its format does not have.
void renderReportUnwritten(const Scene& scene);

/// Writes the scene's lists: lights, trees, splines and wave data.
void sceneWriteLists(std::FILE* stream, const Scene& scene);

/// Sets the defaults of new rendering settings, which own nothing.
void renderInitialize(SceneRendering* rendering);

/// Frees what the rendering settings own and zeroes those pointers.
void renderDisposeParts(SceneRendering* rendering);

/// A draft with the ends of the scene's lists.
[[nodiscard]] SceneDraft sceneOpen(Scene* scene);
