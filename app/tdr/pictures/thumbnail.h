// SPDX-License-Identifier: MIT
// A small PNG of a picture.
#pragma once

#include "driverSet.h"
#include "files/temporaryFile.h"
#include "scaler.h"

#include <cstdint>
#include <string>

struct Thumbnail {
    Raster pixels;
    bool whole = true; ///< false: the picture is damaged, and its lost pixels are invisible
};

/// The picture `input` reduced to at most `most` pixels a side, with its aspect and square pixels,
/// never enlarged.
[[nodiscard]] Outcome<Thumbnail> readThumbnail(DriverSet& drivers, const std::string& input,
                                               std::int32_t most);

/// Writes the PNG `output`.
[[nodiscard]] Outcome<void> writeThumbnail(DriverSet& drivers, const std::string& output,
                                           const Thumbnail& thumbnail, Existing existing);
