// SPDX-License-Identifier: MIT
// The result of checking a file, for people and for programs.
#pragma once

#include "fileCheck.h"
#include "output/jsonWriter.h"

#include <cstdint>
#include <optional>
#include <string>

/// All lines about one file, each beginning with its name.
[[nodiscard]] std::string textOf(const std::string& file, const FileCheck& check);

/// Where the damage of a file is known to begin.
struct DamagePlace {
    std::optional<std::int64_t> line; ///< of a picture counted from 0, of a text file from 1
    std::optional<std::int64_t> byte;
};
[[nodiscard]] DamagePlace damagePlaceOf(const FileCheck& check);

/// "12 files: 4 whole, 7 damaged, 1 failed, 0 skipped".
[[nodiscard]] std::string textOf(const CheckCounts& counts);

/// Writes the object of one file.
void writeJson(JsonWriter& json, const std::string& file, const Outcome<FileCheck>& check);
