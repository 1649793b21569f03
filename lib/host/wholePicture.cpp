// SPDX-License-Identifier: MIT
// Whole pictures: in a few requests if the driver supports it, otherwise line by line.
#include "tdr/picture.h"

#include "base/checkedMath.h"
#include "base/hugePages.h"
#include "noThrow.h"
#include "pictureJob.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <utility>

namespace tdr {

namespace {

Failure badArgument(const char* what) {
    return {FailureKind::BadArgument, what};
}

/// The alpha values of pixels.
class Alpha {
  public:
    explicit Alpha(std::span<std::uint8_t> pixels) : pixels_(pixels) {}

    [[nodiscard]] bool isAll(std::uint8_t value) const {
        for (std::size_t at = 0; at < pixels_.size(); at += kPixelBytes) {
            if (pixels_[at] != value) {
                return false;
            }
        }
        return true;
    }

    /// True when all are zero. Checks those of `row` first, which decides most pictures. Checking
    /// the rest as well saves a second connection and its decoding.
    [[nodiscard]] bool isMissing(const Alpha& row) const {
        if (!row.isAll(0)) {
            return false;
        }
        base::populate(pixels_.data(), pixels_.size());
        return isAll(0);
    }

    void setAll(std::uint8_t value) const {
        for (std::size_t at = 0; at < pixels_.size(); at += kPixelBytes) {
            pixels_[at] = value;
        }
    }

