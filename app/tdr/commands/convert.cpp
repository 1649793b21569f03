// SPDX-License-Identifier: MIT
// tdr convert IN OUT: reads through one driver and writes through another, or through the same one
// if it knows both formats. Both use one shared block without a copy: for the whole picture or, if
// it is large, line by line.
#include "base/limits.h"
#include "files/readableFile.h"
#include "files/replacedFile.h"
#include "output/console.h"
#include "pictures/alpha.h"
#include "pictures/metadata.h"
#include "pictures/pictureFile.h"
#include "subcommands.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <optional>
#include <utility>

namespace {

struct ConvertOptions {
    std::string input;
    std::string output;
    std::int32_t channel = 0; ///< of a matte, counted from 1; 0: the first, with a report
    AlphaChange alpha = AlphaChange::None;
    bool keepDamaged = false;
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

    Outcome<bool> run();

  private:
    [[nodiscard]] Outcome<bool> checkNames() const;
    Outcome<bool> chooseMatte(PictureFile& picture);
    Outcome<bool> convert(PictureFile& picture, Session& writer, ReplacedFile& file);
    Outcome<bool> read(PictureFile& picture);
    Outcome<bool> checkDamage(PictureFile& picture);
    Outcome<bool> write(PictureFile& picture, Session& session, const ReplacedFile& file);
    Outcome<bool> copyLines(PictureFile& picture, Session& session, tdr::PictureWriter& writer);
    [[nodiscard]] Problem inputProblem(PictureFile& picture, const tdr::Failure& failure) const;
    [[nodiscard]] Problem outputProblem(const Session& session, const tdr::Failure& failure) const;

