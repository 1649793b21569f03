// SPDX-License-Identifier: MIT
// tdr convert IN OUT: read through one driver, write through another, or through the same one when
// it knows both formats. They work on one shared block, so that nothing is copied: the whole
// picture or, when it is a large one, line by line.
#include "console.h"
#include "pictureFile.h"
#include "replacedFile.h"
#include "subcommands.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <optional>
#include <utility>

namespace {

struct ConvertOptions {
    std::string input;
    std::string output;
};

/// Bytes of pixels above which a picture goes line by line: room for a film frame of 4096 x 3112,
/// little enough that a small file with a large claim does no harm.
constexpr std::size_t kLarge = std::size_t{64} << 20;

/// A conversion from its options to its end; any step's problem is the result of the whole.
class Conversion {
  public:
    Conversion(const DriverOptions& drivers, const ConvertOptions& options)
        : drivers_(drivers), options_(options) {}

    Outcome<bool> run();

  private:
    Outcome<bool> read(PictureFile& picture);
    Outcome<bool> write(PictureFile& picture, Session& session, const ReplacedFile& file);
    Outcome<bool> copyLines(PictureFile& picture, Session& session, tdr::PictureWriter& writer);
    [[nodiscard]] Problem inputProblem(PictureFile& picture, const tdr::Failure& failure) const;
    [[nodiscard]] Problem outputProblem(const Session& session, const tdr::Failure& failure) const;

    DriverSet drivers_;
    const ConvertOptions& options_;
    std::optional<tdr::SharedBlock> pixels_; ///< the whole picture, unless it is a large one
};

/// A block for the whole picture; none for a large one, or when there is no memory for it.
std::optional<tdr::SharedBlock> blockFor(const tdr::PictureReader& reader) {
    const std::size_t bytes = tdr::pictureBytes(reader.width(), reader.height());
    if (bytes > kLarge) {
        return {};
    }
    auto block = tdr::SharedBlock::create(bytes);
    return block ? std::optional(std::move(*block)) : std::nullopt;
}

Outcome<bool> Conversion::run() {
    if (auto isFile = checkTarget(options_.output); !isFile) {
        return isFile;
    }
    if (hasExtension(options_.output, ".tag")) {
        return Problem{ExitCode::Failed,
                       options_.output + ": mattes (.tag) can be read, but not be written yet"};
    }
    if (auto readable = checkReadable(options_.input); !readable) {
        return readable.problem();
    }
    const auto writerDriver = drivers_.writerFor(options_.output);
    if (!writerDriver) {
        return writerDriver.problem();
    }
    auto picture = openPicture(drivers_, options_.input);
    if (!picture) {
        return picture.problem();
    }
    auto file = ReplacedFile::begin(options_.output, drivers_.extension(*writerDriver));
    if (!file) {
        return file.problem();
    }
    pixels_ = blockFor(picture->reader);
    std::optional<Session> other; // not needed when the reading driver is through and can go on
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
    if (auto read = this->read(*picture); !read) {
        return read;
    }
    Session& session = other ? *other : *picture->session;
    auto written = write(*picture, session, *file);
    if (!written) {
        session.passOnLines(session.driver.lastLine()); // that one is in the problem's text
        return written;
    }
    for (Session* done : {picture->session.get(), &session}) {
        done->passOnLines();
        done->driver.dismiss();
    }
    return file->commit();
}

/// Reads the whole picture and lets go of its file, unless it goes line by line.
Outcome<bool> Conversion::read(PictureFile& picture) {
    if (!pixels_) {
        return true;
    }
    auto done = picture.reader.readAll(*pixels_, tdr::BlockState::Blank);
    if (done) {
        done = picture.reader.close();
    }
    return done ? Outcome<bool>(true) : inputProblem(picture, done.failure());
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
        if (const auto written = writer.writeLine(*block, line); !written) {
            return outputProblem(session, written.failure());
        }
    }
    if (const auto closed = picture.reader.close(); !closed) {
        return inputProblem(picture, closed.failure());
    }
    return true;
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
    sub->callback([&command, options] { command.exit = convert(command.drivers, *options); });
}
