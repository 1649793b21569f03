// SPDX-License-Identifier: MIT
#include "pictures.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

namespace bench {

namespace {

constexpr int kFullWidth = 2048;
constexpr int kFullHeight = 1556;
constexpr const char* kPreparedGroups[] = {"photograph", "artwork", "scaled-photograph",
                                           "scaled-artwork", "page"};

BenchPicture blank(const std::string& name, int width, int height) {
    BenchPicture picture{name, name, width, height, {}};
    for (auto& plane : picture.planes) {
        plane.assign(picture.planeBytes(), 0);
    }
    return picture;
}

/// Calls `pixel(x, y)`, which gives four channel values, for the whole picture.
template <typename Pixel>
BenchPicture computed(const std::string& name, int w, int h, Pixel pixel) {
    BenchPicture picture = blank(name, w, h);
    std::size_t at = 0;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x, ++at) {
            const std::array<int, 4> rgba = pixel(x, y);
            for (std::size_t c = 0; c < 4; ++c) {
                picture.planes[c][at] = static_cast<std::uint8_t>(std::clamp(rgba[c], 0, 255));
            }
        }
    }
    return picture;
}

/// A disc of the drawing: distance to its edge in pixels, negative inside.
double discEdge(int x, int y, int w, int h, int i) {
    const double cx = w * (0.12 + 0.19 * i);
    const double cy = h * (0.5 + 0.3 * std::sin(i * 1.7));
    return std::hypot(x - cx, y - cy) - h * (0.08 + 0.03 * i);
}

constexpr std::array<std::array<int, 3>, 5> kInks = {
    {{200, 40, 40}, {40, 160, 60}, {30, 60, 190}, {230, 180, 20}, {120, 50, 140}}};

/// A drawing of flat discs on a flat ground; `softness` is the width of their edges in pixels.
BenchPicture drawing(const std::string& name, int w, int h, double softness) {
    return computed(name, w, h, [=](int x, int y) -> std::array<int, 4> {
        for (int i = 0; i < static_cast<int>(kInks.size()); ++i) {
            const double edge = discEdge(x, y, w, h, i);
            if (edge < softness) {
                const auto& ink = kInks[static_cast<std::size_t>(i)];
                const double cover = softness > 0 ? std::min(1.0, (softness - edge) / softness) : 1;
                return {ink[0], ink[1], ink[2], static_cast<int>(std::lround(cover * 255))};
            }
        }
        return {240, 240, 235, softness > 0 ? 0 : 255};
    });
}

} // namespace

std::vector<BenchPicture> computedPictures(int width, int height) {
    std::vector<BenchPicture> all;
    all.push_back(drawing("flat", width, height, 0));
    all.push_back(drawing("soft", width, height, height * 0.08));
    all.push_back(computed("matte", width, height, [=](int x, int y) -> std::array<int, 4> {
        bool inside = false;
        for (int i = 0; i < 5; ++i) {
            inside = inside != (discEdge(x, y, width, height, i) < 0);
        }
        const int v = inside ? 255 : 0;
        return {v, v, v, v};
    }));
    std::mt19937 random(20260101); // the same noise every time
    all.push_back(computed("noise", width, height, [&](int, int) -> std::array<int, 4> {
        const auto bits = static_cast<int>(random());
        return {bits & 255, (bits >> 8) & 255, (bits >> 16) & 255, (bits >> 24) & 255};
    }));
    return all;
}

namespace {

/// Reads a PAM file of four 8-bit channels: text lines up to "ENDHDR", then the pixels.
BenchPicture readPam(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::string line;
    int width = 0;
    int height = 0;
    int depth = 0;
    while (std::getline(file, line) && line != "ENDHDR") {
        std::istringstream words(line);
        std::string key;
        words >> key;
        if (key == "WIDTH") {
            words >> width;
        } else if (key == "HEIGHT") {
            words >> height;
        } else if (key == "DEPTH") {
            words >> depth;
        }
    }
    if (width < 1 || height < 1 || depth != 4) {
        throw std::runtime_error(path.string() + " is not an RGBA picture");
    }
    const std::string stem = path.stem().string();
    BenchPicture picture = blank(stem, width, height);
    picture.group = stem.substr(0, stem.rfind('-'));
    std::vector<char> pixels(picture.planeBytes() * 4);
    file.read(pixels.data(), static_cast<std::streamsize>(pixels.size()));
    for (std::size_t i = 0; i < picture.planeBytes(); ++i) {
        for (std::size_t c = 0; c < 4; ++c) {
            picture.planes[c][i] = static_cast<std::uint8_t>(pixels[4 * i + c]);
        }
    }
    return picture;
}

} // namespace

std::vector<BenchPicture> preparedPictures(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> paths;
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator(folder, missing)) {
        if (entry.path().extension() == ".pam") {
            paths.push_back(entry.path());
        }
    }
    std::ranges::sort(paths);
    std::vector<BenchPicture> all;
    std::ranges::transform(paths, std::back_inserter(all), readPam);
    return all;
}

bool small() {
    return std::getenv("TDR_BENCH_SMALL") != nullptr;
}

const std::vector<BenchPicture>& pictures() {
    static const std::vector<BenchPicture> all = [] {
        if (small()) {
            std::vector<BenchPicture> set = computedPictures(160, 120);
            for (const char* group : kPreparedGroups) { // noise stands for them
                set.push_back(set[3]);
                set.back().group = group;
            }
            return set;
        }
        const char* folder = std::getenv("TDR_BENCH_PICTURES");
        std::vector<BenchPicture> set = preparedPictures(folder == nullptr ? "" : folder);
        std::ranges::move(computedPictures(kFullWidth, kFullHeight), std::back_inserter(set));
        return set;
    }();
    return all;
}

namespace {

BenchPicture upsideDown(BenchPicture picture) {
    const auto width = static_cast<std::ptrdiff_t>(picture.width);
    for (auto& plane : picture.planes) {
        for (std::ptrdiff_t top = 0, bottom = picture.height - 1; top < bottom; ++top, --bottom) {
            std::swap_ranges(plane.begin() + top * width, plane.begin() + (top + 1) * width,
                             plane.begin() + bottom * width);
        }
    }
    return picture;
}

} // namespace

std::vector<BenchPicture> twins(const std::string& group) {
    std::vector<BenchPicture> all;
    for (const BenchPicture& picture : pictures()) {
        if (picture.group == group) {
            all.push_back(picture);
            all.push_back(upsideDown(picture));
        }
    }
    return all;
}

std::vector<std::uint8_t> BenchPicture::interleaved() const {
    std::vector<std::uint8_t> pixels(planeBytes() * 4);
    for (std::size_t i = 0; i < planeBytes(); ++i) {
        for (std::size_t c = 0; c < 4; ++c) {
            pixels[4 * i + c] = planes[c][i];
        }
    }
    return pixels;
}

std::vector<std::uint8_t> BenchPicture::hostLines() const {
    std::vector<std::uint8_t> pixels(planeBytes() * 4);
    std::uint8_t* out = pixels.data();
    const auto lineLength = static_cast<std::size_t>(width);
    for (auto row = static_cast<std::size_t>(height); row-- > 0;) {
        for (std::size_t i = row * lineLength; i < (row + 1) * lineLength; ++i) {
            for (std::size_t c = 4; c-- > 0;) {
                *out++ = planes[c][i];
            }
        }
    }
    return pixels;
}

} // namespace bench
