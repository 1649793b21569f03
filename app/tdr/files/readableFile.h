// SPDX-License-Identifier: MIT
// A file that can be read at all.
#pragma once

#include "base/uniqueFd.h"
#include "output/outcome.h"

#include <filesystem>

/// Opens a regular file that holds something. The failure says in the system's words why `path`
/// cannot be read: missing, a directory, empty, not permitted. Drivers only say that they do not
/// know a file.
[[nodiscard]] Outcome<base::UniqueFd> openReadable(const std::filesystem::path& path);

/// The same without keeping it open.
[[nodiscard]] Outcome<bool> checkReadable(const std::filesystem::path& path);
