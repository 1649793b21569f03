// SPDX-License-Identifier: MIT
#include "differencePicture.h"

#include "base/hostPixel.h"
#include "pixelDifferences.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace {

void drawLine(PixelLine a, PixelLine b, int largest, std::span<std::uint8_t> drawn) {
    for (std::size_t at = 0; at < a.size(); at += base::kHostPixelBytes) {
        const int ofAlpha = std::abs(a[at] - b[at]);
        drawn[at] = base::kOpaque;
        for (std::size_t i = at + 1; i < at + base::kHostPixelBytes; ++i) {
            const int apart = std::max(std::abs(a[i] - b[i]), ofAlpha);
            drawn[i] = static_cast<std::uint8_t>(apart * base::kOpaque / std::max(largest, 1));
        }
    }
}

} // namespace

Outcome<DifferencePicture> DifferencePicture::begin(DriverSet& drivers, const std::string& target,
                                                    Existing existing) {
    if (existing == Existing::Kept) { // before any driver starts
        if (const auto isNew = checkIsNew(target); !isNew) {
            return isNew.failure();
        }
    }
    auto chosen = writerFor(drivers, target);
    if (chosen && !*chosen) {
        chosen = drivers.byKind(target); // which says what endings there are
    }
    if (!chosen) {
        return chosen.failure();
    }
    auto file = ReplacedFile::begin(target, drivers.extension(**chosen), existing);
    if (!file) {
        return file.failure();
    }
    auto writer = drivers.take(**chosen);
    if (!writer) {
        return problemWith(target, writer.failure());
    }
    (*writer)->names.add(file->names());
    return DifferencePicture(std::move(*file), std::move(*writer));
}

Outcome<void> DifferencePicture::draw(PictureLines& a, PictureLines& b, std::int32_t matte,
                                      int largest) {
    const tdr::PictureShape& shape = a.shape();
    auto target = tdr::PictureTarget::open(writer_->session, file_.path().native(), shape.width,
                                           shape.height);
    auto block = target ? tdr::SharedBlock::create(tdr::lineBytes(shape.width)) : target.failure();
    if (!block) {
        return problem(block.failure());
    }
    for (std::int32_t line = shape.height; line-- > 0;) {
        const auto one = a.read(line, matte);
        if (!one) {
            return one.failure();
        }
        const auto other = b.read(line, matte);
        if (!other) {
            return other.failure();
        }
        drawLine(*one, *other, largest, block->bytes());
        if (const auto written = target->writeLine(*block, line); !written) {
            return problem(written.failure());
        }
    }
    if (const auto closed = target->close(); !closed) {
        return problem(closed.failure());
    }
    writer_->passOnLines();
    return {};
}

Problem DifferencePicture::problem(const tdr::Failure& failure) {
    writer_->passOnLines(failure.lastLine);
    return writer_->problem(file_.target(), failure);
}
