// SPDX-License-Identifier: MIT
// The limits that more than one module uses, with their reasons.
#pragma once

#include <cstddef>

namespace base {

/// Largest width or height of a picture: both file formats store them as signed 16-bit numbers.
inline constexpr int kMaxPictureSide = 32767;

/// Whether a picture can have this width or height.
constexpr bool isPictureSide(long long pixels) {
    return pixels >= 1 && pixels <= kMaxPictureSide;
}

/// Maximum number of matte channels of a TAG file: a format reply carries the channel count, two
/// depths and one long per channel in the 256 longs of a packet.
inline constexpr int kMaxTagChannels = 253;

/// Longest path, with its terminating zero, that a driver keeps (`TDR_Driver::fileName`).
inline constexpr std::size_t kPathCapacity = 1024;

} // namespace base
