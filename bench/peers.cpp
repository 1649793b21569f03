// SPDX-License-Identifier: MIT
#include "sample.h"

#include <benchmark/benchmark.h>
#include <tiffio.h>
#define QOI_IMPLEMENTATION
#define QOI_NO_STDIO
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#include <qoi.h>
#pragma GCC diagnostic pop

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace bench {

namespace {

// --- libtiff -------------------------------------------------------------------------------------

/// A TIFF file in memory, for libtiff's callbacks.
struct MemoryFile {
    std::vector<std::uint8_t>& bytes;
    std::size_t at = 0;

    static MemoryFile& of(thandle_t handle) { return *static_cast<MemoryFile*>(handle); }

    static tmsize_t read(thandle_t handle, void* to, tmsize_t size) {
        MemoryFile& file = of(handle);
        const std::size_t count =
            std::min(static_cast<std::size_t>(size), file.bytes.size() - file.at);
        std::memcpy(to, file.bytes.data() + file.at, count);
        file.at += count;
        return static_cast<tmsize_t>(count);
    }
    static tmsize_t write(thandle_t handle, void* from, tmsize_t size) {
        MemoryFile& file = of(handle);
        const auto count = static_cast<std::size_t>(size);
        file.bytes.resize(std::max(file.bytes.size(), file.at + count));
        std::memcpy(file.bytes.data() + file.at, from, count);
        file.at += count;
        return size;
    }
    static toff_t seek(thandle_t handle, toff_t offset, int whence) {
        MemoryFile& file = of(handle);
        const std::size_t from = whence == SEEK_SET   ? 0
                                 : whence == SEEK_CUR ? file.at
                                                      : file.bytes.size();
        file.at = from + static_cast<std::size_t>(offset);
        return file.at;
    }
    static int close(thandle_t) { return 0; }
    static toff_t size(thandle_t handle) { return of(handle).bytes.size(); }
    static int map(thandle_t handle, void** base, toff_t* size) {
        *base = of(handle).bytes.data();
        *size = of(handle).bytes.size();
        return 1;
    }
    static void unmap(thandle_t, void*, toff_t) {}

    TIFF* open(const char* mode) {
        return TIFFClientOpen("memory", mode, this, read, write, seek, close, size, map, unmap);
    }
};

constexpr std::uint32_t kStripLines = 32;

void setFields(TIFF* tiff, const Sample& sample, std::uint32_t linesOfStrip) {
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, sample.width());
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, sample.height());
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 4);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    const std::uint16_t alpha = EXTRASAMPLE_UNASSALPHA;
    TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &alpha);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_PACKBITS);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, linesOfStrip);
}

void writeStrips(TIFF* tiff, Sample& sample, std::uint32_t linesOfStrip) {
    setFields(tiff, sample, linesOfStrip);
    std::uint32_t strip = 0;
    for (auto& plane : sample.picture.planes) {
        for (std::uint32_t row = 0; row < sample.height(); row += linesOfStrip) {
            const std::uint32_t lines = std::min(linesOfStrip, sample.height() - row);
            TIFFWriteEncodedStrip(tiff, strip++, plane.data() + std::size_t{row} * sample.width(),
                                  static_cast<tmsize_t>(lines) * sample.picture.width);
        }
    }
    TIFFClose(tiff);
}

TIFF* openTiff(const Sample& sample, const char* mode) {
    return TIFFFdOpen(sample.tiff.descriptor(), "scratch", mode);
}

} // namespace

void encodeTiff(Sample& sample) {
    writeStrips(openTiff(sample, "w"), sample, sample.height());
}

void decodeTiff(Sample& sample) {
    TIFF* tiff = openTiff(sample, "r");
    for (std::uint16_t channel = 0; channel < 4; ++channel) {
        for (std::uint32_t row = 0; row < sample.height(); ++row) {
            TIFFReadScanline(tiff, sample.out[channel].data(), row, channel);
        }
    }
    TIFFClose(tiff);
}

void encodeTiffStrips(Sample& sample) {
    sample.strips.clear();
    MemoryFile file{sample.strips};
    writeStrips(file.open("w"), sample, kStripLines);
}

void decodeTiffStrips(Sample& sample) {
    MemoryFile file{sample.strips};
    TIFF* tiff = file.open("r");
    const std::uint32_t strips = TIFFNumberOfStrips(tiff);
    for (std::uint32_t strip = 0; strip < strips; ++strip) {
        TIFFReadEncodedStrip(tiff, strip, sample.out[strip / (strips / 4)].data(), -1);
    }
    TIFFClose(tiff);
}

// --- QOI -----------------------------------------------------------------------------------------

void encodeQoi(Sample& sample) {
    const qoi_desc shape = {sample.width(), sample.height(), 4, QOI_SRGB};
    int bytes = 0;
    void* encoded = qoi_encode(sample.pixels.data(), &shape, &bytes);
    sample.qoi.resize(static_cast<std::size_t>(bytes));
    std::memcpy(sample.qoi.data(), encoded, sample.qoi.size());
    std::free(encoded);
}

void decodeQoi(Sample& sample) {
    qoi_desc shape{};
    void* pixels = qoi_decode(sample.qoi.data(), static_cast<int>(sample.qoi.size()), &shape, 4);
    benchmark::DoNotOptimize(pixels);
    std::free(pixels);
}

} // namespace bench
