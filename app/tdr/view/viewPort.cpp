// SPDX-License-Identifier: MIT
#include "viewPort.h"

#include "pictures/pixelRatio.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>

namespace {

/// About the width of a hand on a screen of 96 dots an inch.
constexpr double kHand = 320;

constexpr double kThird = 1.0 / 3;

/// Reduced, so that no step is too large; enlarged, by whole numbers.
constexpr std::array kScales = {1.0 / 128, 1.0 / 64, 1.0 / 32, 1.0 / 16, 1.0 / 12,   1.0 / 8,
                                1.0 / 6,   0.25,     kThird,   0.5,      2 * kThird, 1.0,
                                2.0,       3.0,      4.0,      6.0,      8.0,        12.0,
                                16.0,      24.0,     32.0,     64.0};

double nextScale(double scale, int steps) {
    constexpr double kSame = 1.001; // of two scales
    for (; steps > 0; --steps) {
        const auto* larger = std::ranges::upper_bound(kScales, scale * kSame);
        scale = larger != kScales.end() ? *larger : scale;
    }
    for (; steps < 0; ++steps) {
        const auto* notSmaller = std::ranges::lower_bound(kScales, scale / kSame);
        scale = notSmaller != kScales.begin() ? *(notSmaller - 1) : scale;
    }
    return scale;
}

double scaleInto(double width, double height, PixelSize room) {
    const double scale = std::min(room.width / width, room.height / height);
    return scale > 1 ? std::floor(scale) : scale;
}

int rounded(double side) {
    return static_cast<int>(std::max(std::lround(side), 1L));
}

double wideWidth(PixelSize picture, double ratio) {
    return picture.width * std::max(meantRatio(ratio), 1.0);
}

double highHeight(PixelSize picture, double ratio) {
    return picture.height / std::min(meantRatio(ratio), 1.0);
}

} // namespace

PixelSize windowSize(PixelSize picture, double ratio, PixelSize room) {
    const double width = wideWidth(picture, ratio);
    const double height = highHeight(picture, ratio);
    const double wanted = std::max(std::ceil(kHand / std::max(width, height)), 1.0);
    const double scale = std::min(wanted, scaleInto(width, height, room));
    return {std::min(rounded(width * scale), room.width),
            std::min(rounded(height * scale), room.height)};
}

ViewPort::ViewPort(PixelSize picture, double ratio, PixelSize window)
    : picture_(picture), width_(wideWidth(picture, ratio)), height_(highHeight(picture, ratio)),
      window_(window) {
    fit();
}

void ViewPort::fit() {
    fits_ = true;
    scale_ = scaleInto(width_, height_, window_);
    place(0, 0);
}

void ViewPort::resizeWindow(PixelSize window) {
    const double right = (window.width - window_.width) / 2.0;
    const double down = (window.height - window_.height) / 2.0;
    window_ = window;
    if (fits_) {
        fit();
    } else {
        place(left_ + right, top_ + down);
    }
}

void ViewPort::showPixels() {
    scaleAt(1, window_.width / 2, window_.height / 2);
}

void ViewPort::zoom(int steps, int x, int y) {
    scaleAt(nextScale(scale_, steps), x, y);
}

void ViewPort::pan(int right, int down) {
    place(left_ + right, top_ + down);
}

PixelSize ViewPort::shown() const {
    return {rounded(width_ * scale_), rounded(height_ * scale_)};
}

std::optional<ViewPort::Pixel> ViewPort::pixelAt(int x, int y) const {
    const PixelSize size = shown();
    const int right = x - left_;
    const int down = y - top_;
    if (right < 0 || down < 0 || right >= size.width || down >= size.height) {
        return {};
    }
    return Pixel{static_cast<int>(std::int64_t{right} * picture_.width / size.width),
                 static_cast<int>(std::int64_t{down} * picture_.height / size.height)};
}

void ViewPort::scaleAt(double scale, int x, int y) {
    const double change = scale / scale_;
    fits_ = false;
    scale_ = scale;
    place(x - (x - left_) * change, y - (y - top_) * change);
}

void ViewPort::place(double left, double top) {
    const auto within = [](double wanted, int shown, int window) {
        const int room = window - shown;
        return room >= 0 ? room / 2 : std::clamp(static_cast<int>(std::lround(wanted)), room, 0);
    };
    const PixelSize size = shown();
    left_ = within(left, size.width, window_.width);
    top_ = within(top, size.height, window_.height);
}
