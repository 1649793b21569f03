// SPDX-License-Identifier: MIT
// Text that is kept as it stands: blocks of scene and hierarchy files whose contents the toolkit
// does not look into (meshes, materials, textures, waves ...), so that reading a file and writing
// it again loses none of them.
#pragma once

#include <cstddef>

/// One kept block, an element of a list in file order.
struct Opaque {
    char* text;   ///< the block from its word on, as it stood in the file, without blanks around it
    Opaque* next; ///< the block after it in the same list, or null
};

/// Most bytes of one kept block. A longer block is passed over whole and reported as cut: half a
/// mesh is worse than none.
inline constexpr std::size_t kOpaqueMaxBytes = std::size_t{64} << 20;

/// Deepest nesting of braces inside a kept block; a deeper block is treated like a longer one.
inline constexpr int kOpaqueMaxNesting = 256;

/// The length of a block's word, with which its text begins ("mesh", "WAVE").
[[nodiscard]] std::size_t opaqueWordLength(const Opaque* block);

/// Frees the whole list behind `*list` and sets the pointer to null. Accepts null.
void opaqueDispose(Opaque** list);
