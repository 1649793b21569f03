// SPDX-License-Identifier: MIT
// PNG files of every kind made in memory.
#pragma once

#include "support/pictureFiles.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <png.h>

/// The properties of a generated file.
struct PngKind {
    int width = 0;
    int height = 0;
    int colour = PNG_COLOR_TYPE_RGB_ALPHA;
    int depth = 8;
    bool interlaced = false;
    bool transparency = false; ///< a tRNS chunk, of some colours
    int filters = PNG_ALL_FILTERS;
};

/// Channels of each colour type: grey, -, red green blue, palette, grey alpha, -, all four.
inline int channelsOf(int colour) {
    constexpr int kChannels[] = {1, 0, 3, 1, 2, 0, 4};
    return kChannels[colour];
}

/// Value of a sample: different for neighbours, every value of shallow depths occurs.
inline int sampleAt(int x, int y, int channel, int depth) {
    return (x * 7 + y * 131 + channel * 29 + x * y) % (1 << depth);
}

/// The samples of one row, packed as PNG packs them.
inline std::string packedRow(const PngKind& kind, int y) {
    std::string row(
        static_cast<std::size_t>((kind.width * channelsOf(kind.colour) * kind.depth + 7) / 8),
        '\0');
    std::size_t bit = 0;
    for (int x = 0; x < kind.width; ++x) {
        for (int c = 0; c < channelsOf(kind.colour); ++c) {
            const int value = sampleAt(x, y, c, kind.depth);
            for (int b = kind.depth - 1; b >= 0; --b, ++bit) {
                row[bit / 8] =
                    static_cast<char>(row[bit / 8] | ((value >> b & 1) << (7 - bit % 8)));
            }
        }
    }
    return row;
}

/// The bytes of a PNG of this kind.
inline std::string makePng(const PngKind& kind) {
    std::string out;
    png_structp png = png_create_write_struct(
        PNG_LIBPNG_VER_STRING, nullptr, [](png_structp, png_const_charp) { std::abort(); },
        nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(
        png, &out,
        [](png_structp p, png_bytep bytes, png_size_t count) {
            static_cast<std::string*>(png_get_io_ptr(p))
                ->append(reinterpret_cast<char*>(bytes), count);
        },
        nullptr);
    png_set_filter(png, 0, kind.filters);
    png_set_IHDR(png, info, static_cast<png_uint_32>(kind.width),
                 static_cast<png_uint_32>(kind.height), kind.depth, kind.colour,
                 kind.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    std::vector<png_color> colours(256);
    std::vector<png_byte> alphas(256);
    for (std::size_t i = 0; i < 256; ++i) {
        colours[i] = {static_cast<png_byte>(i * 37), static_cast<png_byte>(i * 91),
                      static_cast<png_byte>(255 - i)};
        alphas[i] = static_cast<png_byte>(i % 2 == 0 ? 255 : i * 15);
    }
    png_set_sRGB(png, info, PNG_sRGB_INTENT_PERCEPTUAL); // samples are used unchanged
    const int entries = 1 << std::min(kind.depth, 8);
    if (kind.colour == PNG_COLOR_TYPE_PALETTE) {
        png_set_PLTE(png, info, colours.data(), entries);
    }
    png_color_16 transparent{};
    transparent.gray = transparent.red = 1;
    transparent.green = 1 + 29; // sampleAt's next channels
    transparent.blue = 1 + 58;
    if (kind.transparency) {
        png_set_tRNS(png, info, alphas.data(), kind.colour == PNG_COLOR_TYPE_PALETTE ? entries : 0,
                     &transparent);
    }
    png_write_info(png, info);
    std::vector<std::string> rows;
    std::vector<png_bytep> pointers;
    rows.reserve(static_cast<std::size_t>(kind.height)); // none of them moves
    for (int y = 0; y < kind.height; ++y) {
        rows.push_back(packedRow(kind, y));
        pointers.push_back(reinterpret_cast<png_bytep>(rows.back().data()));
    }
    png_write_image(png, pointers.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return out;
}

/// The host lines (alpha, blue, green, red) of a PNG from the bottom, by libpng's own one-call
/// reader.
inline std::vector<std::string> hostLines(const std::string& png) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_TRUE(png_image_begin_read_from_memory(&image, png.data(), png.size())) << image.message;
    image.format = PNG_FORMAT_ABGR;
    std::string pixels(PNG_IMAGE_SIZE(image), '\0');
    EXPECT_TRUE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr)) << image.message;
    std::vector<std::string> lines;
    const std::size_t size = std::size_t{image.width} * 4;
    for (std::size_t y = image.height; y-- > 0;) {
        lines.push_back(pixels.substr(y * size, size));
    }
    return lines;
}

/// The file with another size in its IHDR and the right checksum.
inline std::string withSize(std::string png, unsigned width, unsigned height) {
    const std::string ihdr = support::be32(width) + support::be32(height) + png.substr(24, 5);
    return png.replace(8, 25, support::pngChunk("IHDR", ihdr));
}
