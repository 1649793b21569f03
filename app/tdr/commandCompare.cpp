// SPDX-License-Identifier: MIT
// tdr compare A B: are two pictures the same, pixel by pixel? Each is read through the driver that
// knows it, line by line, so that a picture and what a driver made of it can be held side by side.
#include "console.h"
#include "pictureFile.h"
#include "subcommands.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <span>

namespace {

using Pixel = std::array<std::uint8_t, tdr::kPixelBytes>;

/// One side of the comparison: an open picture and the block its lines come in.
struct Side {
    std::string path;
    PictureFile picture;
    tdr::SharedBlock block;

    static Outcome<Side> open(DriverSet& drivers, const std::string& path) {
        auto picture = openPicture(drivers, path);
        if (!picture) {
            return picture.problem();
        }
        auto block = tdr::SharedBlock::create(tdr::lineBytes(picture->reader.width()));
        if (!block) {
            return problemWith(path, block.failure());
        }
        return Side{path, std::move(*picture), std::move(*block)};
    }

    [[nodiscard]] const tdr::PictureShape& shape() const { return picture.reader.shape(); }

    tdr::Status readLine(std::int32_t line) { return picture.reader.readLine(block, line); }

    [[nodiscard]] Pixel pixel(std::int32_t x) const {
        Pixel pixel{};
        const std::size_t at = static_cast<std::size_t>(x) * tdr::kPixelBytes;
        std::ranges::copy(block.bytes().subspan(at, tdr::kPixelBytes), pixel.begin());
        return pixel;
    }
};

struct Differences {
    std::int64_t count = 0;
    std::string first; ///< where, and what the two pixels are
};

/// "#rrggbbaa" from the order in which drivers hand pixels over: alpha, blue, green, red.
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
    for (std::int32_t line = a.shape().height; line-- > 0;) {
        for (Side* side : {&a, &b}) {
            if (const auto read = side->readLine(line); !read) {
                return side->picture.session->problem(side->path, read.failure());
            }
        }
        compareLine(a, b, line, found);
    }
    return found;
}

/// True when they are equal; says so, or what differs, in one line.
Outcome<bool> compare(DriverSet& drivers, const std::string& pathA, const std::string& pathB) {
    auto a = Side::open(drivers, pathA);
    if (!a) {
        return a.problem();
    }
    auto b = Side::open(drivers, pathB);
    if (!b) {
        return b.problem();
    }
    const auto [width, height] = std::pair(a->shape().width, a->shape().height);
    const std::string names = printable(pathA) + " and " + printable(pathB);
    if (width != b->shape().width || height != b->shape().height) {
        return Problem{ExitCode::Failed, fmt::format("{} differ: {} x {} and {} x {}", names, width,
                                                     height, b->shape().width, b->shape().height)};
    }
    const auto found = compareLines(*a, *b);
    if (!found) {
        return found.problem();
    }
    const std::int64_t pixels = std::int64_t{width} * height;
    if ((*found).count > 0) {
        return Problem{ExitCode::Failed, fmt::format("{} differ: {} of {} pixels, {}", names,
                                                     (*found).count, pixels, (*found).first)};
    }
    return say(fmt::format("{}: {} x {}, all {} pixels are equal\n", names, width, height,
                           pixels)) == ExitCode::Done;
}

} // namespace

void addCompare(CLI::App& app, Command& command) {
    auto* sub = app.add_subcommand("compare", "Tell whether two pictures have the same pixels");
    auto files = std::make_shared<std::pair<std::string, std::string>>();
    sub->add_option("a", files->first, "One picture")->required()->type_name("A");
    sub->add_option("b", files->second, "The other picture")->required()->type_name("B");
    sub->callback([&command, files] {
        DriverSet drivers(command.drivers);
        const auto equal = compare(drivers, files->first, files->second);
        if (!equal) {
            command.exit = complain(equal.problem());
        } else {
            command.exit = *equal ? ExitCode::Done : ExitCode::Failed;
        }
    });
}
