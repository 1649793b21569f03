// SPDX-License-Identifier: MIT
// A conversion of one picture: reads through one driver and writes through another, or through the
// same one if it knows both formats.
#pragma once

#include "alpha.h"
#include "driverSet.h"
#include "files/temporaryFile.h"
#include "output/outcome.h"
#include "pamStream.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// Size of pixels above which a picture is converted line by line: room for a film frame of 4096 x
/// 3112, but small enough that a small file with a large claimed size does no harm.
inline constexpr std::size_t kMostPixelBytes = std::size_t{64} << 20;

/// What is the same for all pictures of a run.
struct ConversionOptions {
    std::string kind;         ///< of the output: a driver's name or an ending; empty: not given
    std::string from;         ///< of the input, likewise
    std::string preRead;      ///< an outside command of the reading driver; empty: none
    std::string postWrite;    ///< of the writing driver
    std::int32_t channel = 0; ///< of a matte, counted from 1; 0: the first, with a report
    AlphaChange alpha = AlphaChange::None;
    bool keepDamaged = false;
    bool verify = false;
    bool preserveTime = false;
    bool quiet = false; ///< losses are not reported
    Existing existing = Existing::Kept;
    std::size_t mostBytes = kMostPixelBytes; ///< of pixels in memory
    double timeout = 0;                      ///< seconds for a picture; 0: no limit
    std::int32_t threshold = 127;            ///< of alpha or luminance in a matte
};

/// What to read and what to write.
struct Conversion {
    std::vector<std::string> inputs; ///< several become the channels of a matte
    std::string output;
    std::int32_t channel = 0; ///< of a matte, instead of that of the options
    std::int32_t frame = 0;
};

struct Converted {
    Outcome<void> outcome = {}; ///< damaged input is a problem, even if the file was written
    bool damaged = false;       ///< the damage of an input is the problem
    bool unwanted = false;      ///< not written: nobody reads standard output any more
};

/// Converts one picture; "-" as the output is standard output.
[[nodiscard]] Converted convertPicture(DriverSet& drivers, const ConversionOptions& options,
                                       const Conversion& conversion);

/// Converts the picture whose header `reader` has just read.
[[nodiscard]] Converted convertFromStream(DriverSet& drivers, const ConversionOptions& options,
                                          PamReader& reader, const std::string& output);
