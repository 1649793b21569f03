// SPDX-License-Identifier: MIT
// The pictures that everything is measured on: some are read from files that bench/prepare-pictures
// made from free packages, the others are computed here.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace bench {

/// A picture in planes, top row first.
struct BenchPicture {
    std::string name;
    std::string group; ///< photograph, artwork, page, flat, soft, matte or noise
    int width = 0;
    int height = 0;
    std::array<std::vector<std::uint8_t>, 4> planes; ///< red, green, blue, alpha

    [[nodiscard]] std::size_t planeBytes() const {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
    /// Red, green, blue, alpha of each pixel, top row first.
    [[nodiscard]] std::vector<std::uint8_t> interleaved() const;
    /// Alpha, blue, green, red of each pixel, bottom row first: what a host hands to a driver.
    [[nodiscard]] std::vector<std::uint8_t> hostLines() const;
};

/// Computed pictures of the given size: flat drawing, the same with soft alpha edges, matte, noise.
std::vector<BenchPicture> computedPictures(int width, int height);

/// Every "group-name.pam" (RGBA) of a folder, in the order of their names; none when there is no
/// such folder.
std::vector<BenchPicture> preparedPictures(const std::filesystem::path& folder);

/// What a bench program measures: the prepared and the computed pictures of about 2048 x 1556, or
/// with TDR_BENCH_SMALL set only computed ones of 160 x 120. TDR_BENCH_PICTURES names the folder.
const std::vector<BenchPicture>& pictures();

/// The pictures of a group, each followed by itself upside down: who works on them in turn does not
/// learn one by heart.
std::vector<BenchPicture> twins(const std::string& group);

/// True when every figure is to be taken once, small, only to see that the bench still runs.
bool small();

} // namespace bench
