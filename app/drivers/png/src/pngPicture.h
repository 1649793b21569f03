// SPDX-License-Identifier: MIT
// A PNG file whose rows can be read in any order.
#pragma once

#include "pngDecoder.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace png_filter {

/// Most memory for decoded rows that are kept. It holds a picture of 11,585 × 11,585 pixels; an
/// interlaced picture above it is refused, any other is decoded more than once when it is not read
/// from the top. The memory is taken as rows are decoded, so that what a header claims costs
/// nothing.
inline constexpr std::size_t kKeptRowsLimit = std::size_t{512} << 20;

/// Rows in any order from a decoder that only knows the next one. A picture read from the top is
/// decoded straight to the caller and nothing is kept. The first row asked for out of turn starts
/// to keep decoded rows, as many as fit the limit: the latest ones, so that a picture of any size
/// is read from the bottom with one decoding for each limit's worth of rows. An interlaced picture
/// is decoded whole at once.
class PngPicture {
  public:
    /// Opens `path`; null with `report` as PngDecoder::open. `limit` is for tests.
    [[nodiscard]] static std::unique_ptr<PngPicture> open(const char* path, PngReport& report,
                                                          std::size_t limit = kKeptRowsLimit);

    [[nodiscard]] int width() const { return decoder_->width(); }
    [[nodiscard]] int height() const { return decoder_->height(); }

    /// Puts row `index` (0, the top, to height - 1) into `row` (width × 4 bytes). What a damaged
    /// file lacks is cleared. False when the system fails to read it or to give memory.
    [[nodiscard]] bool readRow(int index, std::uint8_t* row);

    /// What was wrong with the file when rows were lost; empty while none was.
    [[nodiscard]] const char* damage() const { return damage_; }

    /// Rows from here on are lost to damage; the height while none is known to be.
    [[nodiscard]] int wholeRows() const { return wholeRows_; }

    /// errno of the last row that could not be read; 0 while none was.
    [[nodiscard]] int systemError() const { return systemError_; }

  private:
    PngPicture(std::unique_ptr<PngDecoder> decoder, std::size_t limit);
    [[nodiscard]] bool startKeeping();
    void decodeTo(std::uint8_t* row);
    [[nodiscard]] std::uint8_t* slot(int index) const;
    void restart();
    void lose(int from);

    struct Free {
        void operator()(std::uint8_t* memory) const { std::free(memory); }
    };

    std::unique_ptr<PngDecoder> decoder_;
    std::size_t rowSize_;
    int capacity_;                               ///< rows that may be kept
    int wholeRows_;                              ///< rows behind it are lost to damage
    std::unique_ptr<std::uint8_t[], Free> rows_; ///< ring of `capacity_` rows, null: none kept
    const char* damage_ = "";                    ///< a constant, or in the decoder's report
    int systemError_ = 0;
};

} // namespace png_filter
