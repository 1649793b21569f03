// SPDX-License-Identifier: MIT
// The lines of a damaged PIC picture that can still be read.
#pragma once

#include "toolkitPicture.h"

#include <cstdint>
#include <span>
#include <vector>

/// Lines count from the top one, which is 0.
struct SalvagedLines {
    /// Where each line begins in the file; -1 for a lost one.
    std::vector<std::int64_t> begins;
    std::int32_t lostFirst = 0;   ///< the lost lines are one range
    std::int32_t lostEnd = 0;     ///< one past the last of them
    std::int64_t damageBegin = 0; ///< the bytes between the lines before and after them
    std::int64_t damageEnd = 0;
};

/// Reads lines of an open picture at any place.
class LinesAt {
  public:
    static Outcome<LinesAt> of(ToolkitPicture& file, const std::string& name);

    /// The channels of the line at `begin`, one after the other; valid until the next call with the
    /// same `slot`, which is 0 or 1. False if the line is damaged there.
    bool read(std::int64_t begin, int slot);
    [[nodiscard]] std::span<std::uint8_t> channels(int slot) { return lines_[slot]; }
    [[nodiscard]] std::int64_t position() const { return pictureReaderPosition(reader_.get()); }

  private:
    explicit LinesAt(ToolkitPicture& file) : file_(&file) {}

    ToolkitPicture* file_;
    std::unique_ptr<PictureReader, PictureReaderDisposer> reader_;
    std::vector<std::uint8_t> lines_[2];
};

/// Decides which lines of the picture in `bytes`, the whole file, are read and which are lost.
///
/// Those from the top are read as far as they can be decoded, and those from the bottom as far as
/// they can be found (see findLastLines). Both go on for some lines behind the damage with pixels
/// that are not the picture's: such a line differs much from its neighbours, and is lost.
[[nodiscard]] SalvagedLines salvageLines(ToolkitPicture& file, LinesAt& lines,
                                         std::span<const std::uint8_t> bytes);
