// SPDX-License-Identifier: MIT
// Endings of file names, in upper or lower case.
#pragma once

#include <filesystem>
#include <string_view>

namespace base {

/// Compares ASCII letters without their case.
[[nodiscard]] bool sameLetters(std::string_view a, std::string_view b);

/// True when the name of `path` ends in `extension`, which is not empty.
[[nodiscard]] bool hasExtension(const std::filesystem::path& path, std::string_view extension);

} // namespace base
