// SPDX-License-Identifier: MIT
#include "pictureInput.h"

#include "files/readableFile.h"
#include "output/formatted.h"
#include "pictureFile.h"

#include <sys/stat.h>
#include <utility>

namespace {

/// A file that a driver reads.
class DriverInput : public PictureInput {
  public:
    DriverInput(std::string name, PictureFile picture)
        : PictureInput(std::move(name)), picture_(std::move(picture)) {
        struct stat status {};
        if (::fstat(picture_.file.get(), &status) == 0) {
            time_ = status.st_mtim;
        }
    }

    Outcome<void> chooseMatte(std::int32_t matte);
    Outcome<void> readNotes();

    [[nodiscard]] std::int32_t width() const override { return picture_.source.width(); }
    [[nodiscard]] std::int32_t height() const override { return picture_.source.height(); }
    [[nodiscard]] std::optional<std::size_t> driver() const override { return picture_.driver; }
    [[nodiscard]] std::optional<timespec> time() const override { return time_; }

    Outcome<void> readAll(tdr::SharedBlock& block) override {
        auto done = picture_.source.readAll(block, tdr::BlockState::Blank);
        if (done) {
            done = picture_.source.close();
        }
        damaged_ = !picture_.running->session.damage().empty();
        auto outcome = outcomeOf(done);
        passOnLines();
        picture_.running.reset(); // it may be the one that writes
        return outcome;
    }
    Outcome<void> readLine(tdr::SharedBlock& block, std::int32_t line) override {
        return outcomeOf(picture_.source.readLine(block, line));
    }
    Outcome<void> close() override { return outcomeOf(picture_.source.close()); }

    [[nodiscard]] bool damaged() const override {
        return picture_.running ? !picture_.running->session.damage().empty() : damaged_;
    }
    void passOnLines() override {
        if (picture_.running) {
            picture_.running->passOnLines();
        }
    }

  private:
    Outcome<void> outcomeOf(const tdr::Status& status) {
        if (status) {
            return {};
        }
        picture_.running->passOnLines(status.failure().lastLine);
        return picture_.running->problem(name(), status.failure());
    }

    PictureFile picture_;
    std::optional<timespec> time_;
    bool damaged_ = false; ///< once the driver is given back
};

Outcome<void> DriverInput::chooseMatte(std::int32_t matte) {
    const tdr::PictureShape& shape = picture_.source.shape();
    const std::int32_t mattes = shape.matte ? shape.channels : 0;
    if (matte > mattes) {
        return Problem{ExitCode::Failed,
                       mattes == 0 ? name() + ": not a matte; it has no --channel to choose"
                                   : formatted("{}: has no --channel {}, the last one is {}",
                                               name(), matte, mattes)};
    }
    if (matte > 0) {
        picture_.source.selectMatte(matte - 1);
    } else if (mattes > 1) {
        losses.push_back(mattes == 2 ? "matte 2 (see --channel)"
                                     : formatted("mattes 2 to {} (see --channel)", mattes));
    }
    return {};
}

Outcome<void> DriverInput::readNotes() {
    auto read = readMetadata(tdr::pathOfDescriptor(picture_.file.get()));
    if (!read) {
        return problemWith(name(), read.failure());
    }
    metadata = std::move(*read);
    return {};
}

Outcome<PictureFile> openAs(DriverSet& drivers, const std::string& path, const std::string& kind) {
    if (kind.empty()) {
        return openPicture(drivers, path);
    }
    auto file = openReadable(path);
    const auto driver = file ? drivers.byKind(kind) : file.failure();
    return driver ? openPicture(drivers, path, std::move(*file), **driver) : driver.failure();
}

} // namespace

Outcome<std::unique_ptr<PictureInput>> openInput(DriverSet& drivers, const std::string& path,
                                                 const std::string& kind, std::int32_t matte) {
    auto picture = openAs(drivers, path, kind);
    if (!picture) {
        return picture.failure();
    }
    auto input = std::make_unique<DriverInput>(path, std::move(*picture));
    auto good = input->chooseMatte(matte);
    if (good) {
        good = input->readNotes();
    }
    return good ? Outcome<std::unique_ptr<PictureInput>>(std::move(input)) : good.failure();
}
