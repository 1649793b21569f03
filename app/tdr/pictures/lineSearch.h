// SPDX-License-Identifier: MIT
// Finds the scanlines of a PIC picture that come after damage.
//
// Lines carry no lengths, so the beginning of a line is known only from the line before it. But the
// last one ends where the file ends, and from any byte on there is only one way to decode: so all
// places from which a line reaches that end exactly are found by trying, then those from which a
// line reaches one of these, and so on. Wrong ones have nothing before them and soon die out.
#pragma once

#include "tinyPicture.h"

#include <cstdint>
#include <span>
#include <vector>

/// The places where the last lines of a picture begin, the first of them first, then the end: for n
/// lines n + 1 numbers. `bytes` are those of the file, the scanlines from `begin` on. The memory
/// and the time are bounded; fewer lines are found if they do not suffice.
[[nodiscard]] std::vector<std::int64_t> findLastLines(std::span<const std::uint8_t> bytes,
                                                      std::int64_t begin, const Picture& picture,
                                                      const ChannelPacket* chain);
