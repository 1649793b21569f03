// SPDX-License-Identifier: MIT
#include "viewPicture.h"

#include "output/console.h"
#include "output/formatted.h"
#include "pictures/metadata.h"
#include "pictures/pictureFile.h"
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

tdr::Result<tdr::Picture> readReduced(tdr::PictureSource& source, AlphaChange alpha,
                                      PixelSize reduced) {
    auto block = tdr::SharedBlock::create(tdr::lineBytes(source.width()));
    if (!block) {
        return block.failure();
    }
    LineReducer reducer({source.width(), source.height()}, reduced);
    for (std::int32_t line = source.height(); line-- > 0;) {
        if (const auto read = source.readLine(*block, line); !read) {
            return read.failure();
        }
        changeAlpha(alpha, block->bytes());
        reducer.add(block->bytes());
    }
    return asPicture(reducer.finish());
}

tdr::Result<tdr::Picture> read(tdr::PictureSource& source, AlphaChange alpha, double ratio,
                               PixelSize room) {
    const PixelSize size{source.width(), source.height()};
    const std::size_t bytes = tdr::pictureBytes(size.width, size.height);
    auto block = bytes <= kLarge ? tdr::SharedBlock::create(bytes)
                                 : tdr::Failure{tdr::FailureKind::NoMemory};
    auto picture = block ? readWhole(source, alpha, *block)
                         : readReduced(source, alpha, windowSize(size, ratio, room));
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
    auto picture = read(opened->source, alpha, metadata->ratio, room);
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
