// SPDX-License-Identifier: MIT
#include "conversion.h"

#include "matteOutput.h"
#include "namedPicture.h"
#include "output/console.h"
#include "output/formatted.h"
#include "pictureInput.h"
#include "pictureOutput.h"
#include "streamPicture.h"

#include <chrono>
#include <memory>
#include <optional>
#include <utility>

namespace {

/// From an open input to the end of the output. Both use one shared block without a copy: for the
/// whole picture or, if it is large, line by line.
class Copying {
  public:
    Copying(const ConversionOptions& options, PictureInput& input, PictureOutput& output)
        : options_(options), input_(input), output_(output) {}

    /// Fails unless the output has been committed.
    Outcome<void> run();

    /// True if it failed because the input is damaged.
    [[nodiscard]] bool metDamage() const { return metDamage_; }

  private:
    Outcome<void> read();
    Outcome<void> checkDamage();
    Outcome<void> write();
    Outcome<void> copyLines();
    Outcome<PixelLine> lineOf(std::int32_t line);
    Outcome<void> verify();
    Outcome<void> finishReading();
    void reportLosses(const std::vector<std::string>& metadata);

    const ConversionOptions& options_;
    PictureInput& input_;
    PictureOutput& output_;
    std::optional<tdr::SharedBlock> pixels_; ///< the whole picture, unless it is large
    std::optional<tdr::SharedBlock> line_;   ///< of a large one
    bool metDamage_ = false;
};

Outcome<void> Copying::run() {
    if (auto read = this->read(); !read) {
        return read;
    }
    if (auto written = write(); !written) {
        input_.passOnLines();
        return written;
    }
    const auto left = output_.close(input_.metadata);
    auto good = left ? verify() : left.failure();
    if (good) {
        good = finishReading();
    }
    input_.passOnLines();
    if (good) {
        good = output_.commit(options_.preserveTime ? input_.time() : std::nullopt);
    }
    if (!good) {
        return good;
    }
    reportLosses(*left);
    return {};
}

void Copying::reportLosses(const std::vector<std::string>& metadata) {
    if (options_.quiet) {
        return;
    }
    if (!output_.guessed.empty()) {
        warn(formatted("{}: written as {}, by the driver of {} (see --to)", output_.name(),
                       output_.guessed, input_.name()));
    }
    std::string list;
    for (const auto* losses : {&std::as_const(input_.losses), &metadata}) {
        for (const std::string& loss : *losses) {
            list += (list.empty() ? "" : ", ") + loss;
        }
    }
    if (!list.empty()) {
        warn(formatted("{}: not carried from {}: {}", output_.name(), input_.name(), list));
    }
}

/// Reads the whole picture, unless it is large or memory is short.
Outcome<void> Copying::read() {
    const std::size_t bytes = tdr::pictureBytes(input_.width(), input_.height());
    if (bytes > options_.mostBytes) {
        return {};
    }
    auto block = tdr::SharedBlock::create(bytes);
    if (!block) {
        return {};
    }
    pixels_.emplace(std::move(*block));
    if (auto read = input_.readAll(*pixels_); !read) {
        metDamage_ = input_.damaged();
        return read;
    }
    changeAlpha(options_.alpha, pixels_->bytes());
    return checkDamage();
}

/// Fails if the input is damaged and --keep-damaged is not set.
Outcome<void> Copying::checkDamage() {
    if (options_.keepDamaged || !input_.damaged()) {
        return {};
    }
    metDamage_ = true;
    input_.passOnLines();
    const char* fate = output_.isPartlyWritten() ? "written only in part" : "not written";
    return Problem{ExitCode::Failed, formatted("{}: {}, because {} is damaged (see --keep-damaged)",
                                               output_.name(), fate, input_.name())};
}

/// Writes the picture that was read, or reads and writes it line by line.
Outcome<void> Copying::write() {
    if (auto begun = output_.begin(input_.width(), input_.height()); !begun) {
        return begun;
    }
    return pixels_ ? output_.writeAll(*pixels_) : copyLines();
}

Outcome<void> Copying::copyLines() {
    auto block = tdr::SharedBlock::create(tdr::lineBytes(input_.width()));
    if (!block) {
        return problemWith(input_.name(), block.failure());
    }
    line_.emplace(std::move(*block));
    for (std::int32_t line = input_.height(); line-- > 0;) {
        if (const auto read = lineOf(line); !read) {
            return read.failure();
        }
        if (auto whole = checkDamage(); !whole) {
            return whole;
        }
        if (auto written = output_.writeLine(*line_, line); !written) {
            return written;
        }
    }
    return {};
}

/// A line as the output gets it. That of a large picture is read, also for a second time.
Outcome<PixelLine> Copying::lineOf(std::int32_t line) {
    const std::size_t size = tdr::lineBytes(input_.width());
    if (pixels_) {
        return PixelLine(pixels_->bytes().subspan(static_cast<std::size_t>(line) * size, size));
    }
    if (auto read = input_.readLine(*line_, line); !read) {
        metDamage_ = input_.damaged();
        return read.failure();
    }
    changeAlpha(options_.alpha, line_->bytes());
    return PixelLine(line_->bytes());
}

Outcome<void> Copying::verify() {
    return options_.verify ? output_.verify({input_.name(), input_.width(), input_.height(),
                                             [&](std::int32_t line) { return lineOf(line); }})
                           : Outcome<void>();
}

/// Closes the file of a picture that is converted line by line.
Outcome<void> Copying::finishReading() {
    if (pixels_) {
        return {};
    }
    if (auto closed = input_.close(); !closed) {
        return closed;
    }
    return checkDamage(); // a driver may find it only when it closes the file
}

constexpr std::string_view kStream = "-";

using OpenedInput = Outcome<std::unique_ptr<PictureInput>>;
using OpenedOutput = Outcome<std::unique_ptr<PictureOutput>>;

/// A picture, or one matte of its file, counted from 1.
struct Source {
    std::string path;
    std::int32_t matte; ///< 0: the first one, and the others are reported
};

/// What is read one after another. All mattes of one file become those of another one.
Outcome<std::vector<Source>> sourcesOf(const ConversionOptions& options,
                                       const Conversion& conversion) {
    const std::int32_t chosen = conversion.channel > 0 ? conversion.channel : options.channel;
    std::vector<Source> sources;
    for (const std::string& path : conversion.inputs) {
        sources.push_back({path, chosen});
    }
    if (sources.size() == 1 && chosen == 0 && options.preRead.empty() &&
        isMatte(conversion.output, options.kind)) {
        const auto mattes = mattesIn(sources[0].path);
        if (!mattes) {
            return mattes.failure();
        }
        for (std::int32_t matte = 2; matte <= *mattes; ++matte) {
            sources[0].matte = 1;
            sources.push_back({sources[0].path, matte});
        }
    }
    return sources;
}

OpenedInput inputFor(DriverSet& drivers, const ConversionOptions& options, std::int32_t frame,
                     const Source& source) {
    if (!options.preRead.empty()) {
        return openNamedInput(drivers, {source.path, options.from, options.preRead, frame});
    }
    return openInput(drivers, source.path, options.from, source.matte);
}

OpenedOutput outputFor(DriverSet& drivers, const ConversionOptions& options,
                       const Conversion& conversion, const std::vector<Source>& sources,
                       const PictureInput& input) {
    const std::string& path = conversion.output;
    if (path == kStream) {
        return streamOutput();
    }
    if (!options.postWrite.empty()) {
        return openNamedOutput(drivers, {path, options.kind, options.postWrite, conversion.frame},
                               options.existing);
    }
    if (isMatte(path, options.kind)) {
        MatteRule rule{options.threshold, {}};
        for (const Source& source : sources) {
            rule.inputs.push_back(source.path);
        }
        return openMatte(path, std::move(rule), options.existing);
    }
    return openOutput(drivers, path, options.kind, options.existing, input);
}

void beginTime(DriverSet& drivers, const ConversionOptions& options) {
    if (options.timeout > 0) {
        const std::chrono::duration<double> limit(options.timeout);
        drivers.setDeadline(std::chrono::steady_clock::now() +
                            std::chrono::ceil<std::chrono::milliseconds>(limit));
    }
}

/// Of a picture for nobody the problem does not matter.
Converted failed(const std::string& output, const Problem& problem, bool damaged = false) {
    return {problem, damaged, output == kStream && streamIsUnwanted()};
}

} // namespace

