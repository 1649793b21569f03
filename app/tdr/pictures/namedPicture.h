// SPDX-License-Identifier: MIT
// Pictures that a driver gets under the user's own names, because an outside command of the driver
// works on them: no link and no temporary file.
#pragma once

#include "pictureInput.h"
#include "pictureOutput.h"

/// A file and the command that its driver runs before reading or after writing it.
struct NamedFile {
    std::string path;
    std::string kind; ///< as for `DriverSet::byKind`; empty: by the ending
    std::string command;
    std::int32_t frame = 0; ///< the command gets it as the cell
};

/// The driver for the file. A usage problem if the driver would use another name, or if the shell,
/// which gets the name as it stands, would understand it otherwise.
[[nodiscard]] Outcome<std::size_t> driverFor(DriverSet& drivers, const NamedFile& file);

[[nodiscard]] Outcome<std::unique_ptr<PictureInput>> openNamedInput(DriverSet& drivers,
                                                                    const NamedFile& file);

/// Fails if the file exists and is to be kept.
[[nodiscard]] Outcome<std::unique_ptr<PictureOutput>>
openNamedOutput(DriverSet& drivers, const NamedFile& file, Existing existing);
