// SPDX-License-Identifier: MIT
// Which driver reads a file: by its ending, then by its content. `tdr::open` (tdr/open.h) does all
// of this; these are its steps, for programs that keep drivers for many files.
#pragma once

#include "base/uniqueFd.h"
#include "tdr/driverLink.h"
#include "tdr/picture.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace tdr {

/// The folders where drivers are looked for unless the caller has others: ~/.local/lib/tdr/drivers
/// (unless the process runs with another user's rights), the folder of this program and
/// lib/tdr/drivers of its prefix, and the same two of the prefix that this library was configured
/// for.
[[nodiscard]] std::vector<std::filesystem::path> driverFolders();

/// The drivers in `folder`, unordered: executables named *Filter. None, and `error`, if it cannot
/// be read.
[[nodiscard]] std::vector<std::filesystem::path> driversIn(const std::filesystem::path& folder,
                                                           std::error_code& error);

/// The drivers in `folders`, sorted by name; of two with the same name, the one in the first
/// folder.
[[nodiscard]] std::vector<std::filesystem::path>
findDrivers(std::span<const std::filesystem::path> folders);

/// Whether names can end in `ending`: at most 32 bytes, none of them a slash.
[[nodiscard]] bool endsNames(std::string_view ending);

/// The ending of the driver's files, from its file naming. `ProtocolBroken` if names cannot end in
/// it: such a driver is faulty.
[[nodiscard]] Result<std::string> endingOf(Session& driver);

/// Opens a regular file that is not empty for reading. Otherwise `CannotOpen`, with the path and
/// the reason in the system's words: missing, a folder, not permitted, empty.
[[nodiscard]] Result<base::UniqueFd> openReadable(const std::filesystem::path& path);

/// The drivers 0 ... `count` - 1 in the order in which to try them on `path`: first the one whose
/// ending it has. `endingOf` returns a driver's ending, or none if it could not be queried; such
/// drivers come last. It is not called for the drivers after the first one.
[[nodiscard]] std::vector<std::size_t>
readingOrder(const std::filesystem::path& path, std::size_t count,
             const std::function<std::optional<std::string>(std::size_t driver)>& endingOf);

/// The caller's drivers, by number.
class DriverChoice {
  public:
    DriverChoice() = default;
    DriverChoice(const DriverChoice&) = delete;
    DriverChoice& operator=(const DriverChoice&) = delete;
    virtual ~DriverChoice() = default;

    /// For messages.
    [[nodiscard]] virtual std::string name(std::size_t driver) const = 0;
    /// A running session with the driver, which has told its `endingOf`. It is needed until the
    /// next call, or as long as the picture that is found with it.
    virtual Result<Session*> start(std::size_t driver) = 0;
    /// The ending of the driver's files, ".pic". Called after `start`.
    [[nodiscard]] virtual std::string ending(std::size_t driver) const = 0;
    /// Whether no time is left for other drivers, after one that has not answered in time.
    [[nodiscard]] virtual bool isTimeOver() const { return false; }
};

/// A picture, connected for reading.
struct FoundPicture {
    std::size_t driver;
    PictureSource source;
};

/// Opens the file of `link` with the first driver of `order` that accepts it. If there is none, the
/// kind of the failure is that of a driver that has failed itself, else `Damaged` if a driver knows
/// the format, else `NotMyFormat`; its `what` has the reasons, and names the file only where a
/// driver does. Another failure ends the search: out of memory, a signal, no link, no
/// time.
[[nodiscard]] Result<FoundPicture> findReader(DriverChoice& drivers,
                                              std::span<const std::size_t> order, DriverLink& link);

} // namespace tdr
