// SPDX-License-Identifier: MIT
// Text that is kept unchanged: blocks of scene and hierarchy files that the toolkit does not parse
// (meshes, materials, textures, waves ...), so that reading a file and writing it again keeps them.
#pragma once

#include <cstddef>

/// One kept block, an element of a list in file order.
struct Opaque {
    char* text;   ///< the block from its word on, unchanged, without blanks around it
    Opaque* next; ///< the block after it in the same list, or null
};

/// Maximum size of one kept block. A longer block is skipped as a whole and reported as cut,
/// because half a mesh is useless.
inline constexpr std::size_t kOpaqueMaxBytes = std::size_t{64} << 20;

/// Maximum nesting of braces in a kept block; a deeper block is skipped in the same way.
inline constexpr int kOpaqueMaxNesting = 256;

/// The length of a block's word, with which its text begins ("mesh", "WAVE").
[[nodiscard]] std::size_t opaqueWordLength(const Opaque* block);

/// Frees the whole list at `*list` and sets the pointer to null. Accepts null.
void opaqueDispose(Opaque** list);
