// SPDX-License-Identifier: MIT
// Between the channels of one scanline and the pixels of one host line.
#pragma once

#include "tinyPicture.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace softimage {

/// Pixel formats. The host sees the first two; the others are for files without all four channels.
inline constexpr int kFormatRgba = 0;    ///< alpha, blue, green, red
inline constexpr int kFormatTag = 1;     ///< matte bits
inline constexpr int kFormatRgb = -99;   ///< blue, green, red
inline constexpr int kFormatAlpha = -98; ///< alpha

/// The channel of each byte of an RGBA host pixel. A picture's own lines run the other way.
inline constexpr std::array<PictureChannel, kPictureChannels> kHostChannels = {kAlpha, kBlue,
                                                                               kGreen, kRed};

/// One line of each channel in the order of kHostChannels; null if the file has no such channel.
using ChannelLines = std::array<std::uint8_t*, kPictureChannels>;

/// Bytes of one pixel in a host line of `format`; 1 for a format that is none of the above.
[[nodiscard]] int bytesPerHostPixel(int format);

/// Copies `width` pixels of a host line to the channels, or back. A null channel is skipped: its
/// bytes in the host line are unchanged. A format without pixels (a matte, an unknown one) copies
/// nothing. `next`, unless null, is the host line that is moved after this one; its memory is
/// fetched meanwhile.
void hostLineToChannels(int format, const std::uint8_t* hostLine, std::size_t width,
                        const ChannelLines& channels, const std::uint8_t* next = nullptr);
void channelsToHostLine(int format, const ChannelLines& channels, std::size_t width,
                        std::uint8_t* hostLine, const std::uint8_t* next = nullptr);

} // namespace softimage
