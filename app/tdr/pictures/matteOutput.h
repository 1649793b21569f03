// SPDX-License-Identifier: MIT
// Mattes (.tag) as output of conversions. The toolkit writes them: the drivers' own way keeps rows
// of earlier mattes.
#pragma once

#include "pictureOutput.h"

/// The ending of such files, with a dot.
inline constexpr std::string_view kMatteEnding = ".tag";

/// How pixels become bits.
struct MatteRule {
    std::int32_t threshold = 127;    ///< a value above it is set
    std::vector<std::string> inputs; ///< pictures that follow each other, each for a channel
};

/// True if `path` is to become a matte: by its ending or by `kind`.
[[nodiscard]] bool isMatte(const std::string& path, const std::string& kind);

/// Begins the file. Each picture becomes a channel: from its alpha if any of it is transparent,
/// else from its luminance. All have the size of the first one.
[[nodiscard]] Outcome<std::unique_ptr<PictureOutput>> openMatte(const std::string& path,
                                                                MatteRule rule, Existing existing);

/// Number of mattes in a file; 0 if it is of another kind or does not exist (yet).
[[nodiscard]] Outcome<std::int32_t> mattesIn(const std::string& path);
