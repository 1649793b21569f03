// SPDX-License-Identifier: MIT
// What drivers report, in words.
#pragma once

#include "tdr/driver.h"

#include <cstdint>
#include <string>

/// "4 channels of 8 bits (0x40 0x20 0x10 0x08)". The meaning of the codes is each driver's own.
[[nodiscard]] std::string formatText(const tdr::PixelFormat& format);

/// "0x4033: 0x4000 (no outside commands around transfers), 0x0033". Only one bit has a meaning that
/// all drivers share.
[[nodiscard]] std::string accessModesText(std::int32_t modes);
