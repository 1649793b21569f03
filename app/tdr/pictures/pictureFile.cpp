// SPDX-License-Identifier: MIT
#include "pictureFile.h"

#include "base/extension.h"
#include "files/readableFile.h"
#include "tdr/driverSearch.h"
#include "toolkitPicture.h"

#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace {

/// The drivers of the set, of which one at a time is running.
class Trials : public tdr::DriverChoice {
  public:
    explicit Trials(DriverSet& drivers) : drivers_(drivers) {}

    [[nodiscard]] std::string name(std::size_t driver) const override {
        return drivers_.name(driver);
    }
    [[nodiscard]] bool isTimeOver() const override { return drivers_.isTimeOver(); }
    [[nodiscard]] std::string ending(std::size_t driver) const override {
        return drivers_.extension(driver);
    }
    tdr::Result<tdr::Session*> start(std::size_t driver) override {
        auto taken = drivers_.take(driver);
        if (!taken) {
            return taken.failure();
        }
        running = std::move(*taken);
        return &running->session;
    }

    LentDriver running; ///< the last one

  private:
    DriverSet& drivers_;
};

/// The file with the first driver of `order` that accepts it.
tdr::Result<PictureFile> findReader(DriverSet& drivers, const std::string& path,
                                    base::UniqueFd file, const std::vector<std::size_t>& order) {
    auto link = tdr::DriverLink::make(file.get(), path);
    if (!link) {
        return link.failure();
    }
    Trials trials(drivers);
    auto found = tdr::findReader(trials, order, *link);
    if (!found) {
        return found.failure();
    }
    trials.running->names.add(link->names());
    return PictureFile{found->driver, std::move(*link), std::move(file), std::move(trials.running),
                       std::move(found->source)};
}

/// `otherwise`, unless it is a picture cut before it says which: drivers do not know it then.
Problem unknown(const std::string& path, const Problem& otherwise) {
    auto file = openReadable(path);
    if (!file) {
        return otherwise;
    }
    const auto picture = openToolkitPicture(path, std::move(*file));
    return picture ? otherwise : picture.failure();
}

Outcome<PictureFile> openWithOneOf(DriverSet& drivers, const std::string& path, base::UniqueFd file,
                                   const std::vector<std::size_t>& order) {
    auto found = findReader(drivers, path, std::move(file), order);
    if (found) {
        return std::move(*found);
    }
    return found.failure().kind == tdr::FailureKind::NotMyFormat
               ? unknown(path, problemWith(path, found.failure()))
               : problemWith(path, found.failure());
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
    auto found = findReader(drivers, path.string(), std::move(*file), drivers.readersFor(path));
    const bool none = !found && (found.failure().kind == tdr::FailureKind::NotMyFormat ||
                                 found.failure().kind == tdr::FailureKind::Damaged);
    if (found || none) {
        return found ? std::optional<PictureFile>(std::move(*found)) : std::nullopt;
    }
    return problemWith(path.string(), found.failure()); // a driver that might have been the one
}

Outcome<std::optional<std::size_t>> writerFor(DriverSet& drivers, const std::string& target,
                                              const std::string& kind) {
    if (target == "-") { // elsewhere it names a stream; a file of that name surprises
        return Problem{ExitCode::Failed, "-: standard output cannot be written; ./- names a file"};
    }
    const Problem mattes{
        ExitCode::Failed,
        target + ": mattes are written only by 'tdr convert', to names that end in .tag"};
    if (base::hasExtension(kind.empty() ? target : "." + kind, ".tag")) {
        return mattes;
    }
    if (!kind.empty()) {
        return drivers.byKind(kind, kMatteToo);
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
