// SPDX-License-Identifier: MIT
// Sets of frames, as they are written: "1-100x2,120".
#pragma once

#include "output/outcome.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Frames in ascending order, each once.
using Frames = std::vector<std::int32_t>;

/// Frames, ranges A-B and ranges with a step A-BxN, separated by commas: at most a million frames.
[[nodiscard]] Outcome<Frames> parseFrames(std::string_view text);

/// "1-3, 7, 9 and more": at most `most` ranges.
[[nodiscard]] std::string textOf(std::span<const std::int32_t> frames, std::size_t most = 20);

/// The same for the frames that are missing between the first and the last; empty if none is.
[[nodiscard]] std::string gapsIn(std::span<const std::int32_t> frames, std::size_t most = 20);
