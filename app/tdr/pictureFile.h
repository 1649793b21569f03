// SPDX-License-Identifier: MIT
// A picture file that some driver reads.
#pragma once

#include "driverSet.h"
#include "outcome.h"
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

/// Says in time, in the system's words, why `path` cannot be read at all: missing, a directory,
/// empty, not permitted. Drivers only say that they do not know a file.
[[nodiscard]] Outcome<bool> checkReadable(const std::filesystem::path& path);

/// Opens `path` with the first of `drivers` that accepts it: exactly this file, whatever its name.
[[nodiscard]] Outcome<PictureFile> openPicture(DriverSet& drivers,
                                               const std::filesystem::path& path);
