// SPDX-License-Identifier: MIT
// What picture files say beside their pixels. Drivers move pixels only: a conversion reads this
// from the one file itself and puts it into the other, and says what has no place there.
#pragma once

#include "output/outcome.h"
#include "pngChunks.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// In a file of another kind than PIC, TAG and PNG nothing is known.
struct Metadata {
    float ratio = 1;         ///< as the file has it
    std::int16_t fields = 3; ///< field code; 3 is a full frame
    std::string comment;
    std::optional<PngChunks> png; ///< of a PNG: with all that it has
};

/// Reads it from `path`, by the file's first bytes, whatever its name. Fails, with the system's
/// reason alone, when the file cannot be read: then nobody knows what is lost.
[[nodiscard]] Outcome<Metadata> readMetadata(const std::filesystem::path& path);

/// Puts `from` into the picture file at `to`, which a driver has just written. What is left out for
/// want of a place, in words; or the errno of what failed: then the file is useless.
[[nodiscard]] Outcome<std::vector<std::string>> carryMetadata(const Metadata& from,
                                                              const std::filesystem::path& to);
