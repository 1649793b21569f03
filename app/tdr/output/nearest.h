// SPDX-License-Identifier: MIT
// The known word that a misspelled one was probably meant to be.
#pragma once

#include <string>
#include <string_view>
#include <vector>

/// The word of `known` that needs the fewest letters inserted, removed, replaced or swapped with
/// their neighbour to become `word`, the first of several; empty if more than a third of its
/// letters would change.
[[nodiscard]] std::string nearest(std::string_view word, const std::vector<std::string>& known);
