// SPDX-License-Identifier: MIT
// The pictures of the benchmarks: some are read from files that bench/prepare-pictures makes from
// free packages, the others are computed here.
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
    std::string
        group; ///< photograph, artwork, the same scaled down, page, flat, soft, matte, noise
    int width = 0;
    int height = 0;
    std::array<std::vector<std::uint8_t>, 4> planes; ///< red, green, blue, alpha

    [[nodiscard]] std::size_t planeBytes() const {
        return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    }
    /// Red, green, blue, alpha of each pixel, top row first.
    [[nodiscard]] std::vector<std::uint8_t> interleaved() const;
    /// Alpha, blue, green, red of each pixel, bottom row first: the form that a host sends to a
    /// driver.
    [[nodiscard]] std::vector<std::uint8_t> hostLines() const;
};

/// Computed pictures of the given size: flat drawing, the same with soft alpha edges, matte, noise.
std::vector<BenchPicture> computedPictures(int width, int height);

/// Every "group-name.pam" (RGBA) of a folder, sorted by name; none if there is no such folder.
std::vector<BenchPicture> preparedPictures(const std::filesystem::path& folder);

/// The pictures that a bench program uses: the prepared and the computed ones of about 2048 x 1556,
/// or with TDR_BENCH_SMALL set computed ones of 160 x 120 for every group. TDR_BENCH_PICTURES names
/// the folder.
const std::vector<BenchPicture>& pictures();

/// The pictures of a group, each followed by its upside-down copy, so that branch predictors cannot
/// learn one picture.
std::vector<BenchPicture> twins(const std::string& group);

/// True to take every figure once on small input, only to check that the bench still runs.
bool small();

} // namespace bench
