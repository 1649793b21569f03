// SPDX-License-Identifier: MIT
#include "bufferWindowPixels.h"

#include <algorithm>
#include <bit>

namespace {

constexpr std::uint32_t depthMask(int depth) {
    return depth >= 32 ? ~std::uint32_t{0} : (std::uint32_t{1} << std::max(depth, 0)) - 1;
}

} // namespace

PixelEncoder::Samples PixelEncoder::scaled(std::uint32_t mask) {
    Samples samples{};
    if (mask == 0) {
        return samples;
    }
    const std::uint64_t highest = (std::uint64_t{1} << std::popcount(mask)) - 1;
    for (std::uint64_t sample = 0; sample < samples.size(); ++sample) {
        const std::uint64_t value = (sample * highest + 127) / 255;
        samples[sample] = static_cast<std::uint32_t>(value << std::countr_zero(mask)) & mask;
    }
    return samples;
}

PixelEncoder::PixelEncoder(const ScreenPixel& screen)
    : red_(scaled(screen.red)), green_(scaled(screen.green)), blue_(scaled(screen.blue)),
      opaque_(depthMask(screen.depth) & ~(screen.red | screen.green | screen.blue)),
      bytes_(static_cast<std::size_t>(std::clamp(screen.bytes, 1, 4))) {
    for (std::size_t i = 0; i < bytes_; ++i) {
        shifts_[i] = static_cast<int>(8 * (screen.highByteFirst ? bytes_ - 1 - i : i));
    }
}

void PixelEncoder::encodeRow(std::span<const std::uint32_t> row, unsigned char* to) const {
    for (const std::uint32_t pixel : row) {
        const std::uint32_t value = encode(pixel);
        for (std::size_t i = 0; i < bytes_; ++i) {
            *to++ = static_cast<unsigned char>(value >> shifts_[i]);
        }
    }
}
