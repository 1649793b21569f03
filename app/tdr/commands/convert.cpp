// SPDX-License-Identifier: MIT
// tdr convert IN OUT: reads through one driver and writes through another, or through the same one
// if it knows both formats. Both use one shared block without a copy: for the whole picture or, if
// it is large, line by line.
#include "base/limits.h"
#include "files/extension.h"
#include "files/readableFile.h"
#include "files/replacedFile.h"
#include "output/console.h"
#include "output/formatted.h"
#include "pictures/alpha.h"
#include "pictures/metadata.h"
#include "pictures/pictureFile.h"
#include "pictures/readBack.h"
#include "subcommands.h"

#include <optional>
#include <utility>

namespace {

struct ConvertOptions {
    std::string input;
    std::string output;
    std::string kind;         ///< of the output: a driver's name or an ending; empty: not given
    std::int32_t channel = 0; ///< of a matte, counted from 1; 0: the first, with a report
    AlphaChange alpha = AlphaChange::None;
    bool keepDamaged = false;
    bool verify = false;
    bool force = false;
    bool skipExisting = false;
};

/// Size of pixels above which a picture is converted line by line: room for a film frame of 4096 x
/// 3112, but small enough that a small file with a large claimed size does no harm.
constexpr std::size_t kLarge = std::size_t{64} << 20;

/// A conversion from its options to its end. A problem of any step is the result, and so is damaged
/// input, even if a file was written.
class Conversion {
  public:
    Conversion(const DriverOptions& drivers, const ConvertOptions& options)
        : drivers_(drivers), options_(options) {}

    Outcome<void> run();

  private:
    Outcome<void> chooseMatte(PictureFile& picture);
    Outcome<void> convert(PictureFile& picture, std::size_t driver, RunningDriver& writer,
                          ReplacedFile& file);
    Outcome<void> read(PictureFile& picture);
    Outcome<void> checkDamage(PictureFile& picture);
    Outcome<void> write(PictureFile& picture, RunningDriver& writer, const ReplacedFile& file);
    Outcome<void> copyLines(PictureFile& picture, RunningDriver& writer,
                            tdr::PictureTarget& target);
    Outcome<PixelLine> lineOf(PictureFile& picture, std::int32_t line);
    Outcome<void> verify(PictureFile& picture, std::size_t driver, const ReplacedFile& file);
    Outcome<void> finishReading(PictureFile& picture);
    void reportLosses(const std::vector<std::string>& metadata);
    [[nodiscard]] Problem inputProblem(PictureFile& picture, const tdr::Failure& failure) const;
    [[nodiscard]] Problem outputProblem(const RunningDriver& writer,
                                        const tdr::Failure& failure) const;

