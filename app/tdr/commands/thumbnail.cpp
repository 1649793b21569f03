// SPDX-License-Identifier: MIT
// tdr thumbnail -s N IN OUT: a small PNG of a picture, for file managers. Unlike the other commands
// it is given a file to overwrite.
#include "pictures/thumbnail.h"
#include "files/replacedFile.h"
#include "output/console.h"
#include "subcommands.h"

namespace {

constexpr std::int32_t kSmallest = 16;
constexpr std::int32_t kLargest = 4096;

struct ThumbnailOptions {
    std::string input;
    std::string output;
    std::int32_t size = 256;
};

ExitCode thumbnail(const DriverOptions& driverOptions, const ThumbnailOptions& options) {
    if (const auto other = checkIsNotInput(options.output, options.input); !other) {
        return fail(other.failure());
    }
    DriverSet drivers(driverOptions);
    const auto read = readThumbnail(drivers, options.input, options.size);
    if (!read) {
        return fail(read.failure());
    }
    const auto written = writeThumbnail(drivers, options.output, *read, Existing::Overwritten);
    if (!written) {
        return fail(written.failure());
    }
    return read->whole ? ExitCode::Done
                       : fail({ExitCode::Failed,
                               options.output + ": written, but " + options.input + " is damaged"});
}

} // namespace

void addThumbnail(Arguments& arguments, Command& command) {
    auto options = std::make_shared<ThumbnailOptions>();
    arguments.value("IN", "PICTURE", options->input, "Picture to read").require();
    arguments.value("OUT", "PICTURE", options->output, "PNG to write, even if it exists").require();
    arguments.value("-s,--size", "N", options->size, "Longest side in pixels (default: 256)")
        .range(kSmallest, kLargest);
    arguments.run([&command, options] {
        command.exit =
            withinMemory(options->input, [&] { return thumbnail(command.drivers, *options); });
    });
}
