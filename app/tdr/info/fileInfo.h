// SPDX-License-Identifier: MIT
// What `tdr info` tells about a file.
#pragma once

#include "output/jsonWriter.h"
#include "output/outcome.h"
#include "pictures/driverSet.h"

#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

struct ToolkitPicture;

/// Rows of text: label and value.
using InfoRows = std::vector<std::pair<std::string, std::string>>;

/// The description of one file. Each form is built only when called.
struct FileInfo {
    const char* kind;                          ///< "picture"
    std::function<InfoRows()> rows;            ///< for people
    std::function<void(JsonWriter& out)> json; ///< for programs: writes the members of an object
    std::string damage = {};                   ///< why the file was not read in full, or empty
};

/// Describes a file by the reader for its content: the toolkit's, else that of a driver.
[[nodiscard]] Outcome<FileInfo> describeFile(const std::filesystem::path& file,
                                             const DriverOptions& drivers);

/// A scene, spline or hierarchy, called `kind`.
[[nodiscard]] Outcome<FileInfo> describeScene(const std::filesystem::path& file, const char* kind);

/// A picture or matte, from its header.
[[nodiscard]] FileInfo describeHeader(const ToolkitPicture& file);

/// A picture of another kind, by the driver that reads it.
[[nodiscard]] Outcome<FileInfo> describeByDriver(const std::filesystem::path& file,
                                                 const DriverOptions& options);
