// SPDX-License-Identifier: MIT
// A PNG file whose rows can be read in any order.
#pragma once

#include "pngDecoder.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>

namespace png_filter {

/// Maximum memory for decoded rows that are kept. It holds a picture of 11,585 × 11,585 pixels; a
/// larger interlaced picture is refused, any other is decoded more than once when it is not read
/// from the top. The memory is used as rows are decoded, so that a claimed size takes none.
inline constexpr std::size_t kKeptRowsLimit = std::size_t{512} << 20;

/// Rows in any order from a decoder that only decodes the next one. A picture read from the top is
/// decoded directly to the caller and no row is kept. After the first request out of order the
/// latest decoded rows are kept, as many as fit the limit: so a picture of any size is read from
/// the bottom with one decoding for each limit's worth of rows. An interlaced picture is decoded as
/// a whole.
class PngPicture {
  public:
    /// Opens `path`; null with `report` as PngDecoder::open. `limit` is for tests.
    [[nodiscard]] static std::unique_ptr<PngPicture> open(const char* path, PngReport& report,
                                                          std::size_t limit = kKeptRowsLimit);

    [[nodiscard]] int width() const { return decoder_->width(); }
    [[nodiscard]] int height() const { return decoder_->height(); }

    /// Stores row `index` (0, the top, to height - 1) in `row` (width × 4 bytes). Missing pixels of
    /// a damaged file are zero. False when the system fails to read it or when out of memory.
    [[nodiscard]] bool readRow(int index, std::uint8_t* row);

    /// All rows as host lines, the bottom line first, if no row has been read yet and
    /// `PngDecoder::readWhole` can; false if not, and nothing has changed.
    [[nodiscard]] bool readWhole(std::uint8_t* lines) const {
        return !rows_ && decoder_->nextRow() == 0 && decoder_->readWhole(lines);
    }

    /// The damage by which rows were lost; empty if none was.
    [[nodiscard]] const char* damage() const { return damage_; }

    /// The first row lost to damage; the height while none is known.
    [[nodiscard]] int wholeRows() const { return wholeRows_; }

    /// errno of the last row that could not be read; 0 if there is none.
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
    int wholeRows_;                              ///< rows from here on are lost to damage
    std::unique_ptr<std::uint8_t[], Free> rows_; ///< ring of `capacity_` rows, null: none kept
    const char* damage_ = "";                    ///< a constant, or in the decoder's report
    int systemError_ = 0;
};

} // namespace png_filter