    DriverSet drivers_;
    const ConvertOptions& options_;
    std::optional<tdr::SharedBlock> pixels_; ///< the whole picture, unless it is large
    std::vector<std::string> losses_;        ///< what the new file cannot hold
    bool damaged_ = false;                   ///< the input was not read in full
};

/// A block for the whole picture; none if it is large, or when out of memory.
std::optional<tdr::SharedBlock> blockFor(const tdr::PictureReader& reader) {
    const std::size_t bytes = tdr::pictureBytes(reader.width(), reader.height());
    if (bytes > kLarge) {
        return {};
    }
    auto block = tdr::SharedBlock::create(bytes);
    return block ? std::optional(std::move(*block)) : std::nullopt;
}

Outcome<bool> Conversion::checkNames() const {
    if (auto isFile = checkTarget(options_.output); !isFile) {
        return isFile;
    }
    if (hasExtension(options_.output, ".tag")) {
        return Problem{ExitCode::Failed,
                       options_.output + ": mattes (.tag) can be read, but not be written yet"};
    }
    return checkReadable(options_.input);
}

Outcome<bool> Conversion::run() {
    if (auto good = checkNames(); !good) {
        return good;
    }
    const auto writerDriver = drivers_.writerFor(options_.output);
    if (!writerDriver) {
        return writerDriver.problem();
    }
    auto picture = openPicture(drivers_, options_.input);
    if (!picture) {
        return picture.problem();
    }
    if (auto chosen = chooseMatte(*picture); !chosen) {
        return chosen;
    }
    auto file = ReplacedFile::begin(options_.output, drivers_.extension(*writerDriver));
    if (!file) {
        return file.problem();
    }
    pixels_ = blockFor(picture->reader);
    std::optional<Session> other; // not needed if the reading driver has finished and can write
    if (!pixels_ || picture->driverName != drivers_.name(*writerDriver)) {
        auto session = drivers_.take(*writerDriver);
        if (!session) {
            return problemWith(options_.output, session.failure());
        }
        other.emplace(std::move(*session));
        if (const auto asked = other->driver.transfersCaches(); !asked) {
            return outputProblem(*other, asked.failure());
        }
    }
    drivers_.dismissOthers();
    return convert(*picture, other ? *other : *picture->session, *file);
}

/// Selects the requested matte, and records the others as losses.
Outcome<bool> Conversion::chooseMatte(PictureFile& picture) {
    const tdr::PictureShape& shape = picture.reader.shape();
    const std::int32_t mattes = shape.matte ? shape.channels : 0;
    if (options_.channel > mattes) {
        return Problem{ExitCode::Failed,
                       mattes == 0 ? options_.input + ": not a matte; it has no --channel to choose"
                                   : fmt::format("{}: has no --channel {}, the last one is {}",
                                                 options_.input, options_.channel, mattes)};
    }
    if (options_.channel > 0) {
        picture.reader.selectMatte(options_.channel - 1);
    } else if (mattes > 1) {
        losses_.push_back(fmt::format("mattes 2 to {} (see --channel)", mattes));
    }
    return true;
}

Outcome<bool> Conversion::convert(PictureFile& picture, Session& writer, ReplacedFile& file) {
    const auto metadata = readMetadata(pathOfDescriptor(picture.file.get()));
    if (!metadata) {
        return Problem{metadata.problem().code, options_.input + ": " + metadata.problem().text};
    }
    if (auto read = this->read(picture); !read) {
        return read;
    }
    if (auto written = write(picture, writer, file); !written) {
        picture.session->passOnLines(writer.driver.lastLine());
        writer.passOnLines(writer.driver.lastLine()); // the problem's text has that line
        writer.driver.kill();                         // it would complete a discarded file
        return written;
    }
    for (Session* done : {picture.session.get(), &writer}) {
        done->passOnLines();
        done->driver.dismiss();
    }
    const auto left = carryMetadata(*metadata, file.path());
    if (!left) {
        return Problem{left.problem().code, options_.output + ": " + left.problem().text};
    }
    if (auto replaced = file.commit(); !replaced) {
        return replaced;
    }
    losses_.insert(losses_.end(), left->begin(), left->end());
    if (!losses_.empty()) {
        complain(fmt::format("{}: not carried from {}: {}", options_.output, options_.input,
                             fmt::join(losses_, ", ")));
    }
    return damaged_ ? Problem{ExitCode::Failed,
                              options_.output + ": written, but " + options_.input + " is damaged"}
                    : Outcome<bool>(true);
}

/// Reads the whole picture and closes its file, unless the conversion is line by line.
Outcome<bool> Conversion::read(PictureFile& picture) {
    if (!pixels_) {
        return true;
    }
    auto done = picture.reader.readAll(*pixels_, tdr::BlockState::Blank);
    if (done) {
        done = picture.reader.close();
    }
    if (!done) {
        return inputProblem(picture, done.failure());
    }
    changeAlpha(options_.alpha, pixels_->bytes());
    return checkDamage(picture);
}

/// Fails if the driver has reported damage and --keep-damaged is not set.
Outcome<bool> Conversion::checkDamage(PictureFile& picture) {
    damaged_ = !picture.session->driver.damage().empty();
    if (options_.keepDamaged || !damaged_) {
        return true;
    }
    picture.session->passOnLines();
    return Problem{ExitCode::Failed, options_.output + ": not written, because " + options_.input +
                                         " is damaged (see --keep-damaged)"};
}

/// Writes the picture that was read, or reads and writes it line by line.
Outcome<bool> Conversion::write(PictureFile& picture, Session& session, const ReplacedFile& file) {
    session.names.add(file.names());
    auto writer = tdr::PictureWriter::open(session.driver, file.path().native(),
                                           picture.reader.width(), picture.reader.height());
    if (!writer) {
        return outputProblem(session, writer.failure());
    }
    if (pixels_) {
        if (const auto done = writer->writeAll(*pixels_); !done) {
            return outputProblem(session, done.failure());
        }
    } else if (auto copied = copyLines(picture, session, *writer); !copied) {
        return copied;
    }
    if (const auto closed = writer->close(); !closed) {
        return outputProblem(session, closed.failure());
    }
    return true;
}

Outcome<bool> Conversion::copyLines(PictureFile& picture, Session& session,
                                    tdr::PictureWriter& writer) {
    auto block = tdr::SharedBlock::create(tdr::lineBytes(picture.reader.width()));
    if (!block) {
        return inputProblem(picture, block.failure());
    }
    for (std::int32_t line = picture.reader.height(); line-- > 0;) {
        if (const auto read = picture.reader.readLine(*block, line); !read) {
            return inputProblem(picture, read.failure());
        }
        if (auto whole = checkDamage(picture); !whole) {
            return whole;
        }
        changeAlpha(options_.alpha, block->bytes());
        if (const auto written = writer.writeLine(*block, line); !written) {
            return outputProblem(session, written.failure());
        }
    }
    if (const auto closed = picture.reader.close(); !closed) {
        return inputProblem(picture, closed.failure());
    }
    return checkDamage(picture); // a driver may find it only when it closes the file
}

Problem Conversion::inputProblem(PictureFile& picture, const tdr::Failure& failure) const {
    picture.session->passOnLines(failure.lastLine);
    return picture.session->problem(options_.input, failure);
}

Problem Conversion::outputProblem(const Session& session, const tdr::Failure& failure) const {
    return session.problem(options_.output, failure);
}

ExitCode convert(const DriverOptions& drivers, const ConvertOptions& options) {
    Conversion conversion(drivers, options);
    const auto done = conversion.run();
    return done ? ExitCode::Done : complain(done.problem());
}

} // namespace

void addConvert(CLI::App& app, Command& command) {
    auto* sub = app.add_subcommand("convert", "Read a picture and write it in another format");
    auto options = std::make_shared<ConvertOptions>();
    sub->add_option("in", options->input, "Picture to read")->required()->type_name("IN");
    sub->add_option("out", options->output, "Picture to write; its ending chooses the format")
        ->required()
        ->type_name("OUT");
    sub->add_option("--channel", options->channel, "Which of several mattes, counted from 1")
        ->type_name("N")
        ->check(CLI::Range(1, base::kMaxTagChannels));
    addAlphaOptions(*sub, options->alpha);
    sub->add_flag("--keep-damaged", options->keepDamaged,
                  "Write what can be read of a damaged picture; the exit status is still 1");
    sub->callback([&command, options] { command.exit = convert(command.drivers, *options); });
}
