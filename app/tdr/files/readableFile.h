// SPDX-License-Identifier: MIT
// Opening an input file, with the reason if it cannot be read.
#pragma once

#include "base/uniqueFd.h"
#include "output/outcome.h"

#include <filesystem>

/// Opens a regular file that is not empty. The failure says in the system's words why `path` cannot
/// be read: missing, a directory, empty, not permitted. Drivers report only that they do not know a
/// file.
[[nodiscard]] Outcome<base::UniqueFd> openReadable(const std::filesystem::path& path);
