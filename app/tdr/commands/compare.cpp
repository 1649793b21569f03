// SPDX-License-Identifier: MIT
// tdr compare A B: compares two pictures pixel by pixel. Each is read line by line through the
// driver of its format.
#include "output/console.h"
#include "pictures/metadata.h"
#include "pictures/pictureFile.h"
#include "subcommands.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <span>

namespace {

using Pixel = std::array<std::uint8_t, tdr::kPixelBytes>;

/// One side of the comparison: an open picture and the block for its lines.
struct Side {
    std::string path;
    PictureFile picture;
    tdr::SharedBlock block;

    static Outcome<Side> open(DriverSet& drivers, const std::string& path) {
        auto picture = openPicture(drivers, path);
        if (!picture) {
            return picture.failure();
        }
        auto block = tdr::SharedBlock::create(tdr::lineBytes(picture->source.width()));
        if (!block) {
            return problemWith(path, block.failure());
        }
        return Side{path, std::move(*picture), std::move(*block)};
    }

    [[nodiscard]] const tdr::PictureShape& shape() const { return picture.source.shape(); }

    /// A damaged line is a failure: its missing pixels read as zero and would be compared.
    Outcome<void> readLine(std::int32_t line) {
        const auto read = picture.source.readLine(block, line);
        if (!read) {
            picture.running->passOnLines(read.failure().lastLine);
            return picture.running->problem(path, read.failure());
        }
        return checkDamage();
    }

    [[nodiscard]] Outcome<void> checkDamage() const {
        if (!picture.running->session.damage().empty()) {
            return Problem{ExitCode::Failed, path + ": damaged, and so cannot be compared"};
        }
        return {};
    }

    [[nodiscard]] Pixel pixel(std::int32_t x) const {
        Pixel pixel{};
        const std::size_t at = static_cast<std::size_t>(x) * tdr::kPixelBytes;
        std::ranges::copy(block.bytes().subspan(at, tdr::kPixelBytes), pixel.begin());
        return pixel;
    }

    /// Number of pictures in the file: its mattes, else 1.
    [[nodiscard]] std::int32_t mattes() const { return shape().matte ? shape().channels : 1; }
};

struct Differences {
    std::int64_t count = 0;
    std::string first; ///< the position and the values of the two pixels
};

/// "#rrggbbaa" from the drivers' order: alpha, blue, green, red.
std::string colourText(const Pixel& pixel) {
    return fmt::format("#{:02x}{:02x}{:02x}{:02x}", pixel[3], pixel[2], pixel[1], pixel[0]);
}

void compareLine(const Side& a, const Side& b, std::int32_t line, Differences& found) {
    for (std::int32_t x = 0; x < a.shape().width; ++x) {
        const Pixel one = a.pixel(x);
        const Pixel other = b.pixel(x);
        if (one != other && found.count++ == 0) {
            found.first =
                fmt::format("first at column {} of line {} from the top: {} and {}", x,
                            a.shape().height - 1 - line, colourText(one), colourText(other));
        }
    }
}

Outcome<Differences> compareLines(Side& a, Side& b) {
    Differences found;
    const std::int32_t mattes = a.mattes();
    for (std::int32_t matte = 0; matte < mattes && found.count == 0; ++matte) {
        for (std::int32_t line = a.shape().height; line-- > 0;) {
            for (Side* side : {&a, &b}) {
                side->picture.source.selectMatte(matte);
                if (const auto read = side->readLine(line); !read) {
                    return read.failure();
                }
            }
            compareLine(a, b, line, found);
        }
        if (found.count > 0 && mattes > 1) {
            found.first = fmt::format("matte {}, {}", matte + 1, found.first);
        }
    }
    return found;
}

/// The properties that must be equal before pixels are compared, as text.
std::string shapeText(const Side& side) {
    const tdr::PictureShape& shape = side.shape();
    return fmt::format("{} x {}", shape.width, shape.height) +
           (side.mattes() > 1 ? fmt::format(" with {} mattes", side.mattes()) : "");
}

/// Drivers transfer 8 bits of a sample; the others are not compared, and this text says so.
Outcome<std::string> depthText(const Side& a, const Side& b) {
    for (const Side* side : {&a, &b}) {
        const auto metadata = readMetadata(pathOfDescriptor(side->picture.file.get()));
        if (!metadata) {
            return problemWith(side->path, metadata.failure());
        }
        if (metadata->png && metadata->png->sampleBits > 8) {
            return fmt::format(" in the upper 8 of the {} bits of {}", metadata->png->sampleBits,
                               printable(side->path));
        }
    }
    return std::string();
}

/// Reports in one line whether they are equal, or what differs. Only a successful close proves that
/// the lines were the answers to their requests.
Outcome<ExitCode> compare(DriverSet& drivers, const std::string& pathA, const std::string& pathB) {
    auto a = Side::open(drivers, pathA);
    if (!a) {
        return a.failure();
    }
    auto b = Side::open(drivers, pathB);
    if (!b) {
        return b.failure();
    }
    const std::string names = printable(pathA) + " and " + printable(pathB);
    if (shapeText(*a) != shapeText(*b)) {
        warn(fmt::format("{} differ: {} and {}", names, shapeText(*a), shapeText(*b)));
        return ExitCode::Failed;
    }
    auto found = compareLines(*a, *b);
    for (Side* side : {&*a, &*b}) {
        if (const auto closed = side->picture.source.close(); found && !closed) {
            found = side->picture.running->problem(side->path, closed.failure());
        } else if (const auto whole = side->checkDamage(); found && !whole) {
            found = whole.failure();
        }
        side->picture.running->passOnLines();
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
        fmt::format("{}: {}, all {} pixels are equal{}\n", names, shapeText(*a), pixels, *depth));
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
