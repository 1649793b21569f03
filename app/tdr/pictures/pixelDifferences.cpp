// SPDX-License-Identifier: MIT
#include "pixelDifferences.h"

#include "base/hostPixel.h"
#include "output/formatted.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

constexpr double kPeak = 255;

/// "#rrggbbaa"
std::string colourText(PixelLine pixel) {
    return formatted("#{:02x}{:02x}{:02x}{:02x}", pixel[3], pixel[2], pixel[1], pixel[0]);
}

} // namespace

void PixelDifferences::add(PixelLine a, PixelLine b, std::int32_t fromTop) {
    samples_ += a.size();
    if (std::ranges::equal(a, b)) {
        return;
    }
    for (std::size_t at = 0; at < a.size(); at += base::kHostPixelBytes) {
        int worst = 0;
        for (std::size_t i = at; i < at + base::kHostPixelBytes; ++i) {
            const int apart = std::abs(a[i] - b[i]);
            squares_ += static_cast<std::uint64_t>(apart * apart);
            worst = std::max(worst, apart);
        }
        if (worst > 0 && count_++ == 0) {
            first_ = formatted("first at column {} of line {} from the top: {} and {}",
                               at / base::kHostPixelBytes, fromTop, colourText(a.subspan(at)),
                               colourText(b.subspan(at)));
        }
        largest_ = std::max(largest_, worst);
    }
}

double PixelDifferences::psnr() const {
    const double meanSquare = static_cast<double>(squares_) / static_cast<double>(samples_);
    return 10 * std::log10(kPeak * kPeak / meanSquare);
}
