// SPDX-License-Identifier: MIT
// The pixel of pictures that hosts and drivers exchange.
#pragma once

namespace base {

/// Bytes of one pixel in a host line, one for each channel: alpha, blue, green, red.
inline constexpr int kHostPixelBytes = 4;

} // namespace base
