// SPDX-License-Identifier: MIT
// One PNG file read from its first row to its last.
#pragma once

#include "pngGuard.h"

#include "base/uniqueFile.h"

#include <cstdint>
#include <memory>
#include <string>

namespace png_filter {

/// Bytes of one pixel of a host line: alpha, blue, green, red.
inline constexpr int kBytesPerPixel = 4;

/// Decodes any kind of PNG (grey, palette, colour; 1 to 16 bits; with or without alpha or a
/// transparent colour) to host pixels. 16-bit samples are scaled to 8 bits, pixels of a picture
/// without transparency get alpha 255, colour profiles and gamma are left alone.
class PngDecoder {
  public:
    /// Opens `path` and reads everything before the first row. Null when that cannot be had: then
    /// `reason` says why, or is empty when the file is no PNG at all (or cannot be opened).
    [[nodiscard]] static std::unique_ptr<PngDecoder> open(const char* path, std::string& reason);

    PngDecoder(const PngDecoder&) = delete;
    PngDecoder& operator=(const PngDecoder&) = delete;
    ~PngDecoder();

    [[nodiscard]] int width() const { return width_; }   ///< 1 to base::kMaxPictureSide
    [[nodiscard]] int height() const { return height_; } ///< 1 to base::kMaxPictureSide
    [[nodiscard]] bool interlaced() const { return passes_ > 1; }

    /// Row, counted from the top, that the next `readRow` gives.
    [[nodiscard]] int nextRow() const { return nextRow_; }

    /// Decodes the next row of a picture that is not interlaced into `row` (width × 4 bytes).
    /// False when the file is damaged here: the row is then cleared if it could not be had, and all
    /// that follow are.
    bool readRow(std::uint8_t* row);

    /// Decodes an interlaced picture into `rows` (height × width × 4 bytes, cleared by the
    /// caller). False when the file is damaged: what could be had is there.
    bool readInterlaced(std::uint8_t* rows);

    /// Goes back to row 0. False when the file is not any more what it was.
    [[nodiscard]] bool restart();

    /// What is wrong with the file, in libpng's words; empty while nothing is.
    [[nodiscard]] const char* error() const { return report_.text; }

  private:
    explicit PngDecoder(base::UniqueFile stream) : stream_(std::move(stream)) {}
    [[nodiscard]] bool start();
    void stop();

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
