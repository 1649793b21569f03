// SPDX-License-Identifier: MIT
// How much of a long series is tried. The sanitizers make a step about ten times as slow, and what
// they find shows in a part of the series as well.
#pragma once

#include <cstddef>

namespace support {

#ifdef __SANITIZE_ADDRESS__
inline constexpr bool kWholeSeries = false;
#else
inline constexpr bool kWholeSeries = true;
#endif

/// Every how many steps one is tried: a prime, so that it never stays at one bit or kind.
inline constexpr std::size_t kStep = kWholeSeries ? 1 : 7;

} // namespace support
