// SPDX-License-Identifier: MIT
// Whether colours are multiplied by their alpha. Files do not record it, so the user may request a
// conversion.
#pragma once

#include <cstdint>
#include <span>

enum class AlphaChange {
    None,
    Premultiply,   ///< colour x alpha / 255, rounded to the nearest
    Unpremultiply, ///< colour x 255 / alpha, rounded to the nearest and at most 255; where alpha is
                   ///< 0 the colour is unchanged
};

/// Changes pixels of four bytes, in the order alpha, blue, green, red.
void changeAlpha(AlphaChange change, std::span<std::uint8_t> pixels);
