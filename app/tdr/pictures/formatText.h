// SPDX-License-Identifier: MIT
// Texts for the values that drivers report.
#pragma once

#include "tdr/session.h"

#include <cstdint>
#include <string>

/// "4 channels of 8 bits (0x40 0x20 0x10 0x08)". Each driver defines its own codes.
[[nodiscard]] std::string formatText(const tdr::PixelFormat& format);

/// "0x4033: 0x4000 (no outside commands around transfers), 0x0033". Only one bit has the same
/// meaning for all drivers.
[[nodiscard]] std::string accessModesText(std::int32_t modes);
