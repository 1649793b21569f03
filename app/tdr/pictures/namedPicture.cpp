// SPDX-License-Identifier: MIT
#include "namedPicture.h"

#include "output/formatted.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace {

constexpr std::size_t kLongestPath = 1023; ///< that drivers take

bool isPlainForShell(char c) {
    constexpr std::string_view kOthers = "/._-+,:@%";
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || static_cast<signed char>(c) < 0 ||
           kOthers.find(c) != std::string_view::npos;
}

Problem usage(const std::string& path, const std::string& what) {
    return {ExitCode::Usage, path + ": " + what};
}

Outcome<void> outcomeOf(LentDriver& driver, const std::string& name, const tdr::Status& status) {
    if (status) {
        return {};
    }
    driver->passOnLines(status.failure().lastLine);
    return problemWith(name, status.failure());
}

class NamedInput : public PictureInput {
  public:
    NamedInput(std::string name, std::size_t driver, LentDriver running, tdr::PictureSource source)
        : PictureInput(std::move(name)), driver_(driver), running_(std::move(running)),
          source_(std::move(source)) {}

    [[nodiscard]] std::int32_t width() const override { return source_.width(); }
    [[nodiscard]] std::int32_t height() const override { return source_.height(); }
    [[nodiscard]] std::optional<std::size_t> driver() const override { return driver_; }

    Outcome<void> readAll(tdr::SharedBlock& block) override {
        auto done = outcomeOf(running_, name(), source_.readAll(block, tdr::BlockState::Blank));
        return done ? close() : done;
    }
    Outcome<void> readLine(tdr::SharedBlock& block, std::int32_t line) override {
        return outcomeOf(running_, name(), source_.readLine(block, line));
    }
    Outcome<void> close() override { return outcomeOf(running_, name(), source_.close()); }
    [[nodiscard]] bool damaged() const override { return !running_->session.damage().empty(); }
    void passOnLines() override { running_->passOnLines(); }

  private:
    std::size_t driver_;
    LentDriver running_;
    tdr::PictureSource source_;
};

class NamedOutput : public PictureOutput {
  public:
    NamedOutput(std::string name, LentDriver writer, std::int32_t cell)
        : PictureOutput(std::move(name)), writer_(std::move(writer)), cell_(cell) {}

    Outcome<void> begin(std::int32_t width, std::int32_t height) override {
        auto target = tdr::PictureTarget::open(writer_->session, name(), width, height, cell_);
        if (!target) {
            return outcomeOf(writer_, name(), target.failure());
        }
        target_.emplace(std::move(*target));
        return {};
    }
    Outcome<void> writeAll(const tdr::SharedBlock& block) override {
        return outcomeOf(writer_, name(), target_->writeAll(block));
    }
    Outcome<void> writeLine(const tdr::SharedBlock& block, std::int32_t line) override {
        return outcomeOf(writer_, name(), target_->writeLine(block, line));
    }
    /// The command has seen the file by then, and may have moved it: its metadata stays.
    Outcome<std::vector<std::string>> close(const Metadata& metadata) override {
        if (auto closed = outcomeOf(writer_, name(), target_->close()); !closed) {
            return closed.failure();
        }
        writer_->passOnLines();
        return textsOf(metadata);
    }
    Outcome<void> verify(const OriginalPicture& /*original*/) override { return {}; }
    Outcome<void> commit(std::optional<timespec> /*time*/) override { return {}; }
    [[nodiscard]] bool isPartlyWritten() const override { return target_.has_value(); }

  private:
    LentDriver writer_;
    std::optional<tdr::PictureTarget> target_;
    std::int32_t cell_;
};

/// Lends the driver with its command set.
Outcome<LentDriver> take(DriverSet& drivers, const NamedFile& file, std::size_t driver,
                         tdr::Status (tdr::Session::*setCommand)(std::string_view)) {
    auto taken = drivers.take(driver);
    if (!taken) {
        return problemWith(file.path, taken.failure());
    }
    const auto set = ((*taken)->session.*setCommand)(file.command);
    const auto good = outcomeOf(*taken, file.path, set);
    return good ? Outcome<LentDriver>(std::move(*taken)) : good.failure();
}

} // namespace

Outcome<std::size_t> driverFor(DriverSet& drivers, const NamedFile& file) {
    if (!std::ranges::all_of(file.path, isPlainForShell)) {
        return usage(file.path, "a name with characters that the shell treats specially cannot be "
                                "handed to a command");
    }
    const auto driver = file.kind.empty() ? drivers.byEnding(file.path) : drivers.byKind(file.kind);
    if (!driver) {
        return driver.failure();
    }
    const std::string ending = *driver ? drivers.extension(**driver) : "";
    if (ending.empty() || !file.path.ends_with(ending)) {
        return usage(file.path, ending.empty()
                                    ? "no driver has this ending"
                                    : "its driver would use a name that ends in " + ending);
    }
    return file.path.size() <= kLongestPath ? Outcome<std::size_t>(**driver)
                                            : usage(file.path, "too long for a driver");
}

Outcome<std::unique_ptr<PictureInput>> openNamedInput(DriverSet& drivers, const NamedFile& file) {
    const auto driver = driverFor(drivers, file);
    auto running =
        driver ? take(drivers, file, *driver, &tdr::Session::setPreReadCommand) : driver.failure();
    if (!running) {
        return running.failure();
    }
    auto source = tdr::PictureSource::open((*running)->session, file.path, file.frame);
    if (!source) {
        return outcomeOf(*running, file.path, source.failure()).failure();
    }
    auto input =
        std::make_unique<NamedInput>(file.path, *driver, std::move(*running), std::move(*source));
    auto metadata = readMetadata(file.path);
    if (!metadata) {
        return problemWith(file.path, metadata.failure());
    }
    input->metadata = std::move(*metadata);
    return Outcome<std::unique_ptr<PictureInput>>(std::move(input));
}

Outcome<std::unique_ptr<PictureOutput>> openNamedOutput(DriverSet& drivers, const NamedFile& file,
                                                        Existing existing) {
    if (const auto isNew = checkIsNew(file.path); existing == Existing::Kept && !isNew) {
        return isNew.failure(); // the command of an earlier picture may have made it
    }
    const auto driver = driverFor(drivers, file);
    auto writer = driver ? take(drivers, file, *driver, &tdr::Session::setPostWriteCommand)
                         : driver.failure();
    if (!writer) {
        return writer.failure();
    }
    return Outcome<std::unique_ptr<PictureOutput>>(
        std::make_unique<NamedOutput>(file.path, std::move(*writer), file.frame));
}
