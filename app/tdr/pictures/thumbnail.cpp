// SPDX-License-Identifier: MIT
#include "thumbnail.h"

#include "files/replacedFile.h"
#include "metadata.h"
#include "pictureFile.h"
#include "pixelRatio.h"
#include "reducedPicture.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace {

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

} // namespace

Outcome<Thumbnail> readThumbnail(DriverSet& drivers, const std::string& input, std::int32_t most) {
    auto picture = openPicture(drivers, input);
    if (!picture) {
        return picture.failure();
    }
    const auto metadata = readMetadata(tdr::pathOfDescriptor(picture->file.get()));
    if (!metadata) {
        return problemWith(input, metadata.failure());
    }
    RunningDriver& reader = *picture->running;
    const PixelSize size = sizeOfThumbnail(picture->source.shape(), metadata->ratio, most);
    auto reduced = readReduced(reader.session, picture->source, AlphaChange::None, size);
    if (const auto closed = picture->source.close(); reduced && !closed) {
        reduced = closed.failure();
    }
    if (!reduced) {
        reader.passOnLines(reduced.failure().lastLine);
        return reader.problem(input, reduced.failure());
    }
    reader.passOnLines();
    return Thumbnail{std::move(*reduced), reader.session.damage().empty()};
}

Outcome<void> writeThumbnail(DriverSet& drivers, const std::string& output,
                             const Thumbnail& thumbnail, Existing existing) {
    const auto png = writerFor(drivers, output, "png");
    if (!png) {
        return png.failure();
    }
    auto file = ReplacedFile::begin(output, drivers.extension(**png), existing);
    if (!file) {
        return file.failure();
    }
    auto writer = drivers.take(**png);
    if (!writer) {
        return problemWith(output, writer.failure());
    }
    (*writer)->names.add(file->names());
    const auto written =
        tdr::writePicture((*writer)->session, file->path().native(), asPicture(thumbnail.pixels));
    if (!written) {
        (*writer)->passOnLines(written.failure().lastLine);
        return (*writer)->problem(output, written.failure());
    }
    (*writer)->passOnLines();
    return file->commit();
}
