// SPDX-License-Identifier: MIT
// The pixel of pictures that hosts and drivers exchange.
#pragma once

namespace base {

/// Bytes of one pixel in a host line, one for each channel: alpha, blue, green, red.
inline constexpr int kHostPixelBytes = 4;

/// The alpha of an opaque pixel, and the largest value of a channel.
inline constexpr int kOpaque = 255;

} // namespace base
