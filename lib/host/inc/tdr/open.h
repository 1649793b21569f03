// SPDX-License-Identifier: MIT
// Opens a picture by its path alone: finds the driver, starts it, and reads.
//
//     auto picture = tdr::open("photograph.pic");
//     auto pixels = picture ? picture->readRgba() : picture.failure();
//     if (!pixels) { report(pixels.failure().text()); return; }
//
// The kinds of failures tell what to say: `CannotOpen` (no such file, not permitted, empty),
// `NotMyFormat` (no driver knows it), `Damaged`; all others are about a driver or this process. A
// driver that fails itself is skipped. If no other one reads the file, the kind is that of its
// failure, also for a file of no known format: nobody knows whether the driver would have read it.
#pragma once

#include "tdr/driverSearch.h"

namespace tdr {

struct OpenOptions {
    /// Searched for drivers, in this order; none: `driverFolders()`.
    std::vector<std::filesystem::path> folders = {};
    StartOptions start = {};
    /// Read what is left of a damaged picture; the rest is zero.
    bool keepDamaged = false;
};

/// A picture in memory as most programs keep it.
struct RgbaPicture {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::vector<std::uint8_t> pixels; ///< red, green, blue, alpha; the top line first
};

/// A file that is open for reading, with its driver, which ends with this object. Move-only.
class OpenedPicture {
  public:
    [[nodiscard]] std::int32_t width() const { return source_.width(); }
    [[nodiscard]] std::int32_t height() const { return source_.height(); }
    /// The driver: its queries, and its line about damage after reading.
    [[nodiscard]] Session& driver() { return *driver_; }
    /// For single lines, and for files with several mattes.
    [[nodiscard]] PictureSource& source() { return source_; }

    /// Reads all pixels and closes the file: in the drivers' order (see picture.h) or as RGBA.
    /// `Damaged` if the file lacks a part, `NoMemory` if they need more than `maxBytes`;
    /// afterwards, when the file is closed, `BadArgument`.
    Result<Picture> read(std::size_t maxBytes = kDefaultPictureLimit);
    Result<RgbaPicture> readRgba(std::size_t maxBytes = kDefaultPictureLimit);

  private:
    friend Result<OpenedPicture> open(const std::filesystem::path& path,
                                      const OpenOptions& options);
    OpenedPicture(base::UniqueFd file, DriverLink link, std::unique_ptr<Session> driver,
                  PictureSource source, bool keepDamaged)
        : file_(std::move(file)), link_(std::move(link)), driver_(std::move(driver)),
          source_(std::move(source)), keepDamaged_(keepDamaged) {}
    [[nodiscard]] Failure named(Failure failure) const;

    base::UniqueFd file_; ///< of the link
    DriverLink link_;
    std::unique_ptr<Session> driver_; ///< at a fixed address, for the source
    PictureSource source_;
    bool keepDamaged_;
};

/// Opens `path` with the first driver that accepts it, tried in the order of `readingOrder`:
/// exactly this file, whatever its name. Failures name the file.
Result<OpenedPicture> open(const std::filesystem::path& path, const OpenOptions& options = {});

} // namespace tdr
