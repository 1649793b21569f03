// SPDX-License-Identifier: MIT
#include "pictureOutput.h"

#include "pictureFile.h"

#include <utility>

namespace {

/// A file that a driver writes, next to its target until `commit`.
class DriverOutput : public PictureOutput {
  public:
    DriverOutput(std::string name, DriverSet& drivers, std::size_t driver, ReplacedFile file)
        : PictureOutput(std::move(name)), drivers_(drivers), driver_(driver),
          file_(std::move(file)) {}

    Outcome<void> begin(std::int32_t width, std::int32_t height) override;
    Outcome<void> writeAll(const tdr::SharedBlock& block) override {
        return outcomeOf(target_->writeAll(block));
    }
    Outcome<void> writeLine(const tdr::SharedBlock& block, std::int32_t line) override {
        return outcomeOf(target_->writeLine(block, line));
    }
    Outcome<std::vector<std::string>> close(const Metadata& metadata) override;
    Outcome<void> verify(const OriginalPicture& original) override {
        return readBack(original, drivers_, driver_, file_);
    }
    Outcome<void> commit(std::optional<timespec> time) override {
        const auto set = time ? file_.setTime(*time) : Outcome<void>();
        return set ? file_.commit() : set;
    }

  private:
    Outcome<void> outcomeOf(const tdr::Status& status);

    DriverSet& drivers_;
    std::size_t driver_;
    ReplacedFile file_;
    LentDriver writer_;
    std::optional<tdr::PictureTarget> target_;
};

Outcome<void> DriverOutput::begin(std::int32_t width, std::int32_t height) {
    auto taken = drivers_.take(driver_);
    if (!taken) {
        return problemWith(name(), taken.failure());
    }
    writer_ = std::move(*taken);
    drivers_.spareIdle();
    writer_->names.add(file_.names());
    auto target = tdr::PictureTarget::open(writer_->session, file_.path().native(), width, height);
    if (!target) {
        return outcomeOf(target.failure());
    }
    target_.emplace(std::move(*target));
    return {};
}

Outcome<void> DriverOutput::outcomeOf(const tdr::Status& status) {
    if (status) {
        return {};
    }
    writer_->passOnLines(status.failure().lastLine); // the problem's text has that line
    writer_->session.kill();
    Problem problem = writer_->problem(name(), status.failure());
    if (problem.cause == Cause::Damaged) { // as of a picture that is read
        problem.cause = Cause::Failed;
    }
    return problem;
}

Outcome<std::vector<std::string>> DriverOutput::close(const Metadata& metadata) {
    if (auto closed = outcomeOf(target_->close()); !closed) {
        return closed.failure();
    }
    writer_->passOnLines();
    drivers_.spare(writer_);
    auto losses = carryMetadata(metadata, file_.path());
    return losses ? losses : problemWith(name(), losses.failure());
}

} // namespace

Outcome<std::unique_ptr<PictureOutput>> openOutput(DriverSet& drivers, const std::string& path,
                                                   const std::string& kind, Existing existing,
                                                   const PictureInput& input) {
    const auto chosen = writerFor(drivers, path, kind);
    if (!chosen) {
        return chosen.failure();
    }
    const std::optional<std::size_t> driver = *chosen ? *chosen : input.driver();
    if (!driver) {
        return Problem{ExitCode::Failed,
                       path + ": nothing tells the kind of the new file (see --to)"};
    }
    auto file = ReplacedFile::begin(path, drivers.extension(*driver), existing);
    if (!file) {
        return file.failure();
    }
    auto output = std::make_unique<DriverOutput>(path, drivers, *driver, std::move(*file));
    output->guessed = *chosen ? "" : drivers.extension(*driver);
    return Outcome<std::unique_ptr<PictureOutput>>(std::move(output));
}
