// SPDX-License-Identifier: MIT
#include "alpha.h"

#include "base/hostPixel.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr unsigned kOpaque = base::kOpaque;

std::uint8_t multiplied(unsigned colour, unsigned alpha) {
    return static_cast<std::uint8_t>((colour * alpha + kOpaque / 2) / kOpaque);
}

std::uint8_t divided(unsigned colour, unsigned alpha) {
    return alpha == 0 ? static_cast<std::uint8_t>(colour)
                      : static_cast<std::uint8_t>(
                            std::min((colour * kOpaque + alpha / 2) / alpha, kOpaque));
}

template <std::uint8_t (&Change)(unsigned colour, unsigned alpha)>
void changeAll(std::span<std::uint8_t> pixels) {
    for (std::size_t i = 0; i + base::kHostPixelBytes <= pixels.size();
         i += base::kHostPixelBytes) {
        std::uint8_t* pixel = &pixels[i];
        const std::uint8_t alpha = pixel[0];
        for (std::size_t channel = 1; alpha != kOpaque && channel < base::kHostPixelBytes;
             ++channel) {
            pixel[channel] = Change(pixel[channel], alpha);
        }
    }
}

} // namespace

void changeAlpha(AlphaChange change, std::span<std::uint8_t> pixels) {
    if (change == AlphaChange::Premultiply) {
        changeAll<multiplied>(pixels);
    } else if (change == AlphaChange::Unpremultiply) {
        changeAll<divided>(pixels);
    }
}
