// SPDX-License-Identifier: MIT
// A picture file, opened with the driver that reads it.
#pragma once

#include "driverSet.h"
#include "output/outcome.h"
#include "tdr/picture.h"

#include <filesystem>
#include <memory>
#include <string>

/// A file that is connected for reading, with its session.
struct PictureFile {
    std::string driverName;
    DriverLink link;                  ///< leads the session to the file
    base::UniqueFd file;              ///< the file of the link
    std::unique_ptr<Session> session; ///< at a fixed address: the reader borrows it
    tdr::PictureReader reader;
};

/// Opens `path` with the first of `drivers` that accepts it: exactly this file, whatever its name.
[[nodiscard]] Outcome<PictureFile> openPicture(DriverSet& drivers,
                                               const std::filesystem::path& path);