  private:
    std::span<std::uint8_t> pixels_;
};

std::span<std::uint8_t> rowOf(const SharedBlock& block, std::int32_t width, std::int32_t line) {
    return block.bytes().subspan(pictureBytes(width, line), lineBytes(width));
}

/// True if all pixels have the bytes of the first one, and these are `pixel`.
bool isAll(std::span<const std::uint8_t> pixels, std::span<const std::uint8_t> pixel) {
    return std::ranges::equal(pixels.first(kPixelBytes), pixel) &&
           std::memcmp(pixels.data(), pixels.data() + kPixelBytes, pixels.size() - kPixelBytes) ==
               0;
}

/// A driver may refuse whole pictures although it may transfer them, as the session knows.
bool isRefused(const Status& done) {
    return !done && done.failure().kind == FailureKind::Refused;
}

} // namespace

// --- Reading -------------------------------------------------------------------------------------

Status PictureSource::readAll(SharedBlock& block, BlockState state) {
    return withoutThrowing([&]() -> Status {
        if (block.bytes().size() < pictureBytes(shape_.width, shape_.height)) {
            return badArgument("read picture: the block is too small");
        }
        const bool byLines = shape_.matte || state_ != State::Fresh;
        const auto caches = byLines ? Result<bool>(false) : driver_->transfersCaches(Access::Read);
        if (!caches) {
            return caches.failure();
        }
        return *caches ? readCache(block, state) : readLines(block);
    });
}

/// By the protocol a driver reads the picture from the top and then returns to the first scanline
/// for the bottom row, which therefore repeats the top one. Reading that row over a fresh
/// connection repairs it. If the two rows differ, there is nothing to repair.
///
/// A driver does not change the bytes of channels that are missing from the file. In a blank block
/// only a missing alpha is then wrong, and a single non-zero alpha value shows that the file has
/// alpha.
///
/// A driver that refuses, or that may have done nothing although it answered OK, is asked for the
/// lines.
Status PictureSource::readCache(SharedBlock& block, BlockState state) {
    const auto pixels = block.bytes().first(pictureBytes(shape_.width, shape_.height));
    if (state == BlockState::Used) {
        base::populate(pixels.data(), pixels.size());
        fillOpaqueBlack(pixels);
    }
    const std::array<std::uint8_t, kPixelBytes> before = {pixels[0], pixels[1], pixels[2],
                                                          pixels[3]};
    state_ = State::Cache;
    Status done = driver_->getCache(block, cell_);
    if (isRefused(done) || (done && isAll(pixels, before))) {
        return readLines(block);
    }
    if (!done) {
        return done;
    }
    const auto bottom = rowOf(block, shape_.width, 0);
    const auto top = rowOf(block, shape_.width, shape_.height - 1);
    const bool alphaMayBeMissing =
        state == BlockState::Blank && Alpha(pixels).isMissing(Alpha(top));
    if (alphaMayBeMissing || (shape_.height > 1 && std::ranges::equal(bottom, top))) {
        done = readLine(block, 0);
    }
    return done && alphaMayBeMissing ? fillMissingAlpha(block) : done;
}

/// Makes a picture opaque if its file has no alpha. Called when alpha is zero in all rows except
/// the bottom one, which was read separately: without alpha in the file the driver does not change
/// that row's alpha.
Status PictureSource::fillMissingAlpha(SharedBlock& block) {
    const Alpha bottom(rowOf(block, shape_.width, 0));
    if (!bottom.isAll(255)) {
        return {};
    }
    bottom.setAll(0);
    Status done = driver_->getLine(block, 0, cell_);
    if (done && bottom.isAll(0)) {
        Alpha(block.bytes().first(pictureBytes(shape_.width, shape_.height))).setAll(255);
    }
    return done;
}

Status PictureSource::readLines(SharedBlock& block) {
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

Result<Picture> PictureSource::readAndClose(std::size_t maxBytes) {
    return withoutThrowing([&]() -> Result<Picture> {
        const std::size_t bytes = pictureBytes(shape_.width, shape_.height);
        if (bytes > maxBytes) {
            return Failure{FailureKind::NoMemory, "read picture: " + std::to_string(bytes) +
                                                      " bytes of pixels, more than the " +
                                                      std::to_string(maxBytes) + " allowed"};
        }
        auto block = SharedBlock::create(bytes);
        if (!block) {
            return block.failure();
        }
        Status done = readAll(*block, BlockState::Blank);
        if (done) {
            done = close();
        }
        if (!done) {
            return done.failure();
        }
        const auto pixels = block->bytes();
        base::populate(pixels.data(), pixels.size());
        return Picture{shape_.width, shape_.height, {pixels.begin(), pixels.end()}};
    });
}

Result<Picture> readPicture(Session& driver, std::string_view path, std::size_t maxBytes) {
    auto picture = withoutThrowing([&]() -> Result<Picture> {
        auto reader = PictureSource::open(driver, path);
        return reader ? reader->readAndClose(maxBytes) : reader.failure();
    });
    if (!picture) {
        letGo(driver);
    }
    return picture;
}

// --- Writing -------------------------------------------------------------------------------------

Status PictureTarget::writeAll(const SharedBlock& block) {
    return withoutThrowing([&]() -> Status {
        if (block.bytes().size() < pictureBytes(width_, height_)) {
            return badArgument("write picture: the block is too small");
        }
        const bool fresh = std::ranges::find(written_, true) == written_.end();
        const auto caches = fresh ? driver_->transfersCaches(Access::Write) : Result<bool>(false);
        if (!caches) {
            return caches.failure();
        }
        return *caches ? writeCache(block) : writeLines(block);
    });
}

/// After a refusal the lines go to a new file: nobody knows what the driver has stored.
Status PictureTarget::writeCache(const SharedBlock& block) {
    Status done = driver_->putCache(block, cell_);
    if (isRefused(done)) {
        letGo(*driver_);
        done = connect();
        return done ? writeLines(block) : done;
    }
    written_.assign(written_.size(), true);
    missing_ = done ? 0 : missing_;
    return done;
}

Status PictureTarget::writeLines(const SharedBlock& block) {
    auto one = SharedBlock::create(lineBytes(width_));
    if (!one) {
        return one.failure();
    }
    bool any = false;
    for (std::int32_t line = height_; line-- > 0;) {
        if (written_[static_cast<std::size_t>(line)]) {
            continue;
        }
        any = true;
        std::ranges::copy(rowOf(block, width_, line), one->bytes().begin());
        Status written = writeLine(*one, line);
        if (!written) {
            return written;
        }
    }
    return any ? Status() : Status(badArgument("write picture: all lines were written already"));
}

Status writePicture(Session& driver, std::string_view path, const Picture& picture) {
    Status written = withoutThrowing([&]() -> Status {
        const auto all = base::checkedProduct(picture.width, picture.height, kPixelBytes);
        if (!all || *all == 0 || picture.pixels.size() != *all) {
            return badArgument("write picture: size and pixels differ");
        }
        auto block = SharedBlock::create(*all);
        if (!block) {
            return block.failure();
        }
        std::ranges::copy(picture.pixels, block->bytes().begin());
        auto writer = PictureTarget::open(driver, path, picture.width, picture.height);
        if (!writer) {
            return writer.failure();
        }
        const Status sent = writer->writeAll(*block);
        return sent ? writer->close() : sent;
    });
    if (!written) {
        letGo(driver);
    }
    return written;
}

} // namespace tdr
