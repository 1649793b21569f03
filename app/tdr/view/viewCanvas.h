// SPDX-License-Identifier: MIT
// Draws a picture as its window shows it.
#pragma once

#include "tdr/picture.h"
#include "viewPort.h"

#include <cstdint>

enum class ViewChannel : std::uint8_t { Colours, Red, Green, Blue, Alpha };

/// What of a picture is shown.
struct ViewLayer {
    ViewChannel channel = ViewChannel::Colours; ///< one alone is shown in grey
    bool premultiplied = false;                 ///< the colours are already multiplied by alpha
};

/// Grey of the checkerboard at a pixel of the window, counted from its upper left corner.
[[nodiscard]] constexpr std::uint32_t checkerboard(int column, int row) {
    constexpr int kSquare = 8;
    return (column / kSquare + row / kSquare) % 2 == 0 ? 204 : 153;
}

/// The picture as a raster.
[[nodiscard]] Raster layerOf(const tdr::Picture& picture, const ViewLayer& layer);

/// The window's pixels: the layer over a checkerboard, and black around it.
[[nodiscard]] Raster drawView(const Raster& layer, const ViewPort& port);