Converted convertPicture(DriverSet& drivers, const ConversionOptions& options,
                         const Conversion& conversion) {
    beginTime(drivers, options);
    std::unique_ptr<PictureOutput> output;
    std::optional<Problem> damage;
    const auto sources = sourcesOf(options, conversion);
    if (!sources) {
        return failed(conversion.output, sources.failure());
    }
    for (const Source& source : *sources) {
        const auto input = inputFor(drivers, options, conversion.frame, source);
        if (!input) {
            return {input.failure()};
        }
        if (!output) {
            auto opened = outputFor(drivers, options, conversion, *sources, **input);
            if (!opened) {
                return failed(conversion.output, opened.failure());
            }
            output = std::move(*opened);
        }
        Copying copying(options, **input, *output);
        if (const auto done = copying.run(); !done) {
            return failed(conversion.output, done.failure(), copying.metDamage());
        }
        if ((*input)->damaged() && !damage) {
            damage = {ExitCode::Failed,
                      output->name() + ": written, but " + source.path + " is damaged"};
        }
    }
    return damage ? Converted{*damage, true} : Converted();
}

Converted convertFromStream(DriverSet& drivers, const ConversionOptions& options, PamReader& reader,
                            const std::string& output) {
    beginTime(drivers, options);
    const auto input = streamInput(reader);
    const auto opened = outputFor(drivers, options, {{}, output}, {{reader.name(), 0}}, *input);
    if (!opened) {
        return failed(output, opened.failure());
    }
    Copying copying(options, *input, **opened);
    const auto done = copying.run();
    return done ? Converted() : failed(output, done.failure(), copying.metDamage());
}
