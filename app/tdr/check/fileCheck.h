// SPDX-License-Identifier: MIT
// Whether a file is whole: every line of a picture, everything that a scene says.
#pragma once

#include "output/outcome.h"
#include "pictures/driverSet.h"
#include "scene/sceneReport.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

/// The lines of a picture or matte, counted from the top one, which is 0.
struct CheckedLines {
    std::int32_t width = 0;
    std::int32_t count = 0;
    std::int32_t intact = 0;          ///< those before the first one that is damaged
    std::optional<std::int64_t> byte; ///< where the damage is known to be: the beginning of that
                                      ///< line, or of what follows the last one
};

struct FileCheck {
    const char* kind; ///< "picture"
    bool whole = true;
    std::string verdict;               ///< "30 of 303 lines are intact ..."
    std::optional<CheckedLines> lines; ///< of a picture
    std::optional<SceneReport> report; ///< of a scene, spline or hierarchy
};

/// How many of the files are what.
struct CheckCounts {
    std::size_t whole = 0;
    std::size_t damaged = 0;
    std::size_t failed = 0;
    std::size_t skipped = 0;

    [[nodiscard]] std::size_t all() const { return whole + damaged + failed + skipped; }
};

/// Reads all of a file by the reader for its content. Fails if it cannot be read, is of an unknown
/// kind, or is so damaged that nothing of it can be read.
[[nodiscard]] Outcome<FileCheck> checkFile(const std::filesystem::path& file,
                                           const DriverOptions& drivers);

/// True when the ending of the name promises a file that can be checked.
[[nodiscard]] bool hasKnownEnding(const std::filesystem::path& file, DriverSet& drivers);
