// SPDX-License-Identifier: MIT
// How the toolkit's modules name and open their files. Inner to the toolkit.
#pragma once

#include "base/uniqueFile.h"
#include "tinyFile.h"

#include <string_view>

/// `base` followed by `ending`. Null when out of memory, which is then why the current call fails.
[[nodiscard]] MallocString fileNameOf(std::string_view base, std::string_view ending);

/// Opens a file for reading ('r') or writing ('w'), see base::openFile. Null with errno ENOMEM also
/// for a null name.
[[nodiscard]] base::UniqueFile fileOpen(const MallocString& fileName, char mode);

/// Opens the file `name` if it ends with `ending` (case-sensitive) after at least one character,
/// else the file `name` followed by `ending`.
[[nodiscard]] base::UniqueFile fileOpen(std::string_view name, std::string_view ending, char mode);
