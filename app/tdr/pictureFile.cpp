// SPDX-License-Identifier: MIT
#include "pictureFile.h"

#include "base/uniqueFd.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

std::string pathForDriver(const fs::path& path) {
    std::error_code error;
    const fs::path absolute = fs::absolute(path, error);
    const fs::path& whole = error ? path : absolute;
    return whole.parent_path() == "/" ? "/./" + whole.filename().string() : whole.string();
}

Outcome<bool> checkReadable(const fs::path& path) {
    struct stat status {};
    // Opening a pipe would wait for its writer.
    const base::UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd.valid() || ::fstat(fd.get(), &status) != 0) {
        return problemWith(path.string(), errno);
    }
    if (S_ISDIR(status.st_mode)) {
        return problemWith(path.string(), EISDIR);
    }
    if (!S_ISREG(status.st_mode)) {
        return Problem{ExitCode::Failed, path.string() + ": not a regular file"};
    }
    if (status.st_size == 0) {
        return Problem{ExitCode::Failed, path.string() + ": the file is empty"};
    }
    return true;
}

namespace {

/// What is told when nobody reads a file. Of drivers for other endings only the name: that they do
/// not know the file is no news. A driver that failed itself is always told.
class Refusals {
  public:
    explicit Refusals(const fs::path& file) : file_(file) {}

    void add(const DriverSet& drivers, std::size_t driver, const tdr::Failure& failure) {
        code_ = worse(code_, exitCodeOf(failure.kind));
        asked_ += (asked_.empty() ? "" : ", ") + drivers.name(driver);
        const bool refused = failure.kind == tdr::FailureKind::Refused ||
                             failure.kind == tdr::FailureKind::NotMyFormat;
        if (!refused || hasExtension(file_, drivers.extension(driver))) {
            reasons_ += "; " + failure.text();
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
    if (auto readable = checkReadable(path); !readable) {
        return readable.problem();
    }
    Refusals refusals(path);
    for (const std::size_t driver : drivers.readersFor(path)) {
        auto started = drivers.take(driver);
        if (!started) {
            refusals.add(drivers, driver, started.failure());
            continue;
        }
        auto session = std::make_unique<Session>(std::move(*started));
        const auto asked = session->driver.transfersCaches();
        auto reader = asked ? tdr::PictureReader::open(session->driver, pathForDriver(path))
                            : tdr::Result<tdr::PictureReader>(asked.failure());
        if (reader) {
            return PictureFile{drivers.name(driver), std::move(session), std::move(*reader)};
        }
        refusals.add(drivers, driver, reader.failure());
        if (reader.failure().kind == tdr::FailureKind::Interrupted) {
            break;
        }
    }
    return refusals.problem();
}
