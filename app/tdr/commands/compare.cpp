// SPDX-License-Identifier: MIT
// tdr compare A B: compares two pictures pixel by pixel. Each is read line by line through the
// driver of its format.
#include "files/replacedFile.h"
#include "output/console.h"
#include "output/formatted.h"
#include "pictures/differencePicture.h"
#include "pictures/metadata.h"
#include "pictures/pictureLines.h"
#include "pictures/pixelDifferences.h"
#include "subcommands.h"

#include <optional>
#include <utility>

namespace {

struct CompareOptions {
    std::string a;
    std::string b;
    std::string diff; ///< the picture of the differences; empty: none
    bool force = false;
};

/// The first matte that differs, or the last one.
struct Compared {
    std::int32_t matte = 0;
    PixelDifferences differences;
};

Outcome<PixelDifferences> compareLines(PictureLines& a, PictureLines& b, std::int32_t matte) {
    PixelDifferences differences;
    const std::int32_t height = a.shape().height;
    for (std::int32_t line = height; line-- > 0;) {
        const auto one = a.read(line, matte);
        if (!one) {
            return one.failure();
        }
        const auto other = b.read(line, matte);
        if (!other) {
            return other.failure();
        }
        differences.add(*one, *other, height - 1 - line);
    }
    return differences;
}

Outcome<Compared> compareMattes(PictureLines& a, PictureLines& b) {
    Compared compared;
    for (std::int32_t matte = 0; matte < a.mattes() && compared.differences.count() == 0; ++matte) {
        auto differences = compareLines(a, b, matte);
        if (!differences) {
            return differences.failure();
        }
        compared = {matte, std::move(*differences)};
    }
    return compared;
}

/// Compares them, draws their differences, and closes both: only that proves what was read.
Outcome<Compared> compareAndClose(PictureLines& a, PictureLines& b,
                                  std::optional<DifferencePicture>& picture) {
    auto compared = compareMattes(a, b);
    if (compared && picture) {
        const int largest = compared->differences.largest();
        if (auto drawn = picture->draw(a, b, compared->matte, largest); !drawn) {
            compared = drawn.failure();
        }
    }
    for (PictureLines* side : {&a, &b}) {
        if (const auto closed = side->close(); compared && !closed) {
            compared = closed.failure();
        }
    }
    if (compared && picture) {
        if (auto written = picture->commit(); !written) {
            compared = written.failure();
        }
    }
    return compared;
}

std::int64_t pixelsOf(const PictureLines& picture) {
    return std::int64_t{picture.shape().width} * picture.shape().height;
}

/// Drivers transfer 8 bits of a sample; the others are not compared, and this text says so.
Outcome<std::string> depthText(const PictureLines& a, const PictureLines& b) {
    for (const PictureLines* side : {&a, &b}) {
        const auto metadata = readMetadata(tdr::pathOfDescriptor(side->picture().file.get()));
        if (!metadata) {
            return problemWith(side->path(), metadata.failure());
        }
        if (metadata->png && metadata->png->sampleBits > 8) {
            return formatted(" in the upper 8 of the {} bits of {}", metadata->png->sampleBits,
                             printable(side->path()));
        }
    }
    return std::string();
}

ExitCode reportDifferent(const std::string& names, const PictureLines& a,
                         const Compared& compared) {
    const PixelDifferences& found = compared.differences;
    warn(formatted("{} differ: {} of {}, {}{}; largest difference {} of 255, PSNR {:.2f} "
                   "dB over red, green, blue and alpha",
                   names, found.count(), counted(pixelsOf(a), "pixel"),
                   a.mattes() > 1 ? formatted("matte {}, ", compared.matte + 1) : "", found.first(),
                   found.largest(), found.psnr()));
    return ExitCode::Failed;
}

Outcome<ExitCode> reportEqual(const std::string& names, const PictureLines& a,
                              const PictureLines& b) {
    const auto depth = depthText(a, b);
    if (!depth) {
        return depth.failure();
    }
    const ExitCode said = say(formatted("{}: {}, {} equal{}\n", names, a.sizeText(),
                                        allAre(pixelsOf(a), "pixel"), *depth));
    return said == ExitCode::Done ? said : ExitCode::NotCompared;
}

/// Reports in one line whether they are equal, or what differs.
Outcome<ExitCode> compare(DriverSet& drivers, const CompareOptions& options) {
    std::optional<DifferencePicture> picture;
    if (!options.diff.empty()) {
        for (const std::string& side : {options.a, options.b}) {
            if (const auto other = checkIsNotInput(options.diff, side); !other) {
                return other.failure();
            }
        }
        auto begun = DifferencePicture::begin(drivers, options.diff,
                                              options.force ? Existing::Replaced : Existing::Kept);
        if (!begun) {
            return begun.failure();
        }
        picture.emplace(std::move(*begun));
    }
    auto a = PictureLines::of(openPicture(drivers, options.a), options.a, "compared");
    if (!a) {
        return a.failure();
    }
    auto b = PictureLines::of(openPicture(drivers, options.b), options.b, "compared");
    if (!b) {
        return b.failure();
    }
    const std::string names = printable(options.a) + " and " + printable(options.b);
    if (a->sizeText() != b->sizeText()) {
        warn(formatted("{} differ: {} and {}{}", names, a->sizeText(), b->sizeText(),
                       picture ? "; " + printable(options.diff) + " is not written" : ""));
        return ExitCode::Failed;
    }
    const auto compared = compareAndClose(*a, *b, picture);
    if (!compared) {
        return compared.failure();
    }
    return compared->differences.count() > 0 ? reportDifferent(names, *a, *compared)
                                             : reportEqual(names, *a, *b);
}

/// A failure is not a difference and has a separate exit status.
ExitCode run(const DriverOptions& driverOptions, const CompareOptions& options) {
    DriverSet drivers(driverOptions);
    const auto compared = compare(drivers, options);
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
    auto options = std::make_shared<CompareOptions>();
    arguments.value("a", "A", options->a, "One picture").require();
    arguments.value("b", "B", options->b, "The other picture").require();
    const Argument diff =
        arguments.value("--diff", "OUT", options->diff,
                        "Picture of the differences to write; the largest becomes white");
    arguments.flag("--force", options->force, "Replace an existing file OUT").need(diff);
    arguments.run([&command, options] { command.exit = run(command.drivers, *options); });
}
