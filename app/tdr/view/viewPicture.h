// SPDX-License-Identifier: MIT
// A picture that has been read to be shown.
#pragma once

#include "commands/subcommands.h"
#include "pictures/scaler.h"
#include "tdr/picture.h"

#include <string>
#include <vector>

struct ViewPicture {
    std::string description; ///< its name, its size, its format
    PixelSize size;          ///< of the file's picture
    double ratio = 1;        ///< of its pixels, unchanged from the file
    tdr::Picture picture;    ///< smaller than `size` if that would take too much memory
    int mattes = 0;          ///< in the file
    int matte = 0;           ///< the one that was read, counted from 0
    bool damaged = false;    ///< only the readable part is shown
    /// What its driver has written to stderr.
    std::vector<std::string> lines;
};

/// Reads it, of several mattes `matte`, or the first one if there are not so many. A picture that
/// is too large for the memory is reduced to fit into `room`. No driver is left when this returns.
[[nodiscard]] Outcome<ViewPicture> readForView(const DriverOptions& options,
                                               const std::string& file, AlphaChange alpha,
                                               PixelSize room, int matte);
