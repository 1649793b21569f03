// SPDX-License-Identifier: MIT
#include "viewCanvas.h"

#include "base/byteOrder.h"
#include "base/hostPixel.h"
#include "pictures/alpha.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace {

constexpr std::uint32_t kOpaque = 0xff000000U;

/// Where a channel is in a pixel, in bits from the lowest.
constexpr std::array kShifts = {0, 0, 8, 16, 24};

std::uint32_t grey(std::uint32_t value) {
    return kOpaque | value << 16 | value << 8 | value;
}

void drawCheckerboard(const ViewPort& port, Raster& to) {
    const PixelSize shown = port.shown();
    const int right = std::min(port.left() + shown.width, to.size.width);
    const int bottom = std::min(port.top() + shown.height, to.size.height);
    for (int row = std::max(port.top(), 0); row < bottom; ++row) {
        const auto fromBottom = static_cast<std::size_t>(to.size.height - 1 - row);
        std::uint32_t* line = &to.pixels[fromBottom * static_cast<std::size_t>(to.size.width)];
        for (int column = std::max(port.left(), 0); column < right; ++column) {
            line[column] = grey(checkerboard(column, row));
        }
    }
}

} // namespace

Raster layerOf(const tdr::Picture& picture, const ViewLayer& layer) {
    Raster raster({picture.width, picture.height});
    const bool colours = layer.channel == ViewChannel::Colours;
    const int shift = kShifts[static_cast<std::size_t>(layer.channel)];
    const std::size_t size = tdr::lineBytes(picture.width);
    std::vector<std::uint8_t> line(size);
    for (std::size_t i = 0; i < raster.pixels.size(); ++i) {
        const std::size_t byte = i * base::kHostPixelBytes % size;
        if (byte == 0) {
            std::copy_n(&picture.pixels[i * base::kHostPixelBytes], size, line.begin());
            changeAlpha(colours && !layer.premultiplied ? AlphaChange::Premultiply
                                                        : AlphaChange::None,
                        line);
        }
        const std::uint32_t pixel = base::loadBe32(&line[byte]);
        raster.pixels[i] = colours ? pixel : grey(pixel >> shift & 0xffU);
    }
    return raster;
}

Raster drawView(const Raster& layer, const ViewPort& port) {
    Raster window(port.window());
    drawCheckerboard(port, window);
    Scaler(layer.size, port.shown()).draw(layer, window, port.left(), port.top());
    return window;
}
