// SPDX-License-Identifier: MIT
// A picture file that some driver reads.
#pragma once

#include "driverSet.h"
#include "output/outcome.h"
#include "tdr/picture.h"

#include <filesystem>
#include <memory>
#include <string>

/// A file that is connected for reading, with the session that does it.
struct PictureFile {
    std::string driverName;
    DriverLink link;                  ///< by which the session reaches the file
    base::UniqueFd file;              ///< what the link leads to
    std::unique_ptr<Session> session; ///< at a fixed place: the reader borrows it
    tdr::PictureReader reader;
};

/// Opens `path` with the first of `drivers` that accepts it: exactly this file, whatever its name.
[[nodiscard]] Outcome<PictureFile> openPicture(DriverSet& drivers,
                                               const std::filesystem::path& path);
