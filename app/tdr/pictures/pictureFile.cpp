// SPDX-License-Identifier: MIT
#include "pictureFile.h"

#include "files/extension.h"
#include "files/readableFile.h"
#include "tdr/interruptGuard.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace {

/// Why no driver reads a file: the reasons of drivers that know its format but cannot open it, or
/// that no driver knows it. A driver that itself failed is always reported.
class Refusals {
  public:
    void add(const std::string& driver, const tdr::Failure& failure, const FileNames& names) {
        asked_ += (asked_.empty() ? "" : ", ") + driver;
        code_ = worse(code_, exitCodeOf(failure.kind));
        known_ = known_ || failure.kind == tdr::FailureKind::Refused;
        if (failure.kind != tdr::FailureKind::NotMyFormat) {
            addReason(names.in(failure.text()));
        }
    }

    [[nodiscard]] Problem problem(const std::string& file) const {
        std::string text =
            known_ ? ""
                   : "no driver reads it (asked: " + (asked_.empty() ? "none found" : asked_) + ")";
        for (const std::string& reason : reasons_) {
            text += (text.empty() ? "" : "; ") + reason;
        }
        return {code_, (namesFile(text, file) ? "" : file + ": ") + text};
    }

    [[nodiscard]] ExitCode code() const { return code_; }

  private:
    void addReason(std::string reason) {
        if (std::ranges::find(reasons_, reason) == reasons_.end()) {
            reasons_.push_back(std::move(reason));
        }
    }

    ExitCode code_ = ExitCode::Failed;
    std::string asked_;
    bool known_ = false; ///< to a driver that cannot open it
    std::vector<std::string> reasons_;
};

/// True for failures after which no other driver is tried: a signal, or out of memory.
bool endsTheSearch(const tdr::Failure& failure) {
    return failure.kind == tdr::FailureKind::NoMemory || tdr::InterruptGuard::signal() != 0;
}

/// The file with the first driver of `order` that accepts it; none if all refuse.
Outcome<std::optional<PictureFile>> findReader(DriverSet& drivers, const std::string& path,
                                               base::UniqueFd file,
                                               const std::vector<std::size_t>& order,
                                               Refusals& refusals) {
    auto link = DriverLink::make(file.get(), path);
    if (!link) {
        return link.failure();
    }
    for (const std::size_t driver : order) {
        auto started = drivers.take(driver);
        if (!started) {
            if (endsTheSearch(started.failure())) {
                return problemWith(path, started.failure());
            }
            refusals.add(drivers.name(driver), started.failure(), link->names());
            continue;
        }
        const auto linked = link->path(drivers.extension(driver));
        if (!linked) {
            return linked.failure();
        }
        LentDriver running = std::move(*started);
        running->names.add(link->names());
        auto source = tdr::PictureSource::open(running->session, *linked);
        if (source) {
            return std::optional(PictureFile{driver, std::move(*link), std::move(file),
                                             std::move(running), std::move(*source)});
        }
        if (endsTheSearch(source.failure())) {
            return problemWith(path, source.failure());
        }
        refusals.add(drivers.name(driver), source.failure(), link->names());
    }
    return std::optional<PictureFile>();
}

Outcome<PictureFile> openWithOneOf(DriverSet& drivers, const std::string& path, base::UniqueFd file,
                                   const std::vector<std::size_t>& order) {
    Refusals refusals;
    auto found = findReader(drivers, path, std::move(file), order, refusals);
    if (!found) {
        return found.failure();
    }
    return *found ? Outcome<PictureFile>(std::move(**found)) : refusals.problem(path);
}

} // namespace

Outcome<PictureFile> openPicture(DriverSet& drivers, const fs::path& path) {
    auto file = openReadable(path);
    return file ? openPicture(drivers, path, std::move(*file)) : file.failure();
}

Outcome<PictureFile> openPicture(DriverSet& drivers, const fs::path& path, base::UniqueFd file) {
    return openWithOneOf(drivers, path.string(), std::move(file), drivers.readersFor(path));
}

Outcome<PictureFile> openPicture(DriverSet& drivers, const fs::path& path, base::UniqueFd file,
                                 std::size_t driver) {
    return openWithOneOf(drivers, path.string(), std::move(file), {driver});
}

Outcome<std::optional<PictureFile>> tryPicture(DriverSet& drivers, const fs::path& path) {
    auto file = openReadable(path);
    if (!file) {
        return std::optional<PictureFile>();
    }
    Refusals refusals;
    auto found =
        findReader(drivers, path.string(), std::move(*file), drivers.readersFor(path), refusals);
    if (found && !*found && refusals.code() == ExitCode::DriverFailed) {
        return refusals.problem(path.string()); // it might have been the one
    }
    return found;
}

Outcome<std::optional<std::size_t>> writerFor(DriverSet& drivers, const std::string& target,
                                              const std::string& kind) {
    if (target == "-") { // elsewhere it names a stream; a file of that name surprises
        return Problem{ExitCode::Failed, "-: standard output cannot be written; ./- names a file"};
    }
    const Problem mattes{ExitCode::Failed,
                         target + ": mattes (.tag) can be read, but not be written yet"};
    if (hasExtension(kind.empty() ? target : "." + kind, ".tag")) {
        return mattes;
    }
    if (!kind.empty()) {
        return drivers.byKind(kind);
    }
    auto byEnding = drivers.byEnding(target);
    if (!byEnding || *byEnding) {
        return byEnding;
    }
    const auto present = tryPicture(drivers, target);
    if (!present) {
        return present.failure();
    }
    if (*present && (*present)->source.shape().matte) {
        return mattes;
    }
    return *present ? std::optional((*present)->driver) : std::nullopt;
}
