// SPDX-License-Identifier: MIT
// The kinds of files that `tdr info` can describe.
#pragma once

#include "output/jsonWriter.h"
#include "output/outcome.h"
#include "pictures/driverSet.h"

#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/// Rows of text: label and value.
using InfoRows = std::vector<std::pair<std::string, std::string>>;

/// The description of one file. Each form is built only when called.
struct FileInfo {
    std::function<InfoRows()> rows;            ///< for people
    std::function<void(JsonWriter& out)> json; ///< for programs: writes the members of an object
    std::string damage = {};                   ///< why the file was not read in full, or empty
};

struct FileKind {
    const char* name;
    Outcome<FileInfo> (*describe)(const std::filesystem::path& file, DriverSet& drivers);
};

/// The kinds in the order in which they are tried. The last one accepts every file.
[[nodiscard]] FileKind kindOf(const std::filesystem::path& file);

/// A scene, spline or hierarchy; the toolkit reads it without a driver.
[[nodiscard]] Outcome<FileInfo> describeScene(const std::filesystem::path& file,
                                              DriverSet& drivers);

/// A picture, described by the driver that reads it.
[[nodiscard]] Outcome<FileInfo> describePicture(const std::filesystem::path& file,
                                                DriverSet& drivers);
