// SPDX-License-Identifier: MIT
// Shared by the files of the model module only.
#pragma once

#include "file/tinyNotice.h"
#include "tinyModel.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>

/// Degrees in a radian, as the hierarchy file rounds it.
inline constexpr double kModelDegrees = 57.2957795;

using UniqueModel = std::unique_ptr<Model, ModelDisposer>;

/// The node after `node` in the walk through the subtree of `root`, or null at its end; `level`
/// changes by the difference of their depths.
[[nodiscard]] const Model* modelNextBelow(const Model* node, const Model* root, int& level);
[[nodiscard]] inline const Model* modelNextBelow(const Model* node, const Model* root) {
    int level = 0;
    return modelNextBelow(node, root, level);
}

/// Makes `child` the sibling after `lastChild`, or the first child of `parent` if that is null. For
/// readers, which know the last child and that `child` is new.
void modelLinkChild(Model* parent, Model* lastChild, Model* child);

/// A new zero-filled shape, or null when out of memory.
[[nodiscard]] ModelShape* modelShapeAllocate();

/// Frees one shape with what it owns and sets the pointer to null. Accepts null.
void modelShapeDispose(ModelShape** shape);

/// Appends a pointer to a malloc'ed array with room for 1, 2, 4, 8 ... elements; false when out of
/// memory.
template <typename Element>
[[nodiscard]] bool modelAppend(Element**& array, std::int32_t& count, Element* element) {
    const auto used = static_cast<std::size_t>(count);
    if (used == 0 || std::has_single_bit(used)) { // full
        const std::size_t room = std::max<std::size_t>(1, used * 2);
        void* larger = std::realloc(static_cast<void*>(array), room * sizeof(Element*));
        if (larger == nullptr) {
            notice::Call::failForMemory();
            return false;
        }
        array = static_cast<Element**>(larger);
    }
    array[count++] = element;
    return true;
}

/// True when the tree can be written into a scene, as the text of a hierarchy file or as a binary
/// one, so that it reads back. If it cannot, the reason is why the current call fails.
[[nodiscard]] bool modelFitsScene(const Model* root);
[[nodiscard]] bool modelFitsText(const Model* root);
[[nodiscard]] bool modelFitsBinary(const Model* root);

/// True while a tree of that many nodes is within the limit. If it is not, that is why the current
/// call fails.
[[nodiscard]] bool modelCountFits(std::size_t nodes);

/// Reports, for a writer of hierarchy files, the members of a node that only scenes hold, and with
/// `text` the four numbers that otherwise only binary files hold.
void modelReportSceneMembers(const Model& node, bool text);

/// True for a known word inside a node of the hierarchy file's text; and for one that does not
/// begin a block that is kept as text.
[[nodiscard]] bool modelIsTextWord(std::string_view word);
[[nodiscard]] bool modelHasValue(std::string_view word);
