// SPDX-License-Identifier: MIT
// What a page shows of a file: a thumbnail, or a plot.
#pragma once

#include "fileCheck.h"
#include "pictures/scaler.h"

#include <optional>
#include <string>

/// A file in the folder of images.
struct PageImage {
    std::string name;
    bool isPlot = false;
    PixelSize size; ///< of a thumbnail
};

/// Writes the image of `file`, which has been checked, into `folder`: its name is `name` and an
/// ending. None if the file cannot be shown, which is reported if it is a whole picture. Fails if
/// the image cannot be written.
[[nodiscard]] Outcome<std::optional<PageImage>>
writeImage(DriverSet& drivers, const std::string& file, const Outcome<FileCheck>& check,
           const std::filesystem::path& folder, const std::string& name);
