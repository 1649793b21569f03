// SPDX-License-Identifier: MIT
// The kinds of files that `tdr info` can describe. To add one, write its two functions and give it
// a row in fileKinds.cpp.
#pragma once

#include "output/jsonWriter.h"
#include "output/outcome.h"
#include "pictures/driverSet.h"

#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

/// The description of one file: rows of text for people and an object for programs.
struct FileInfo {
    std::vector<std::pair<std::string, std::string>> rows; ///< label and value
    /// Writes the members of the object; called only for JSON.
    std::function<void(JsonWriter& out)> json;
    std::string damage = {}; ///< why the file was not read in full, or empty
};

struct FileKind {
    const char* name;
    /// Whether the file is of this kind, by its name or its first bytes. Never fails.
    bool (*recognises)(const std::filesystem::path& file);
    Outcome<FileInfo> (*describe)(const std::filesystem::path& file, DriverSet& drivers);
};

/// The kinds in the order in which they are tried. The last one accepts every file.
[[nodiscard]] std::span<const FileKind> fileKinds();

/// A scene, spline or hierarchy; the toolkit reads it without a driver.
[[nodiscard]] Outcome<FileInfo> describeScene(const std::filesystem::path& file,
                                              DriverSet& drivers);

/// A picture, described by the driver that reads it.
[[nodiscard]] Outcome<FileInfo> describePicture(const std::filesystem::path& file,
                                                DriverSet& drivers);
