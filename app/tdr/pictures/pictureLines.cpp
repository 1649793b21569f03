// SPDX-License-Identifier: MIT
#include "pictureLines.h"

#include "output/formatted.h"

#include <utility>

Outcome<PictureLines> PictureLines::of(Outcome<PictureFile> picture, std::string path,
                                       const char* use) {
    if (!picture) {
        return picture.failure();
    }
    auto block = tdr::SharedBlock::create(tdr::lineBytes(picture->source.width()));
    if (!block) {
        return problemWith(path, block.failure());
    }
    return PictureLines(std::move(*picture), std::move(*block), std::move(path), use);
}

std::string PictureLines::sizeText() const {
    return formatted("{} x {}", shape().width, shape().height) +
           (mattes() > 1 ? formatted(" with {} mattes", mattes()) : "");
}

Outcome<std::span<const std::uint8_t>> PictureLines::read(std::int32_t line, std::int32_t matte) {
    picture_.source.selectMatte(matte);
    if (const auto done = picture_.source.readLine(block_, line); !done) {
        picture_.running->passOnLines(done.failure().lastLine);
        return picture_.running->problem(path_, done.failure());
    }
    if (const auto whole = checkDamage(); !whole) {
        return whole.failure();
    }
    return std::span<const std::uint8_t>(block_.bytes());
}

Outcome<void> PictureLines::close() {
    const auto closed = picture_.source.close();
    auto done = closed ? checkDamage() : picture_.running->problem(path_, closed.failure());
    picture_.running->passOnLines();
    return done;
}

Outcome<void> PictureLines::checkDamage() const {
    if (picture_.running->session.damage().empty()) {
        return {};
    }
    picture_.running->passOnLines();
    return Problem{ExitCode::Failed, path_ + ": damaged, and so cannot be " + use_, Cause::Damaged};
}
