// SPDX-License-Identifier: MIT
// PNG files of every kind made in memory.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <png.h>
#include <string>
#include <vector>

/// The properties of a generated file.
struct PngKind {
    int width = 0;
    int height = 0;
    int colour = PNG_COLOR_TYPE_RGB_ALPHA;
    int depth = 8;
    bool interlaced = false;
    bool transparency = false; ///< a tRNS chunk, see samplePalette and kTransparentSample
    int filters = PNG_ALL_FILTERS;
};

/// Sample value that a tRNS chunk of a grey or colour picture declares transparent.
inline constexpr int kTransparentSample = 1;

/// Colour of palette entry `i`: red, green, blue, alpha (with a tRNS chunk).
inline std::array<int, 4> samplePalette(int i) {
    return {i * 37 % 256, i * 91 % 256, 255 - i, i % 2 == 0 ? 255 : i * 15 % 256};
}

inline int channelsOf(int colour) {
    switch (colour) {
    case PNG_COLOR_TYPE_GRAY_ALPHA:
        return 2;
    case PNG_COLOR_TYPE_RGB:
        return 3;
    case PNG_COLOR_TYPE_RGB_ALPHA:
        return 4;
    default:
        return 1;
    }
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
    for (int i = 0; i < 256; ++i) {
        const auto c = samplePalette(i);
        colours[static_cast<std::size_t>(i)] = {
            static_cast<png_byte>(c[0]), static_cast<png_byte>(c[1]), static_cast<png_byte>(c[2])};
        alphas[static_cast<std::size_t>(i)] = static_cast<png_byte>(c[3]);
    }
    const int entries = 1 << std::min(kind.depth, 8);
    if (kind.colour == PNG_COLOR_TYPE_PALETTE) {
        png_set_PLTE(png, info, colours.data(), entries);
    }
    png_color_16 transparent{};
    transparent.gray = kTransparentSample;
    transparent.red = kTransparentSample;
    transparent.green = kTransparentSample + 29; // sampleAt's next channels
    transparent.blue = kTransparentSample + 58;
    if (kind.transparency) {
        png_set_tRNS(png, info, alphas.data(), kind.colour == PNG_COLOR_TYPE_PALETTE ? entries : 0,
                     &transparent);
    }
    png_write_info(png, info);
    std::vector<std::string> rows;
    std::vector<png_bytep> pointers;
    rows.reserve(static_cast<std::size_t>(kind.height));
    pointers.reserve(rows.capacity());
    for (int y = 0; y < kind.height; ++y) {
        rows.push_back(packedRow(kind, y));
    }
    for (auto& row : rows) {
        pointers.push_back(reinterpret_cast<png_bytep>(row.data()));
    }
    png_write_image(png, pointers.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return out;
}

/// The host line (alpha, blue, green, red) that row `y` from the top of such a file must give.
inline std::string expectedRow(const PngKind& kind, int y) {
    std::string line;
    const int top = (1 << kind.depth) - 1;
    for (int x = 0; x < kind.width; ++x) {
        const auto sample = [&](int c) { return sampleAt(x, y, c, kind.depth); };
        const auto scaled = [&](int c) { return (sample(c) * 255 + top / 2) / top; };
        std::array<int, 4> rgba{};
        switch (kind.colour) {
        case PNG_COLOR_TYPE_PALETTE:
            rgba = samplePalette(sample(0));
            rgba[3] = kind.transparency ? rgba[3] : 255;
            break;
        case PNG_COLOR_TYPE_GRAY:
        case PNG_COLOR_TYPE_GRAY_ALPHA:
            rgba = {scaled(0), scaled(0), scaled(0), 255};
            break;
        default:
            rgba = {scaled(0), scaled(1), scaled(2), 255};
        }
        if (kind.colour == PNG_COLOR_TYPE_GRAY_ALPHA) {
            rgba[3] = scaled(1);
        } else if (kind.colour == PNG_COLOR_TYPE_RGB_ALPHA) {
            rgba[3] = scaled(3);
        } else if (kind.transparency && kind.colour != PNG_COLOR_TYPE_PALETTE &&
                   sample(0) == kTransparentSample) {
            rgba[3] = 0; // the first channel determines the other channels of such a pixel
        }
        for (int i = 3; i >= 0; --i) {
            line += static_cast<char>(rgba[static_cast<std::size_t>(i)]);
        }
    }
    return line;
}

/// The file with another size in its IHDR and the right checksum.
inline std::string withSize(std::string png, unsigned width, unsigned height) {
    for (std::size_t i = 0; i < 4; ++i) {
        png[16 + i] = static_cast<char>(width >> (24 - 8 * i));
        png[20 + i] = static_cast<char>(height >> (24 - 8 * i));
    }
    std::uint32_t crc = 0xFFFFFFFF;
    for (std::size_t i = 12; i < 29; ++i) {
        crc ^= static_cast<std::uint8_t>(png[i]);
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320 : 0);
        }
    }
    for (std::size_t i = 0; i < 4; ++i) {
        png[29 + i] = static_cast<char>(~crc >> (24 - 8 * i));
    }
    return png;
}
