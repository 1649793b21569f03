// SPDX-License-Identifier: MIT
// A picture of the differences between two pictures.
#pragma once

#include "files/replacedFile.h"
#include "pictureLines.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// Each colour is the difference of that colour, or of alpha if that is larger; the largest
/// difference of all becomes 255. Equal pixels are black, and all are opaque. Move-only.
class DifferencePicture {
  public:
    /// Begins the file at `target`, written by the driver for its name.
    static Outcome<DifferencePicture> begin(DriverSet& drivers, const std::string& target,
                                            Existing existing);

    /// Draws the matte `matte` of two pictures of the same size, of which `largest` is the largest
    /// difference.
    Outcome<void> draw(PictureLines& a, PictureLines& b, std::int32_t matte, int largest);

    /// Puts the drawn picture in the target's place.
    Outcome<void> commit() { return file_.commit(); }

  private:
    DifferencePicture(ReplacedFile file, LentDriver writer)
        : file_(std::move(file)), writer_(std::move(writer)) {}
    [[nodiscard]] Problem problem(const tdr::Failure& failure);

    ReplacedFile file_;
    LentDriver writer_;
};
