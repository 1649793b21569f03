// SPDX-License-Identifier: MIT
// The metadata of picture files. Drivers transfer only pixels: a conversion itself copies the
// metadata from one file to the other, and reports what the other cannot hold.
#pragma once

#include "output/outcome.h"
#include "pngChunks.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// Default values for files other than PIC, TAG and PNG.
struct Metadata {
    float ratio = 1;         ///< unchanged from the file
    std::int16_t fields = 3; ///< field code; 3 is a full frame
    std::string comment;
    std::optional<PngChunks> png; ///< of a PNG: all of them
};

/// Reads it from `path`, by the file's first bytes, whatever its name. Fails, with only the
/// system's reason, when the file cannot be read: the losses are then unknown.
[[nodiscard]] Outcome<Metadata> readMetadata(const std::filesystem::path& path);

/// Texts for all of it, for an output that holds none.
[[nodiscard]] std::vector<std::string> textsOf(const Metadata& metadata);

/// True for a PIC, TAG or PNG file, by its first bytes, and for a file that the system does not let
/// be read: it may be one.
[[nodiscard]] bool mayBePicture(const std::filesystem::path& path);

/// Writes `from` into the picture file at `to`, which a driver has just written. Returns texts for
/// everything that does not fit there, or a problem: the file is then useless.
[[nodiscard]] Outcome<std::vector<std::string>> carryMetadata(const Metadata& from,
                                                              const std::filesystem::path& to);
