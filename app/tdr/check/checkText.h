// SPDX-License-Identifier: MIT
// The result of checking a file, for people and for programs.
#pragma once

#include "fileCheck.h"
#include "output/jsonWriter.h"

#include <string>

/// All lines about one file, each beginning with its name.
[[nodiscard]] std::string textOf(const std::string& file, const FileCheck& check);

/// Writes the object of one file.
void writeJson(JsonWriter& json, const std::string& file, const Outcome<FileCheck>& check);
