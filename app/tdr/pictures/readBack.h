// SPDX-License-Identifier: MIT
// Proves that a new picture file holds the pixels that were written to it.
#pragma once

#include "files/replacedFile.h"
#include "pictureFile.h"
#include "pixelDifferences.h"

#include <cstdint>
#include <functional>
#include <string>

/// What the writing driver was given.
struct OriginalPicture {
    std::string name; ///< for messages
    std::int32_t width;
    std::int32_t height;
    /// A line (0 is the bottom one), valid until the next call. Called from the top line down.
    std::function<Outcome<PixelLine>(std::int32_t line)> line;
};

/// Reads the new file, which is not yet in its place, through another process of the driver that
/// has written it: that one may still hold the pixels. Fails unless every pixel is that of
/// `original`.
[[nodiscard]] Outcome<void> readBack(const OriginalPicture& original, DriverSet& drivers,
                                     std::size_t driver, const ReplacedFile& file);
