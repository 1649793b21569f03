// SPDX-License-Identifier: MIT
// Between the rows of a matte and the host's packed bits.
#pragma once

#include <cstddef>
#include <cstdint>

namespace softimage {

/// Bytes of a host line of packed bits: `width` pixels of `channels` bits each, rounded up.
[[nodiscard]] constexpr std::size_t packedMatteBytes(int width, int channels) {
    return (static_cast<std::size_t>(width) * static_cast<std::size_t>(channels) + 7) / 8;
}

/// ORs the bits of one channel's row (pixel x is bit 7 - x mod 8 of byte x / 8) into a host line.
/// The host's bits follow one another pixel by pixel, channel by channel within a pixel, each byte
/// filled from bit 0 upwards.
void packMatteRow(const std::uint8_t* row, int width, int channel, int channels,
                  std::uint8_t* hostLine);

} // namespace softimage
