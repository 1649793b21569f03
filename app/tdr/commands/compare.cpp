// SPDX-License-Identifier: MIT
// tdr compare A B: compares two pictures pixel by pixel. Each is read line by line through the
// driver of its format.
#include "output/console.h"
#include "pictures/metadata.h"
#include "pictures/pictureLines.h"
#include "subcommands.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <span>

namespace {

using Pixel = std::array<std::uint8_t, tdr::kPixelBytes>;
using Line = std::span<const std::uint8_t>;

struct Differences {
    std::int64_t count = 0;
    std::string first; ///< the position and the values of the two pixels
};

/// "#rrggbbaa" from the drivers' order: alpha, blue, green, red.
std::string colourText(const Pixel& pixel) {
    return fmt::format("#{:02x}{:02x}{:02x}{:02x}", pixel[3], pixel[2], pixel[1], pixel[0]);
}

Pixel pixelOf(Line line, std::int32_t x) {
    Pixel pixel{};
    const std::size_t at = static_cast<std::size_t>(x) * tdr::kPixelBytes;
    std::ranges::copy(line.subspan(at, tdr::kPixelBytes), pixel.begin());
    return pixel;
}

void compareLine(Line a, Line b, const tdr::PictureShape& shape, std::int32_t line,
                 Differences& found) {
    for (std::int32_t x = 0; x < shape.width; ++x) {
        const Pixel one = pixelOf(a, x);
        const Pixel other = pixelOf(b, x);
        if (one != other && found.count++ == 0) {
            found.first = fmt::format("first at column {} of line {} from the top: {} and {}", x,
                                      shape.height - 1 - line, colourText(one), colourText(other));
        }
    }
}

Outcome<Differences> compareLines(PictureLines& a, PictureLines& b) {
    Differences found;
    for (std::int32_t matte = 0; matte < a.mattes() && found.count == 0; ++matte) {
        for (std::int32_t line = a.shape().height; line-- > 0;) {
            const auto one = a.read(line, matte);
            if (!one) {
                return one.failure();
            }
            const auto other = b.read(line, matte);
            if (!other) {
                return other.failure();
            }
            compareLine(*one, *other, a.shape(), line, found);
        }
        if (found.count > 0 && a.mattes() > 1) {
            found.first = fmt::format("matte {}, {}", matte + 1, found.first);
        }
    }
    return found;
}

/// Drivers transfer 8 bits of a sample; the others are not compared, and this text says so.
Outcome<std::string> depthText(const PictureLines& a, const PictureLines& b) {
    for (const PictureLines* side : {&a, &b}) {
        const auto metadata = readMetadata(pathOfDescriptor(side->picture().file.get()));
        if (!metadata) {
            return problemWith(side->path(), metadata.failure());
        }
        if (metadata->png && metadata->png->sampleBits > 8) {
            return fmt::format(" in the upper 8 of the {} bits of {}", metadata->png->sampleBits,
                               printable(side->path()));
        }
    }
    return std::string();
}

/// Reports in one line whether they are equal, or what differs.
Outcome<ExitCode> compare(DriverSet& drivers, const std::string& pathA, const std::string& pathB) {
    auto a = PictureLines::of(openPicture(drivers, pathA), pathA, "compared");
    if (!a) {
        return a.failure();
    }
    auto b = PictureLines::of(openPicture(drivers, pathB), pathB, "compared");
    if (!b) {
        return b.failure();
    }
    const std::string names = printable(pathA) + " and " + printable(pathB);
    if (a->sizeText() != b->sizeText()) {
        warn(fmt::format("{} differ: {} and {}", names, a->sizeText(), b->sizeText()));
        return ExitCode::Failed;
    }
    auto found = compareLines(*a, *b);
    for (PictureLines* side : {&*a, &*b}) {
        if (const auto closed = side->close(); found && !closed) {
            found = closed.failure();
        }
    }
    if (!found) {
        return found.failure();
    }
    const std::int64_t pixels = std::int64_t{a->shape().width} * a->shape().height;
    if ((*found).count > 0) {
        warn(fmt::format("{} differ: {} of {} pixels, {}", names, (*found).count, pixels,
                         (*found).first));
        return ExitCode::Failed;
    }
    const auto depth = depthText(*a, *b);
    if (!depth) {
        return depth.failure();
    }
    const ExitCode said = say(
        fmt::format("{}: {}, all {} pixels are equal{}\n", names, a->sizeText(), pixels, *depth));
    return said == ExitCode::Done ? said : ExitCode::NotCompared;
}

/// A failure is not a difference and has a separate exit status.
ExitCode run(const DriverOptions& options, const std::string& pathA, const std::string& pathB) {
    DriverSet drivers(options);
    const auto compared = compare(drivers, pathA, pathB);
    if (compared) {
        return *compared;
    }
    const ExitCode code = fail(compared.failure());
    return code == ExitCode::Failed ? ExitCode::NotCompared : code;
}

} // namespace

void addCompare(Arguments& arguments, Command& command) {
    arguments.footer(
        "Exit status: 0 equal, 1 different, 2 usage, 3 a driver could not be started or "
        "died, 4 could not be compared (damaged or unreadable).");
    auto files = std::make_shared<std::pair<std::string, std::string>>();
    arguments.value("a", "A", files->first, "One picture").require();
    arguments.value("b", "B", files->second, "The other picture").require();
    arguments.run(
        [&command, files] { command.exit = run(command.drivers, files->first, files->second); });
}
