// SPDX-License-Identifier: MIT
#include "tdr/driverSearch.h"

#include "base/extension.h"
#include "noThrow.h"
#include "tdr/interruptGuard.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <utility>

namespace tdr {

namespace {

/// True if the driver has failed, and not the file.
bool isDriversFault(FailureKind kind) {
    return kind == FailureKind::CouldNotStart || kind == FailureKind::Died ||
           kind == FailureKind::TimedOut || kind == FailureKind::ProtocolBroken;
}

/// The failure with the user's name of the file.
Failure named(const Failure& failure, const FileNames& names) {
    return {failure.kind, names.in(failure.what), failure.end, names.in(failure.lastLine)};
}

/// Why no driver reads a file: the reasons of drivers that know its format but cannot open it, or
/// that no driver knows it. A driver that itself failed is always reported.
class Refusals {
  public:
    void add(const std::string& driver, const Failure& failure, const FileNames& names) {
        asked_ += (asked_.empty() ? "" : ", ") + driver;
        known_ = known_ || failure.kind == FailureKind::Refused;
        if (isDriversFault(failure.kind)) {
            fault_ = failure.kind;
        }
        if (failure.kind != FailureKind::NotMyFormat) {
            addReason(named(failure, names));
        }
    }

    [[nodiscard]] Failure failure() const {
        std::string text =
            known_ ? ""
                   : "no driver reads it (asked: " + (asked_.empty() ? "none found" : asked_) + ")";
        const FailureKind kind =
            fault_.value_or(known_ ? FailureKind::Damaged : FailureKind::NotMyFormat);
        if (known_ && reasons_.size() == 1) {
            return {kind, reasons_[0].what, reasons_[0].end, reasons_[0].lastLine};
        }
        for (const Failure& reason : reasons_) {
            text += (text.empty() ? "" : "; ") + reason.text();
        }
        return {kind, std::move(text), {}, {}};
    }

  private:
    void addReason(Failure reason) {
        const auto isSame = [text = reason.text()](const Failure& other) {
            return other.text() == text;
        };
        if (std::ranges::none_of(reasons_, isSame)) {
            reasons_.push_back(std::move(reason));
        }
    }

    std::optional<FailureKind> fault_;
    std::string asked_;
    bool known_ = false; ///< to a driver that cannot open it
    std::vector<Failure> reasons_;
};

/// True for failures after which no other driver is tried: a signal, out of memory, no link or
/// time.
bool endsTheSearch(const DriverChoice& drivers, const Failure& failure) {
    return (failure.kind == FailureKind::TimedOut && drivers.isTimeOver()) ||
           failure.kind == FailureKind::NoMemory || failure.kind == FailureKind::CannotOpen ||
           InterruptGuard::signal() != 0;
}

Result<PictureSource> tryDriver(DriverChoice& drivers, std::size_t driver, DriverLink& link) {
    const auto session = drivers.start(driver);
    if (!session) {
        return session.failure();
    }
    const auto path = link.path(drivers.ending(driver));
    return path ? PictureSource::open(**session, *path) : path.failure();
}

/// What is wrong with an open file, or an empty text.
std::string problemOf(int fd) {
    struct stat status {};
    if (fd < 0 || ::fstat(fd, &status) != 0) {
        return std::strerror(errno);
    }
    if (S_ISDIR(status.st_mode)) {
        return std::strerror(EISDIR);
    }
    return !S_ISREG(status.st_mode) ? "not a regular file"
           : status.st_size == 0    ? "the file is empty"
                                    : "";
}

} // namespace

bool endsNames(std::string_view ending) {
    constexpr std::size_t kLongest = 32;
    return ending.size() <= kLongest && ending.find('/') == std::string_view::npos;
}

Result<std::string> endingOf(Session& driver) {
    return withoutThrowing([&]() -> Result<std::string> {
        auto naming = driver.fileNaming();
        if (!naming) {
            return naming.failure();
        }
        if (!endsNames(naming->extension)) {
            return Failure{FailureKind::ProtocolBroken,
                           driver.program().filename().string() +
                               ": it reports an ending that no name can have: '" +
                               naming->extension + "'"};
        }
        return std::move(naming->extension);
    });
}

Result<base::UniqueFd> openReadable(const std::filesystem::path& path) {
    return withoutThrowing([&]() -> Result<base::UniqueFd> {
        // Without O_NONBLOCK opening a pipe would wait for its writer.
        base::UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
        const std::string problem = problemOf(fd.get());
        return problem.empty() ? Result<base::UniqueFd>(std::move(fd))
                               : Failure{FailureKind::CannotOpen, path.string() + ": " + problem};
    });
}

std::vector<std::size_t>
readingOrder(const std::filesystem::path& path, std::size_t count,
             const std::function<std::optional<std::string>(std::size_t driver)>& endingOf) {
    std::vector<std::size_t> first;
    std::vector<std::size_t> others;
    std::vector<std::size_t> failed;
    for (std::size_t driver = 0; driver < count; ++driver) {
        if (!first.empty()) {
            others.push_back(driver);
            continue;
        }
        const auto ending = endingOf(driver);
        const bool matches = ending && base::hasExtension(path, *ending);
        (!ending ? failed : matches ? first : others).push_back(driver);
    }
    first.insert(first.end(), others.begin(), others.end());
    first.insert(first.end(), failed.begin(), failed.end());
    return first;
}

Result<FoundPicture> findReader(DriverChoice& drivers, std::span<const std::size_t> order,
                                DriverLink& link) {
    return withoutThrowing([&]() -> Result<FoundPicture> {
        Refusals refusals;
        for (const std::size_t driver : order) {
            auto source = tryDriver(drivers, driver, link);
            if (source) {
                return FoundPicture{driver, std::move(*source)};
            }
            if (endsTheSearch(drivers, source.failure())) {
                return named(source.failure(), link.names());
            }
            refusals.add(drivers.name(driver), source.failure(), link.names());
        }
        return refusals.failure();
    });
}

} // namespace tdr
