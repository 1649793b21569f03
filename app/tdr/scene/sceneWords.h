// SPDX-License-Identifier: MIT
// What a misspelled word of a scene, a spline or a hierarchy was probably meant to be.
#pragma once

#include <string>
#include <string_view>

/// " (did you mean LIGHT_NAME?)", or nothing.
[[nodiscard]] std::string hintFor(std::string_view word);
