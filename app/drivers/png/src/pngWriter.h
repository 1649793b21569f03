// SPDX-License-Identifier: MIT
// A PNG file being written, its rows given in any order.
#pragma once

#include "pngGuard.h"

#include "base/uniqueFile.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace png_filter {

/// Writes a picture of host pixels as an RGBA PNG of 8 bits. A row is compressed at once when it is
/// its turn and kept (uncompressed) until then otherwise. After the first failure nothing more is
/// written.
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

    /// Takes row `index` (0, the top, to height - 1; width × 4 bytes). A row that is still kept may
    /// be given again; the last one counts. False when the row is in the file already, when there
    /// is no memory to keep it, or when the file is broken.
    [[nodiscard]] bool writeRow(int index, const std::uint8_t* row);

    /// Completes the file, rows never given transparent black, and closes it. False when the file
    /// is broken.
    [[nodiscard]] bool finish();

    /// Why the file is broken; empty while it is not.
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
    std::unique_ptr<Row[]> kept_; ///< by row, null where none is kept
};

} // namespace png_filter
