// SPDX-License-Identifier: MIT
// Reading and writing blocks that are kept as text. Inner: used by the hierarchy and scene readers.
#pragma once

#include "text/tinyTable.h"
#include "tinyOpaque.h"

#include <memory>
#include <string_view>

struct OpaqueDisposer {
    void operator()(Opaque* list) const noexcept { opaqueDispose(&list); }
};
using UniqueOpaque = std::unique_ptr<Opaque, OpaqueDisposer>;

/// A new block of that text, or null when out of memory.
[[nodiscard]] UniqueOpaque opaqueAllocate(std::string_view text);

/// Appends to a list whose last link is `*end`, and advances `end`. Null blocks add nothing.
void opaqueAppend(Opaque**& end, UniqueOpaque block);

/// Reads the block that begins with `first` (usually the current word, which is the last one read
/// in any case) up to the next word outside braces and quotes for which `ends` is true, and appends
/// it to the list that ends at `*end`. The word that ended it is then the current one (Again), or
/// there is none (EndOfFile). Uses no recursion and keeps at most `kOpaqueMaxBytes`; the observer
/// is told of a cut.
table::Outcome opaqueRead(text::Reader& in, std::string_view first, bool (*ends)(std::string_view),
                          Opaque**& end);
