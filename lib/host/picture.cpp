// SPDX-License-Identifier: MIT
#include "tdr/picture.h"

#include "base/limits.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <utility>

namespace tdr {

namespace {

/// alpha, blue, green, red
constexpr std::array<std::uint8_t, kPixelBytes> kOpaqueBlack = {255, 0, 0, 0};
constexpr std::array<std::uint8_t, kPixelBytes> kOpaqueWhite = {255, 255, 255, 255};

std::string sizeText(std::int32_t width, std::int32_t height) {
    return std::to_string(width) + " x " + std::to_string(height);
}

Failure refusedBy(const Driver& driver, const std::string& why) {
    return {FailureKind::Refused, driver.program().filename().string() + ": " + why, {}, {}};
}

std::size_t matteBytes(const PictureShape& shape) {
    return (static_cast<std::size_t>(shape.width) * static_cast<std::size_t>(shape.channels) + 7) /
           8;
}

/// Makes a shape of what a driver reports, or says why it cannot be read.
Result<PictureShape> shapeOf(const Driver& driver, const Bounds& bounds,
                             const std::optional<PixelFormat>& format) {
    if (!base::isPictureSide(bounds.width) || !base::isPictureSide(bounds.height)) {
        return refusedBy(driver, "a picture of " + sizeText(bounds.width, bounds.height) +
                                     " pixels; sides are 1 to 32767");
    }
    PictureShape shape{bounds.width, bounds.height, false, 0};
    if (format) {
        shape.channels = static_cast<std::int32_t>(format->channels.size());
        shape.matte = format->depth1 == 1 && shape.channels >= 1;
    }
    const bool colours = format && format->depth1 == 8 && shape.channels == kPixelBytes;
    if (!shape.matte && !colours) {
        return refusedBy(driver, "a pixel format other than four channels of 8 bits or mattes");
    }
    return shape;
}

} // namespace

std::size_t lineBytes(std::int32_t width) {
    return static_cast<std::size_t>(width) * kPixelBytes;
}

std::size_t pictureBytes(std::int32_t width, std::int32_t height) {
    return lineBytes(width) * static_cast<std::size_t>(height);
}

void fillOpaqueBlack(std::span<std::uint8_t> line) {
    for (std::size_t at = 0; at + kPixelBytes <= line.size(); at += kPixelBytes) {
        std::memcpy(&line[at], kOpaqueBlack.data(), kPixelBytes);
    }
}

void expandMatte(std::span<const std::uint8_t> bits, std::int32_t channels,
                 std::span<std::uint8_t> line) {
    const auto step = static_cast<std::size_t>(channels);
    const std::size_t pixels = std::min(line.size() / kPixelBytes, bits.size() * 8 / step);
    for (std::size_t x = 0; x < pixels; ++x) {
        const std::size_t bit = x * step;
        const bool set = ((bits[bit / 8] >> (bit % 8)) & 1) != 0;
        std::memcpy(&line[x * kPixelBytes], (set ? kOpaqueWhite : kOpaqueBlack).data(),
                    kPixelBytes);
    }
}

// --- Reading -------------------------------------------------------------------------------------

Result<PictureReader> PictureReader::open(Driver& driver, std::string_view path,
                                          std::int32_t cell) {
    Status connected = driver.connectToFile(path, Access::Read, cell);
    if (!connected) {
        return connected.failure();
    }
    PictureReader reader(driver, path, cell);
    Status asked = reader.askShape();
    if (!asked) {
        if (driver.alive()) {
            [[maybe_unused]] const Status closed = reader.close();
        }
        return asked.failure();
    }
    return reader;
}

Status PictureReader::askShape() {
    const auto bounds = driver_->bounds();
    if (!bounds) {
        return bounds.failure();
    }
    const auto current = driver_->currentFormat();
    if (!current) {
        return current.failure();
    }
    const auto format = driver_->format(std::max(*current, 0)); // none set: the first one
    if (!format) {
        return format.failure();
    }
    auto shape = shapeOf(*driver_, *bounds, *format);
    if (!shape) {
        return shape.failure();
    }
    shape_ = *shape;
    if (shape_.matte) {
        auto bits = SharedBlock::create(matteBytes(shape_));
        if (!bits) {
            return bits.failure();
        }
        bits_.emplace(std::move(*bits));
    }
    return {};
}

Status PictureReader::readLine(SharedBlock& block, std::int32_t line) {
    if (block.bytes().size() < lineBytes(shape_.width)) {
        return Failure{FailureKind::BadArgument, "read line: the block is too small", {}, {}};
    }
    if (shape_.matte) {
        return readMatteLine(block, line);
    }
    fillOpaqueBlack(block.bytes().first(lineBytes(shape_.width)));
    return driver_->getLine(block, line, cell_);
}

Status PictureReader::readMatteLine(SharedBlock& block, std::int32_t line) {
    std::ranges::fill(bits_->bytes(), std::uint8_t{0}); // drivers OR the bits in
    Status got = driver_->getLine(*bits_, line, cell_);
    if (got) {
        expandMatte(bits_->bytes(), shape_.channels, block.bytes().first(lineBytes(shape_.width)));
    }
    return got;
}

Status PictureReader::close() {
    return driver_->disconnectFromFile();
}

// --- Writing -------------------------------------------------------------------------------------

Result<PictureWriter> PictureWriter::open(Driver& driver, std::string_view path, std::int32_t width,
                                          std::int32_t height, std::int32_t cell) {
    if (!base::isPictureSide(width) || !base::isPictureSide(height)) {
        return Failure{FailureKind::BadArgument,
                       "a picture of " + sizeText(width, height) +
                           " pixels cannot be written; sides are 1 to 32767",
                       {},
                       {}};
    }
    Status done = driver.setPixelFormat(0);
    if (done) {
        done = driver.setBounds({0, 0, width, height});
    }
    if (done) {
        done = driver.connectToFile(path, Access::Write, cell);
    }
    if (!done) {
        return done.failure();
    }
    return PictureWriter(driver, width, height, cell);
}

Status PictureWriter::writeLine(const SharedBlock& block, std::int32_t line) {
    return driver_->putLine(block, line, cell_);
}

Status PictureWriter::close() {
    return driver_->disconnectFromFile();
}

} // namespace tdr
