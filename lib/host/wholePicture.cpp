// SPDX-License-Identifier: MIT
// Whole pictures: in a few requests where the driver can, line by line otherwise.
#include "tdr/picture.h"

#include "base/checkedMath.h"
#include "base/hugePages.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

namespace tdr {

namespace {

Failure badArgument(const char* what) {
    return {FailureKind::BadArgument, what, {}, {}};
}

/// True when all pixels have the alpha value `alpha`.
bool allAlpha(std::span<const std::uint8_t> pixels, std::uint8_t alpha) {
    for (std::size_t at = 0; at < pixels.size(); at += kPixelBytes) {
        if (pixels[at] != alpha) {
            return false;
        }
    }
    return true;
}

/// True when alpha is zero throughout; `row` of them is asked first, which settles it for most.
/// (One row would do to suspect it. Being sure saves a second connection and its decoding.)
bool noAlpha(std::span<std::uint8_t> pixels, std::span<const std::uint8_t> row) {
    if (!allAlpha(row, 0)) {
        return false;
    }
    base::populate(pixels.data(), pixels.size());
    return allAlpha(pixels, 0);
}

void setAlpha(std::span<std::uint8_t> pixels, std::uint8_t alpha) {
    for (std::size_t at = 0; at < pixels.size(); at += kPixelBytes) {
        pixels[at] = alpha;
    }
}

std::span<std::uint8_t> rowOf(const SharedBlock& block, std::int32_t width, std::int32_t line) {
    return block.bytes().subspan(pictureBytes(width, line), lineBytes(width));
}

/// Whether `driver` may be sent whole pictures. A second connection, which reading may need, would
/// run outside commands a second time.
Result<bool> mayUseCaches(Driver& driver) {
    return driver.hasOutsideCommands() ? Result<bool>(false) : driver.transfersCaches();
}

} // namespace

// --- Reading -------------------------------------------------------------------------------------

Status PictureReader::readAll(SharedBlock& block, BlockState state) {
    if (block.bytes().size() < pictureBytes(shape_.width, shape_.height)) {
        return badArgument("read picture: the block is too small");
    }
    const auto caches = shape_.matte ? Result<bool>(false) : mayUseCaches(*driver_);
    if (!caches) {
        return caches.failure();
    }
    return *caches ? readCache(block, state) : readLines(block);
}

/// The protocol has a driver go through the picture from the top and, in the end, back to the first
/// scanline for the bottom row: that row then repeats the top one. A fresh connection mends it.
/// Where the two rows differ, the driver does better and nothing is to be mended.
///
/// A driver leaves the bytes of channels alone that the file lacks. In a blank block only alpha is
/// then not as it should be, and one alpha value other than zero tells that the file has them.
Status PictureReader::readCache(SharedBlock& block, BlockState state) {
    const auto pixels = block.bytes().first(pictureBytes(shape_.width, shape_.height));
    if (state == BlockState::Used) {
        base::populate(pixels.data(), pixels.size());
        fillOpaqueBlack(pixels);
    }
    Status done = driver_->getCache(block, cell_);
    if (!done) {
        return done;
    }
    const auto bottom = rowOf(block, shape_.width, 0);
    const auto top = rowOf(block, shape_.width, shape_.height - 1);
    const bool alphaMayBeMissing = state == BlockState::Blank && noAlpha(pixels, top);
    if (alphaMayBeMissing || (shape_.height > 1 && std::ranges::equal(bottom, top))) {
        done = driver_->connectToFile(path_, Access::Read, cell_);
        if (done) {
            done = readLine(block, 0);
        }
    }
    return done && alphaMayBeMissing ? fillMissingAlpha(block) : done;
}

/// Makes a picture opaque whose alpha is zero in all rows but the bottom one, which was read by
/// itself, if its file has no alpha: then the driver leaves that row's alpha as it finds it.
Status PictureReader::fillMissingAlpha(SharedBlock& block) {
    const auto bottom = rowOf(block, shape_.width, 0);
    if (!allAlpha(bottom, 255)) {
        return {};
    }
    setAlpha(bottom, 0);
    Status done = driver_->getLine(block, 0, cell_);
    if (done && allAlpha(bottom, 0)) {
        setAlpha(block.bytes().first(pictureBytes(shape_.width, shape_.height)), 255);
    }
    return done;
}

Status PictureReader::readLines(SharedBlock& block) {
    auto one = SharedBlock::create(lineBytes(shape_.width));
    if (!one) {
        return one.failure();
    }
    for (std::int32_t line = shape_.height; line-- > 0;) {
        Status read = readLine(*one, line);
        if (!read) {
            return read;
        }
        std::ranges::copy(one->bytes(), rowOf(block, shape_.width, line).begin());
    }
    return {};
}

Result<Picture> readPicture(Driver& driver, std::string_view path, std::size_t maxBytes) {
    if (const auto asked = driver.transfersCaches(); !asked) {
        return asked.failure();
    }
    auto reader = PictureReader::open(driver, path);
    if (!reader) {
        return reader.failure();
    }
    const std::size_t bytes = pictureBytes(reader->width(), reader->height());
    if (bytes > maxBytes) {
        return Failure{FailureKind::NoMemory,
                       "read picture: " + std::to_string(bytes) +
                           " bytes of pixels, more than the " + std::to_string(maxBytes) +
                           " allowed",
                       {},
                       {}};
    }
    auto block = SharedBlock::create(bytes);
    if (!block) {
        return block.failure();
    }
    Status done = reader->readAll(*block, BlockState::Blank);
    if (done) {
        done = reader->close();
    }
    if (!done) {
        return done.failure();
    }
    try {
        const auto pixels = block->bytes();
        base::populate(pixels.data(), pixels.size());
        return Picture{reader->width(), reader->height(), {pixels.begin(), pixels.end()}};
    } catch (const std::bad_alloc&) {
        return Failure{FailureKind::NoMemory, "read picture: no memory for its pixels", {}, {}};
    }
}

// --- Writing -------------------------------------------------------------------------------------

Status PictureWriter::writeAll(const SharedBlock& block) {
    if (block.bytes().size() < pictureBytes(width_, height_)) {
        return badArgument("write picture: the block is too small");
    }
    const auto caches = mayUseCaches(*driver_);
    if (!caches) {
        return caches.failure();
    }
    if (*caches) {
        return driver_->putCache(block, cell_);
    }
    auto one = SharedBlock::create(lineBytes(width_));
    if (!one) {
        return one.failure();
    }
    for (std::int32_t line = height_; line-- > 0;) {
        std::ranges::copy(rowOf(block, width_, line), one->bytes().begin());
        Status written = writeLine(*one, line);
        if (!written) {
            return written;
        }
    }
    return {};
}

Status writePicture(Driver& driver, std::string_view path, const Picture& picture) {
    const auto all = base::checkedProduct(picture.width, picture.height, kPixelBytes);
    if (!all || *all == 0 || picture.pixels.size() != *all) {
        return badArgument("write picture: size and pixels differ");
    }
    if (const auto asked = driver.transfersCaches(); !asked) {
        return asked.failure();
    }
    auto block = SharedBlock::create(*all);
    if (!block) {
        return block.failure();
    }
    std::ranges::copy(picture.pixels, block->bytes().begin());
    auto writer = PictureWriter::open(driver, path, picture.width, picture.height);
    if (!writer) {
        return writer.failure();
    }
    const Status written = writer->writeAll(*block);
    return written ? writer->close() : written;
}

} // namespace tdr
