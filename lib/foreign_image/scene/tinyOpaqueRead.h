// SPDX-License-Identifier: MIT
// Reading and writing blocks that are kept as text. Inner: the hierarchy and scene readers use it.
#pragma once

#include "tinyOpaque.h"

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

struct OpaqueDisposer {
    void operator()(Opaque* list) const noexcept { opaqueDispose(&list); }
};
using OpaqueOwner = std::unique_ptr<Opaque, OpaqueDisposer>;

/// How a file's text is divided into words.
struct OpaqueStyle {
    std::string_view blanks; ///< the characters between words
    char quote;              ///< opens and closes a run of characters that holds no words
    bool bracesAlone;        ///< a brace (and a quote) is a word wherever it stands, not only where
                             ///< blanks surround it; a closing one too many ends the block
};

/// Hierarchy files: words as `isspace` separates them, "name" in double quotes.
inline constexpr OpaqueStyle kHierarchyStyle = {" \t\n\v\f\r", '"', true};

/// Scene files: blank, tab and newline separate words, 'name' in single quotes.
inline constexpr OpaqueStyle kSceneStyle = {" \t\n", '\'', false};

/// What reading a block gave.
struct OpaqueResult {
    OpaqueOwner block;     ///< null when it was too large or too deep, or memory ran out
    std::string lookAhead; ///< the word that ended the block; empty at end of file
    bool cut = false;      ///< the file ended inside braces or quotes (which have been closed in
                           ///< the text kept), or a zero byte or the whole block was dropped
};

/// The detail of a notice about a block that was cut.
inline constexpr char kOpaqueCut[] =
    "a block of more than 64 MB or 256 levels of braces, with a zero byte, or without its end";

/// Reads the block that begins with `firstWord`, which has been read, up to the next word outside
/// braces and quotes for which `ends` is true, and consumes that word, which then counts as
/// the last token of the line count. Uses no stack and keeps no more than `kOpaqueMaxBytes`.
[[nodiscard]] OpaqueResult opaqueRead(std::FILE* stream, std::string_view firstWord,
                                      const OpaqueStyle& style, bool (*ends)(std::string_view));

/// A new block of that text, or null when memory is exhausted.
[[nodiscard]] OpaqueOwner opaqueAllocate(std::string_view text);

/// Appends to a list whose last link is `*end`, and moves `end` on. Null blocks add nothing.
void opaqueAppend(Opaque**& end, OpaqueOwner block);

/// Reads a block of animation text that begins with `first` (usually the current token, which is
/// the last one read in any case) and appends it to the list that ends at `*end`. The word that
/// ends the block is the current token then, or "" at end of file. The observer hears of what was
/// cut.
void opaqueReadTokens(std::FILE* stream, std::string_view first, bool (*ends)(std::string_view),
                      Opaque**& end);
