// SPDX-License-Identifier: MIT
// tdr thumbnail -s N IN OUT: a small PNG of a picture, for file managers. Unlike the other commands
// it is given a file to overwrite.
#include "files/replacedFile.h"
#include "output/console.h"
#include "pictures/metadata.h"
#include "pictures/pictureFile.h"
#include "pictures/pixelRatio.h"
#include "pictures/scaler.h"
#include "subcommands.h"

#include <algorithm>
#include <cmath>
#include <system_error>

namespace {

constexpr std::int32_t kSmallest = 16;
constexpr std::int32_t kLargest = 4096;

struct ThumbnailOptions {
    std::string input;
    std::string output;
    std::int32_t size = 256;
};

/// With square pixels, and no side longer than before.
PixelSize sizeOfThumbnail(const tdr::PictureShape& shape, double ratio, int most) {
    const double stretch = meantRatio(ratio);
    const double width = shape.width * std::min(stretch, 1.0);
    const double height = shape.height / std::max(stretch, 1.0);
    const double scale = std::min({1.0, most / width, most / height});
    const auto side = [&](double length) {
        return std::clamp(static_cast<int>(std::lround(length * scale)), 1, most);
    };
    return {side(width), side(height)};
}

tdr::Result<Raster> readReduced(tdr::PictureSource& source, PixelSize reduced) {
    LineReducer reducer({source.width(), source.height()}, reduced);
    auto block = tdr::SharedBlock::create(tdr::lineBytes(source.width()));
    if (!block) {
        return block.failure();
    }
    for (std::int32_t line = source.height(); line-- > 0;) {
        if (const auto read = source.readLine(*block, line); !read) {
            return read.failure();
        }
        reducer.add(block->bytes());
    }
    if (const auto closed = source.close(); !closed) {
        return closed.failure();
    }
    return reducer.finish();
}

Outcome<void> write(DriverSet& drivers, const std::string& output, const tdr::Picture& picture) {
    const auto png = writerFor(drivers, output, "png");
    if (!png) {
        return png.failure();
    }
    auto file = ReplacedFile::begin(output, drivers.extension(**png), Existing::Overwritten);
    if (!file) {
        return file.failure();
    }
    auto writer = drivers.take(**png);
    if (!writer) {
        return problemWith(output, writer.failure());
    }
    (*writer)->names.add(file->names());
    const auto written = tdr::writePicture((*writer)->session, file->path().native(), picture);
    if (!written) {
        (*writer)->passOnLines(written.failure().lastLine);
        return (*writer)->problem(output, written.failure());
    }
    (*writer)->passOnLines();
    return file->commit();
}

Outcome<void> makeThumbnail(DriverSet& drivers, const ThumbnailOptions& options) {
    std::error_code none;
    if (std::filesystem::equivalent(options.input, options.output, none)) {
        return Problem{ExitCode::Failed, options.output + ": is the picture itself"};
    }
    auto picture = openPicture(drivers, options.input);
    if (!picture) {
        return picture.failure();
    }
    const auto metadata = readMetadata(tdr::pathOfDescriptor(picture->file.get()));
    if (!metadata) {
        return problemWith(options.input, metadata.failure());
    }
    RunningDriver& reader = *picture->running;
    const auto reduced = readReduced(
        picture->source, sizeOfThumbnail(picture->source.shape(), metadata->ratio, options.size));
    if (!reduced) {
        reader.passOnLines(reduced.failure().lastLine);
        return reader.problem(options.input, reduced.failure());
    }
    reader.passOnLines();
    if (auto written = write(drivers, options.output, asPicture(*reduced)); !written) {
        return written;
    }
    return reader.session.damage().empty()
               ? Outcome<void>()
               : Problem{ExitCode::Failed,
                         options.output + ": written, but " + options.input + " is damaged"};
}

ExitCode thumbnail(const DriverOptions& driverOptions, const ThumbnailOptions& options) {
    return withinMemory(options.input, [&] {
        DriverSet drivers(driverOptions);
        const auto made = makeThumbnail(drivers, options);
        return made ? ExitCode::Done : fail(made.failure());
    });
}

} // namespace

void addThumbnail(Arguments& arguments, Command& command) {
    auto options = std::make_shared<ThumbnailOptions>();
    arguments.value("in", "IN", options->input, "Picture to read").require();
    arguments.value("out", "OUT", options->output, "PNG to write, even if it exists").require();
    arguments.value("-s,--size", "N", options->size, "Longest side in pixels (default: 256)")
        .range(kSmallest, kLargest);
    arguments.run([&command, options] { command.exit = thumbnail(command.drivers, *options); });
}
