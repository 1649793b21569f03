// SPDX-License-Identifier: MIT
// The row of a file in a page.
#pragma once

#include "pageImage.h"

#include <filesystem>
#include <optional>
#include <string>

/// The path of `file` as a page in `folder` names it in links, for any bytes in names.
[[nodiscard]] std::string linkTo(const std::filesystem::path& file,
                                 const std::filesystem::path& folder);

/// Of the file that was checked as `file`; `link` leads to it, and `images` to its image.
[[nodiscard]] std::string rowOf(const std::string& file, const std::string& link,
                                const Outcome<FileCheck>& check,
                                const std::optional<PageImage>& image, const std::string& images);
