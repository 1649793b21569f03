// SPDX-License-Identifier: MIT
// How the toolkit's modules name and open their files. Inner to the toolkit.
#pragma once

#include "base/uniqueFile.h"

#include <cstdio>
#include <string>
#include <string_view>

/// `name` itself if it ends with `ending` (case-sensitive) after at least one character, else
/// `name` with `ending` appended.
[[nodiscard]] std::string fileNameComplete(std::string_view name, std::string_view ending);

/// Opens the completed name for reading ('r') or writing ('w'), see base::openFile.
/// Null with errno ENOMEM also when out of memory for the name.
[[nodiscard]] base::UniqueFile fileOpen(const char* name, std::string_view ending, char mode);
