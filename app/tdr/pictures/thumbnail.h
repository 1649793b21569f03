// SPDX-License-Identifier: MIT
// A small PNG of a picture.
#pragma once

#include "driverSet.h"
#include "files/temporaryFile.h"
#include "scaler.h"

#include <cstdint>
#include <string>

struct Thumbnail {
    PixelSize size;
    bool whole = true; ///< false: the picture is damaged, and its lost pixels are invisible
};

/// Writes the PNG `output`: the picture `input` reduced to at most `most` pixels a side, with its
/// aspect and square pixels, never enlarged.
[[nodiscard]] Outcome<Thumbnail> writeThumbnail(DriverSet& drivers, const std::string& input,
                                                const std::string& output, std::int32_t most,
                                                Existing existing);
