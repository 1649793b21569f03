// SPDX-License-Identifier: MIT
// A picture file, opened with the driver that reads it.
#pragma once

#include "base/uniqueFd.h"
#include "driverSet.h"
#include "output/outcome.h"
#include "tdr/picture.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

/// A file that is connected for reading, with its driver.
struct PictureFile {
    std::size_t driver;   ///< its index in the set
    tdr::DriverLink link; ///< leads the driver to the file
    base::UniqueFd file;  ///< the file of the link
    LentDriver running;   ///< at a fixed address: the source borrows its session
    tdr::PictureSource source;
};

/// Opens `path` with the first of `drivers` that accepts it: exactly this file, whatever its name.
[[nodiscard]] Outcome<PictureFile> openPicture(DriverSet& drivers,
                                               const std::filesystem::path& path);

/// The same for a file that is already open for reading.
[[nodiscard]] Outcome<PictureFile>
openPicture(DriverSet& drivers, const std::filesystem::path& path, base::UniqueFd file);

/// The same with one driver.
[[nodiscard]] Outcome<PictureFile> openPicture(DriverSet& drivers,
                                               const std::filesystem::path& path,
                                               base::UniqueFd file, std::size_t driver);

/// The same for an optional file: none if it cannot be read or no driver reads it. Fails if a
/// driver that might be the right one failed itself.
[[nodiscard]] Outcome<std::optional<PictureFile>> tryPicture(DriverSet& drivers,
                                                             const std::filesystem::path& path);

/// The driver that writes the file `target`: by `kind`, if that is not empty (see
/// `DriverSet::byKind`), by the ending, or by the kind of the file that is there; none if nothing
/// of it decides. Fails for targets that cannot be written: standard output, mattes.
[[nodiscard]] Outcome<std::optional<std::size_t>>
writerFor(DriverSet& drivers, const std::string& target, const std::string& kind = {});
