// SPDX-License-Identifier: MIT
// A conversion of one picture: reads through one driver and writes through another, or through the
// same one if it knows both formats.
#pragma once

#include "alpha.h"
#include "driverSet.h"
#include "files/temporaryFile.h"
#include "output/outcome.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// Size of pixels above which a picture is converted line by line: room for a film frame of 4096 x
/// 3112, but small enough that a small file with a large claimed size does no harm.
inline constexpr std::size_t kMostPixelBytes = std::size_t{64} << 20;

/// What is the same for all pictures of a run.
struct ConversionOptions {
    std::string kind;         ///< of the output: a driver's name or an ending; empty: not given
    std::int32_t channel = 0; ///< of a matte, counted from 1; 0: the first, with a report
    AlphaChange alpha = AlphaChange::None;
    bool keepDamaged = false;
    bool verify = false;
    bool preserveTime = false;
    bool quiet = false; ///< losses are not reported
    Existing existing = Existing::Kept;
    std::size_t mostBytes = kMostPixelBytes; ///< of pixels in memory
};

struct Converted {
    Outcome<void> outcome = {}; ///< damaged input is a problem, even if the file was written
    bool damaged = false;       ///< the input was not read in full
};

/// Converts the file `input` to the file `output`.
[[nodiscard]] Converted convertPicture(DriverSet& drivers, const ConversionOptions& options,
                                       const std::string& input, const std::string& output);
