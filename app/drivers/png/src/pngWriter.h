// SPDX-License-Identifier: MIT
// A PNG file being written, with its rows in any order.
#pragma once

#include "pngGuard.h"

#include "base/uniqueFile.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace png_filter {

/// Writes a picture of host pixels as an RGBA PNG of 8 bits. The next row is compressed at once;
/// any other is kept uncompressed until its turn. After the first failure nothing more is written.
class PngWriter {
  public:
    /// Creates `path` and writes its header. Width and height are 1 to base::kMaxPictureSide.
    /// Null on failure, with `report` saying why.
    [[nodiscard]] static std::unique_ptr<PngWriter> create(const char* path, int width, int height,
                                                           PngReport& report);

    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;
    ~PngWriter();

    [[nodiscard]] int width() const { return width_; }
    [[nodiscard]] int height() const { return height_; }

    /// Takes row `index` (0, the top, to height - 1; width × 4 bytes). A kept row may be replaced.
    /// False when the row is already in the file, when out of memory, or when the file is broken.
    [[nodiscard]] bool writeRow(int index, const std::uint8_t* row);

    /// Takes all rows as host lines, the bottom line first, and writes them (see `writeWholePng`):
    /// `error` says whether that failed. False, and nothing has changed, when rows have come before
    /// or the picture is too large: then they are written one by one.
    [[nodiscard]] bool writeWhole(const std::uint8_t* lines);

    /// Completes the file, with transparent black for missing rows, and closes it. False when the
    /// file is broken.
    [[nodiscard]] bool finish();

    /// Why the file is broken; empty if it is not.
    [[nodiscard]] const char* error() const { return report_.reason(); }

  private:
    PngWriter(base::UniqueFile stream, int width, int height);
    [[nodiscard]] bool start();
    [[nodiscard]] bool encode(const std::uint8_t* row);
    [[nodiscard]] bool encodeKept();
    [[nodiscard]] bool encodeRest();
    [[nodiscard]] bool keep(int index, const std::uint8_t* row);
    [[nodiscard]] bool isBroken() const { return *error() != '\0'; }
    bool fail(int systemError);
    static void writeBytes(png_structp png, png_bytep bytes, png_size_t count);

    using Row = std::unique_ptr<std::uint8_t[]>;

    base::UniqueFile stream_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    PngReport report_;
    int width_;
    int height_;
    int nextRow_ = 0;
    bool complete_ = false;       ///< by `writeWhole`
    std::unique_ptr<Row[]> kept_; ///< by row, null if none is kept
};

} // namespace png_filter
