// SPDX-License-Identifier: MIT
// Reading and writing blocks that are kept as text. Inner: the hierarchy and scene readers use it.
#pragma once

#include "text/tinyTable.h"
#include "tinyOpaque.h"

#include <memory>
#include <string_view>

struct OpaqueDisposer {
    void operator()(Opaque* list) const noexcept { opaqueDispose(&list); }
};
using OpaqueOwner = std::unique_ptr<Opaque, OpaqueDisposer>;

/// A new block of that text, or null when memory is exhausted.
[[nodiscard]] OpaqueOwner opaqueAllocate(std::string_view text);

/// Appends to a list whose last link is `*end`, and moves `end` on. Null blocks add nothing.
void opaqueAppend(Opaque**& end, OpaqueOwner block);

/// Reads the block that begins with `first` (usually the current word, which is the last one read
/// in any case) up to the next word outside braces and quotes for which `ends` is true, and appends
/// it to the list that ends at `*end`. The word that ended it is the current one then (Again), or
/// there is none (EndOfFile). Uses no stack and keeps no more than `kOpaqueMaxBytes`; the observer
/// hears of what was cut.
table::Outcome opaqueRead(text::Reader& in, std::string_view first, bool (*ends)(std::string_view),
                          Opaque**& end);
