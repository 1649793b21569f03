// SPDX-License-Identifier: MIT
// Whole pictures: in a few requests where the driver can, line by line otherwise.
#include "tdr/picture.h"

#include "base/checkedMath.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <sys/mman.h>

namespace tdr {

namespace {

Failure badArgument(const char* what) {
    return {FailureKind::BadArgument, what, {}, {}};
}

/// Has the system map a picture's memory in one call before it is filled, instead of by a page
/// fault for every page. Only a hint: an older system ignores it.
void populate(std::span<std::uint8_t> bytes) {
#ifdef MADV_POPULATE_WRITE // since Linux 5.14
    static_cast<void>(::madvise(bytes.data(), bytes.size(), MADV_POPULATE_WRITE));
#endif
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

Status PictureReader::readAll(SharedBlock& block) {
    if (block.bytes().size() < pictureBytes(shape_.width, shape_.height)) {
        return badArgument("read picture: the block is too small");
    }
    const auto caches = shape_.matte ? Result<bool>(false) : mayUseCaches(*driver_);
    if (!caches) {
        return caches.failure();
    }
    return *caches ? readCache(block) : readLines(block);
}

/// The protocol has a driver go through the picture from the top and, in the end, back to the first
/// scanline for the bottom row: that row then repeats the top one. A fresh connection mends it.
/// Where the two rows differ, the driver does better and nothing is to be mended.
Status PictureReader::readCache(SharedBlock& block) {
    const auto pixels = block.bytes().first(pictureBytes(shape_.width, shape_.height));
    populate(pixels);
    fillOpaqueBlack(pixels);
    Status done = driver_->getCache(block, cell_);
    const auto bottom = rowOf(block, shape_.width, 0);
    const auto top = rowOf(block, shape_.width, shape_.height - 1);
    if (!done || shape_.height == 1 || !std::ranges::equal(bottom, top)) {
        return done;
    }
    done = driver_->connectToFile(path_, Access::Read, cell_);
    return done ? readLine(block, 0) : done;
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
    Status done = reader->readAll(*block);
    if (done) {
        done = reader->close();
    }
    if (!done) {
        return done.failure();
    }
    try {
        const auto pixels = block->bytes();
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