    DriverSet drivers_;
    const ConvertOptions& options_;
    std::optional<tdr::SharedBlock> pixels_; ///< the whole picture, unless it is large
    std::optional<tdr::SharedBlock> line_;   ///< of a large one
    std::string guessed_;                    ///< the new file's kind, if nothing determines it
    std::vector<std::string> losses_;        ///< what the new file cannot hold
    bool damaged_ = false;                   ///< the input was not read in full
};

/// A block for the whole picture; none if it is large, or when out of memory.
std::optional<tdr::SharedBlock> blockFor(const tdr::PictureSource& source) {
    const std::size_t bytes = tdr::pictureBytes(source.width(), source.height());
    if (bytes > kLarge) {
        return {};
    }
    auto block = tdr::SharedBlock::create(bytes);
    return block ? std::optional(std::move(*block)) : std::nullopt;
}

Outcome<void> Conversion::run() {
    auto input = openReadable(options_.input);
    if (!input) {
        return input.failure();
    }
    const bool skips = options_.skipExisting && !checkIsNew(options_.output);
    if (skips) {
        return {};
    }
    if (const auto isNew = options_.force ? Outcome<void>() : checkIsNew(options_.output); !isNew) {
        return isNew;
    }
    const auto chosen = writerFor(drivers_, options_.output, options_.kind);
    if (!chosen) {
        return chosen.failure();
    }
    auto picture = openPicture(drivers_, options_.input, std::move(*input));
    if (!picture) {
        return picture.failure();
    }
    if (auto good = chooseMatte(*picture); !good) {
        return good;
    }
    const std::size_t driver = chosen->value_or(picture->driver);
    guessed_ = *chosen ? "" : drivers_.extension(driver);
    auto file = ReplacedFile::begin(options_.output, drivers_.extension(driver),
                                    options_.force ? Existing::Replaced : Existing::Kept);
    if (!file) {
        return file.failure();
    }
    pixels_ = blockFor(picture->source);
    std::optional<RunningDriver> other; // not needed if the reading driver can also write
    if (!pixels_ || picture->driver != driver) {
        auto taken = drivers_.take(driver);
        if (!taken) {
            return problemWith(options_.output, taken.failure());
        }
        other.emplace(std::move(*taken));
    }
    drivers_.dismissOthers();
    return convert(*picture, driver, other ? *other : *picture->running, *file);
}

/// Selects the requested matte, and records the others as losses.
Outcome<void> Conversion::chooseMatte(PictureFile& picture) {
    const tdr::PictureShape& shape = picture.source.shape();
    const std::int32_t mattes = shape.matte ? shape.channels : 0;
    if (options_.channel > mattes) {
        return Problem{ExitCode::Failed,
                       mattes == 0 ? options_.input + ": not a matte; it has no --channel to choose"
                                   : formatted("{}: has no --channel {}, the last one is {}",
                                               options_.input, options_.channel, mattes)};
    }
    if (options_.channel > 0) {
        picture.source.selectMatte(options_.channel - 1);
    } else if (mattes > 1) {
        losses_.push_back(formatted("mattes 2 to {} (see --channel)", mattes));
    }
    return {};
}

Outcome<void> Conversion::convert(PictureFile& picture, std::size_t driver, RunningDriver& writer,
                                  ReplacedFile& file) {
    const auto metadata = readMetadata(pathOfDescriptor(picture.file.get()));
    if (!metadata) {
        return problemWith(options_.input, metadata.failure());
    }
    if (auto read = this->read(picture); !read) {
        return read;
    }
    if (auto written = write(picture, writer, file); !written) {
        picture.running->passOnLines(writer.session.lastLine());
        writer.passOnLines(writer.session.lastLine()); // the problem's text has that line
        writer.session.kill();                         // it would complete a discarded file
        return written;
    }
    writer.session.dismiss();
    if (pixels_) { // else it may have to read the lines again
        picture.running->session.dismiss();
    }
    const auto left = carryMetadata(*metadata, file.path());
    auto good = left ? verify(picture, driver, file) : problemWith(options_.output, left.failure());
    if (good) {
        good = finishReading(picture);
    }
    picture.running->passOnLines();
    writer.passOnLines();
    if (good) {
        good = file.commit();
    }
    if (!good) {
        return good;
    }
    reportLosses(*left);
    return damaged_ ? Problem{ExitCode::Failed,
                              options_.output + ": written, but " + options_.input + " is damaged"}
                    : Outcome<void>();
}

void Conversion::reportLosses(const std::vector<std::string>& metadata) {
    if (!guessed_.empty()) {
        warn(formatted("{}: written as {}, by the driver of {} (see --to)", options_.output,
                       guessed_, options_.input));
    }
    losses_.insert(losses_.end(), metadata.begin(), metadata.end());
    if (!losses_.empty()) {
        std::string list;
        for (const std::string& loss : losses_) {
            list += (list.empty() ? "" : ", ") + loss;
        }
        warn(formatted("{}: not carried from {}: {}", options_.output, options_.input, list));
    }
}

/// Reads the whole picture and closes its file, unless the conversion is line by line.
Outcome<void> Conversion::read(PictureFile& picture) {
    if (!pixels_) {
        return {};
    }
    auto done = picture.source.readAll(*pixels_, tdr::BlockState::Blank);
    if (done) {
        done = picture.source.close();
    }
    if (!done) {
        return inputProblem(picture, done.failure());
    }
    changeAlpha(options_.alpha, pixels_->bytes());
    return checkDamage(picture);
}

/// Fails if the driver has reported damage and --keep-damaged is not set.
Outcome<void> Conversion::checkDamage(PictureFile& picture) {
    damaged_ = !picture.running->session.damage().empty();
    if (options_.keepDamaged || !damaged_) {
        return {};
    }
    picture.running->passOnLines();
    return Problem{ExitCode::Failed, options_.output + ": not written, because " + options_.input +
                                         " is damaged (see --keep-damaged)"};
}

/// Writes the picture that was read, or reads and writes it line by line.
Outcome<void> Conversion::write(PictureFile& picture, RunningDriver& writer,
                                const ReplacedFile& file) {
    writer.names.add(file.names());
    auto target = tdr::PictureTarget::open(writer.session, file.path().native(),
                                           picture.source.width(), picture.source.height());
    if (!target) {
        return outputProblem(writer, target.failure());
    }
    if (pixels_) {
        if (const auto done = target->writeAll(*pixels_); !done) {
            return outputProblem(writer, done.failure());
        }
    } else if (auto copied = copyLines(picture, writer, *target); !copied) {
        return copied;
    }
    if (const auto closed = target->close(); !closed) {
        return outputProblem(writer, closed.failure());
    }
    return {};
}

Outcome<void> Conversion::copyLines(PictureFile& picture, RunningDriver& writer,
                                    tdr::PictureTarget& target) {
    auto block = tdr::SharedBlock::create(tdr::lineBytes(picture.source.width()));
    if (!block) {
        return inputProblem(picture, block.failure());
    }
    line_.emplace(std::move(*block));
    for (std::int32_t line = picture.source.height(); line-- > 0;) {
        if (const auto read = lineOf(picture, line); !read) {
            return read.failure();
        }
        if (auto whole = checkDamage(picture); !whole) {
            return whole;
        }
        if (const auto written = target.writeLine(*line_, line); !written) {
            return outputProblem(writer, written.failure());
        }
    }
    return {};
}

/// A line as the writing driver gets it. That of a large picture is read, also for a second time.
Outcome<PixelLine> Conversion::lineOf(PictureFile& picture, std::int32_t line) {
    const std::size_t size = tdr::lineBytes(picture.source.width());
    if (pixels_) {
        return PixelLine(pixels_->bytes().subspan(static_cast<std::size_t>(line) * size, size));
    }
    if (const auto read = picture.source.readLine(*line_, line); !read) {
        return inputProblem(picture, read.failure());
    }
    changeAlpha(options_.alpha, line_->bytes());
    return PixelLine(line_->bytes());
}

Outcome<void> Conversion::verify(PictureFile& picture, std::size_t driver,
                                 const ReplacedFile& file) {
    return options_.verify
               ? readBack({options_.input, picture.source.width(), picture.source.height(),
                           [&](std::int32_t line) { return lineOf(picture, line); }},
                          drivers_, driver, file)
               : Outcome<void>();
}

/// Closes the file of a picture that is converted line by line.
Outcome<void> Conversion::finishReading(PictureFile& picture) {
    if (pixels_) {
        return {};
    }
    if (const auto closed = picture.source.close(); !closed) {
        return inputProblem(picture, closed.failure());
    }
    return checkDamage(picture); // a driver may find it only when it closes the file
}

Problem Conversion::inputProblem(PictureFile& picture, const tdr::Failure& failure) const {
    picture.running->passOnLines(failure.lastLine);
    return picture.running->problem(options_.input, failure);
}

Problem Conversion::outputProblem(const RunningDriver& writer, const tdr::Failure& failure) const {
    return writer.problem(options_.output, failure);
}

ExitCode convert(const DriverOptions& drivers, const ConvertOptions& options) {
    Conversion conversion(drivers, options);
    const auto done = conversion.run();
    return done ? ExitCode::Done : fail(done.failure());
}

} // namespace

void addConvert(Arguments& arguments, Command& command) {
    auto options = std::make_shared<ConvertOptions>();
    arguments.value("in", "IN", options->input, "Picture to read").require();
    arguments
        .value("out", "OUT", options->output,
               "Picture to write; its ending chooses the format (or see --to)")
        .require();
    arguments.value(
        "--to", "KIND", options->kind,
        "Write this kind of file, whatever OUT is called: an ending or a driver's name");
    arguments.value("--channel", "N", options->channel, "Which of several mattes, counted from 1")
        .range(1, base::kMaxTagChannels);
    addAlphaOptions(arguments, options->alpha);
    arguments.flag("--keep-damaged", options->keepDamaged,
                   "Write what can be read of a damaged picture; the exit status is still 1");
    auto force = arguments.flag("--force", options->force, "Replace an existing file OUT");
    force.exclude(arguments.flag("--skip-existing", options->skipExisting,
                                 "Do nothing if the file OUT exists"));
    arguments.flag("--verify", options->verify,
                   "Read the new file back and compare its pixels before it replaces OUT");
    arguments.run([&command, options] { command.exit = convert(command.drivers, *options); });
}
