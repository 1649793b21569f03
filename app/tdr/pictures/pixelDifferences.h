// SPDX-License-Identifier: MIT
// How two pictures of the same size differ, line by line.
#pragma once

#include <cstdint>
#include <span>
#include <string>

/// Pixels of four bytes, in the order alpha, blue, green, red.
using PixelLine = std::span<const std::uint8_t>;

class PixelDifferences {
  public:
    /// Compares a line of both, `fromTop` lines below the top one.
    void add(PixelLine a, PixelLine b, std::int32_t fromTop);

    /// Number of different pixels.
    [[nodiscard]] std::int64_t count() const { return count_; }
    /// "first at column 3 of line 0 from the top: #rrggbbaa and #rrggbbaa"; empty without any.
    [[nodiscard]] const std::string& first() const { return first_; }
    /// The largest difference of two samples, 0 to 255.
    [[nodiscard]] int largest() const { return largest_; }
    /// Peak signal to noise ratio over all four channels, in dB; infinite without differences.
    [[nodiscard]] double psnr() const;

  private:
    std::int64_t count_ = 0;
    std::string first_;
    int largest_ = 0;
    std::uint64_t squares_ = 0; ///< sum of the squared differences of samples
    std::uint64_t samples_ = 0;
};
