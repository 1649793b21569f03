// SPDX-License-Identifier: MIT
#include "pictureFile.h"

#include "files/readableFile.h"
#include "tdr/interruptGuard.h"

#include <utility>

namespace fs = std::filesystem;

namespace {

/// The message when no driver reads a file. Drivers for other endings are only named, because their
/// refusal is expected. A driver that itself failed is always reported.
class Refusals {
  public:
    explicit Refusals(const fs::path& file) : file_(file) {}

    void add(const DriverSet& drivers, std::size_t driver, const tdr::Failure& failure,
             const FileNames& names) {
        code_ = worse(code_, exitCodeOf(failure.kind));
        asked_ += (asked_.empty() ? "" : ", ") + drivers.name(driver);
        const bool refused = failure.kind == tdr::FailureKind::Refused ||
                             failure.kind == tdr::FailureKind::NotMyFormat;
        if (!refused || hasExtension(file_, drivers.extension(driver))) {
            reasons_ += "; " + names.in(failure.text());
        }
    }

    [[nodiscard]] Problem problem() const {
        return {code_, file_.string() + ": no driver reads it (asked: " +
                           (asked_.empty() ? "none found" : asked_) + ")" + reasons_};
    }

  private:
    const fs::path& file_;
    ExitCode code_ = ExitCode::Failed;
    std::string asked_;
    std::string reasons_;
};

} // namespace

Outcome<PictureFile> openPicture(DriverSet& drivers, const fs::path& path) {
    auto file = openReadable(path);
    if (!file) {
        return file.problem();
    }
    auto link = DriverLink::make(file->get(), path.string());
    if (!link) {
        return link.problem();
    }
    Refusals refusals(path);
    for (const std::size_t driver : drivers.readersFor(path)) {
        auto started = drivers.take(driver);
        if (!started) {
            if (tdr::InterruptGuard::signal() != 0) {
                return problemWith(path.string(), started.failure());
            }
            refusals.add(drivers, driver, started.failure(), link->names());
            continue;
        }
        const auto linked = link->path(drivers.extension(driver));
        if (!linked) {
            return linked.problem();
        }
        auto session = std::make_unique<Session>(std::move(*started));
        session->names.add(link->names());
        const auto asked = session->driver.transfersCaches();
        auto reader = asked ? tdr::PictureReader::open(session->driver, *linked)
                            : tdr::Result<tdr::PictureReader>(asked.failure());
        if (reader) {
            return PictureFile{drivers.name(driver), std::move(*link), std::move(*file),
                               std::move(session), std::move(*reader)};
        }
        const bool noMemory = reader.failure().kind == tdr::FailureKind::NoMemory;
        if (noMemory || tdr::InterruptGuard::signal() != 0) { // no reason to try another driver
            return problemWith(path.string(), reader.failure());
        }
        refusals.add(drivers, driver, reader.failure(), link->names());
    }
    return refusals.problem();
}
