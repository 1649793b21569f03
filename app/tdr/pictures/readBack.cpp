// SPDX-License-Identifier: MIT
#include "readBack.h"

#include "files/readableFile.h"
#include "output/formatted.h"
#include "pictureLines.h"

#include <utility>

namespace {

Problem notWritten(const PictureLines& back, const std::string& why) {
    return {ExitCode::Failed, back.path() + ": not written, because " + why};
}

/// A problem with the new file, which has the name of the old one.
Problem whenReadBack(const Problem& problem) {
    return {problem.code, problem.text + " (the new file, when read back)"};
}

Outcome<PictureFile> openNew(DriverSet& drivers, std::size_t driver, const ReplacedFile& file) {
    auto opened = openReadable(file.path());
    if (!opened) {
        return Problem{opened.failure().code, file.names().in(opened.failure().text)};
    }
    return openPicture(drivers, file.target(), std::move(*opened), driver);
}

Outcome<void> compareLines(const OriginalPicture& original, PictureLines& back) {
    PixelDifferences differences;
    for (std::int32_t line = original.height; line-- > 0;) {
        const auto before = original.line(line);
        if (!before) {
            return before.failure();
        }
        const auto after = back.read(line);
        if (!after) {
            return whenReadBack(after.failure());
        }
        differences.add(*after, *before, original.height - 1 - line);
        if (differences.count() > 0) {
            return notWritten(back, formatted("its pixels would differ from those of {}: {}",
                                              original.name, differences.first()));
        }
    }
    const auto closed = back.close();
    return closed ? closed : whenReadBack(closed.failure());
}

} // namespace

Outcome<void> readBack(const OriginalPicture& original, DriverSet& drivers, std::size_t driver,
                       const ReplacedFile& file) {
    auto back = PictureLines::of(openNew(drivers, driver, file), file.target(), "verified");
    if (!back) {
        return whenReadBack(back.failure());
    }
    const tdr::PictureShape& shape = back->shape();
    if (shape.width != original.width || shape.height != original.height) {
        return notWritten(*back, formatted("it would have {} pixels instead of {} x {}",
                                           back->sizeText(), original.width, original.height));
    }
    return compareLines(original, *back);
}
