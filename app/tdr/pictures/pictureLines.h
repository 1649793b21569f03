// SPDX-License-Identifier: MIT
// A picture that is read in full, line by line, for results that are about its pixels.
#pragma once

#include "pictureFile.h"

#include <cstdint>
#include <span>
#include <string>

/// Damage is a failure, because missing pixels read as zero and would count as pixels.
class PictureLines {
  public:
    /// Takes an opened picture, or the problem with it. `use` is what a damaged picture cannot be:
    /// "compared".
    static Outcome<PictureLines> of(Outcome<PictureFile> picture, std::string path,
                                    const char* use);

    [[nodiscard]] const std::string& path() const { return path_; }
    [[nodiscard]] const PictureFile& picture() const { return picture_; }
    [[nodiscard]] const tdr::PictureShape& shape() const { return picture_.source.shape(); }
    /// Number of pictures in the file: its mattes, else 1.
    [[nodiscard]] std::int32_t mattes() const { return shape().matte ? shape().channels : 1; }
    /// "640 x 480 with 2 mattes": what is equal before pixels are compared.
    [[nodiscard]] std::string sizeText() const;

    /// Line `line` (0 is the bottom one) of the matte `matte`, in the drivers' order: alpha, blue,
    /// green, red. Valid until the next call.
    Outcome<std::span<const std::uint8_t>> read(std::int32_t line, std::int32_t matte = 0);

    /// Only its success proves that the lines were the answers to their requests and that all were
    /// whole. Passes the driver's own lines on.
    Outcome<void> close();

  private:
    PictureLines(PictureFile picture, tdr::SharedBlock block, std::string path, const char* use)
        : picture_(std::move(picture)), block_(std::move(block)), path_(std::move(path)),
          use_(use) {}
    [[nodiscard]] Outcome<void> checkDamage() const;

    PictureFile picture_;
    tdr::SharedBlock block_;
    std::string path_;
    const char* use_;
};
