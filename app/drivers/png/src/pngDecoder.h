// SPDX-License-Identifier: MIT
// One PNG file read from its first row to its last.
#pragma once

#include "pngGuard.h"

#include "base/hostPixel.h"
#include "base/uniqueFile.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace png_filter {

/// Decodes any kind of PNG (grey, palette, colour; 1 to 16 bits; with or without alpha or a
/// transparent colour) to host pixels. 16-bit samples are scaled to 8 bits, pixels of a picture
/// without transparency get alpha 255, and colour profiles and gamma are not applied.
class PngDecoder {
  public:
    /// Opens `path` and reads everything before the first row. Null on failure: `report` then says
    /// why, or is empty when there is no such file or it is not a PNG.
    [[nodiscard]] static std::unique_ptr<PngDecoder> open(const char* path, PngReport& report);

    PngDecoder(const PngDecoder&) = delete;
    PngDecoder& operator=(const PngDecoder&) = delete;
    ~PngDecoder();

    [[nodiscard]] int width() const { return width_; }   ///< 1 to base::kMaxPictureSide
    [[nodiscard]] int height() const { return height_; } ///< 1 to base::kMaxPictureSide
    [[nodiscard]] bool interlaced() const { return passes_ > 1; }

    /// Row, counted from the top, that the next `readRow` decodes.
    [[nodiscard]] int nextRow() const { return nextRow_; }

    /// Decodes the next row of a picture that is not interlaced into `row` (width × 4 bytes).
    /// False when the file is damaged here, or after the last row, or cannot be read: a row that
    /// could not be decoded is zero, and so are all later ones.
    bool readRow(std::uint8_t* row);

    /// Decodes an interlaced picture into `rows` (height × width × 4 bytes, cleared by the
    /// caller). False when the file is damaged or cannot be read: `rows` then holds the readable
    /// part.
    bool readInterlaced(std::uint8_t* rows);

    /// Before the first row: decodes all into host lines, the bottom line first, if that is simple
    /// (see `readWholePng`). False if not: then nothing has changed, and the rows are read one by
    /// one.
    [[nodiscard]] bool readWhole(std::uint8_t* lines) const;

    /// Goes back to row 0. False when the file has changed or cannot be read.
    [[nodiscard]] bool restart();

    /// The failure; empty if there is none.
    [[nodiscard]] const PngReport& report() const { return report_; }

  private:
    explicit PngDecoder(base::UniqueFile stream) : stream_(std::move(stream)) {}
    [[nodiscard]] bool checkHead();
    [[nodiscard]] bool toBegin();
    [[nodiscard]] bool start();
    void stop();
    void readEnd();
    static void readBytes(png_structp png, png_bytep bytes, png_size_t count);

    base::UniqueFile stream_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    PngReport report_;
    int width_ = 0;
    int height_ = 0;
    int passes_ = 1;
    int nextRow_ = 0;
    bool lost_ = false;
};

} // namespace png_filter
