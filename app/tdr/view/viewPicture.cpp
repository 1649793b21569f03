// SPDX-License-Identifier: MIT
#include "viewPicture.h"

#include "output/console.h"
#include "output/formatted.h"
#include "pictures/metadata.h"
#include "pictures/pictureFile.h"
#include "pictures/reducedPicture.h"
#include "viewPort.h"

#include <algorithm>
#include <utility>

namespace {

/// Size of pixels above which a picture is reduced while it is read.
constexpr std::size_t kLarge = std::size_t{512} << 20;

tdr::Result<tdr::Picture> readWhole(tdr::PictureSource& source, AlphaChange alpha,
                                    tdr::SharedBlock& block) {
    if (const auto read = source.readAll(block, tdr::BlockState::Blank); !read) {
        return read.failure();
    }
    changeAlpha(alpha, block.bytes());
    return tdr::Picture{
        source.width(), source.height(), {block.bytes().begin(), block.bytes().end()}};
}

tdr::Result<tdr::Picture> readLarge(const tdr::Session& driver, tdr::PictureSource& source,
                                    AlphaChange alpha, PixelSize size) {
    const auto reduced = readReduced(driver, source, alpha, size);
    return reduced ? tdr::Result<tdr::Picture>(asPicture(*reduced)) : reduced.failure();
}

tdr::Result<tdr::Picture> read(const tdr::Session& driver, tdr::PictureSource& source,
                               AlphaChange alpha, double ratio, PixelSize room) {
    const PixelSize size{source.width(), source.height()};
    const std::size_t bytes = tdr::pictureBytes(size.width, size.height);
    auto block = bytes <= kLarge ? tdr::SharedBlock::create(bytes)
                                 : tdr::Failure{tdr::FailureKind::NoMemory};
    auto picture = block ? readWhole(source, alpha, *block)
                         : readLarge(driver, source, alpha, windowSize(size, ratio, room));
    if (const auto closed = source.close(); picture && !closed) {
        return closed.failure();
    }
    return picture;
}

} // namespace

Outcome<ViewPicture> readForView(const DriverOptions& options, const std::string& file,
                                 AlphaChange alpha, PixelSize room, int matte) {
    DriverSet drivers(options);
    auto opened = openPicture(drivers, file);
    if (!opened) {
        return opened.failure();
    }
    RunningDriver& driver = *opened->running;
    const auto format = driver.session.formatName();
    if (!format) {
        return problemWith(file, format.failure());
    }
    const auto metadata = readMetadata(tdr::pathOfDescriptor(opened->file.get()));
    if (!metadata) {
        return problemWith(file, metadata.failure());
    }
    const PixelSize size{opened->source.width(), opened->source.height()};
    const tdr::PictureShape& shape = opened->source.shape();
    const int mattes = shape.matte ? shape.channels : 0;
    const int shown = matte < mattes ? matte : 0;
    opened->source.selectMatte(shown);
    auto picture = read(driver.session, opened->source, alpha, metadata->ratio, room);
    if (!picture) {
        driver.passOnLines(picture.failure().lastLine);
        return driver.problem(file, picture.failure());
    }
    const std::string name = std::filesystem::path(file).filename().string();
    ViewPicture view{formatted("{} - {} x {} - {}", printable(name), size.width, size.height,
                               printable(*format)),
                     size,
                     metadata->ratio,
                     std::move(*picture),
                     mattes,
                     shown,
                     !driver.session.damage().empty(),
                     {}};
    for (const std::string& line : *driver.lines) {
        view.lines.push_back(driver.names.in(line));
    }
    return view;
}
