// SPDX-License-Identifier: MIT
#include "tdr/picture.h"

#include "IPC_Codes.h"
#include "base/limits.h"
#include "noThrow.h"
#include "pictureJob.h"

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

Failure refusedBy(const Session& driver, const std::string& why) {
    return {FailureKind::Refused, driver.program().filename().string() + ": " + why};
}

std::size_t matteBytes(const PictureShape& shape) {
    return (static_cast<std::size_t>(shape.width) * static_cast<std::size_t>(shape.channels) + 7) /
           8;
}

/// Converts a driver's report to a shape, or returns why the picture cannot be read.
Result<PictureShape> shapeOf(const Session& driver, const Bounds& bounds,
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
                 std::span<std::uint8_t> line, std::int32_t channel) {
    const auto step = static_cast<std::size_t>(channels);
    const std::size_t pixels = std::min(line.size() / kPixelBytes, bits.size() * 8 / step);
    for (std::size_t x = 0; x < pixels; ++x) {
        const std::size_t bit = x * step + static_cast<std::size_t>(channel);
        const bool set = ((bits[bit / 8] >> (bit % 8)) & 1) != 0;
        std::memcpy(&line[x * kPixelBytes], (set ? kOpaqueWhite : kOpaqueBlack).data(),
                    kPixelBytes);
    }
}

void letGo(Session& driver) {
    if (driver.alive() && driver.isConnected()) {
        [[maybe_unused]] const Status done = driver.disconnectFromFile();
    }
}

/// Disconnects at the end of a job and sends a query: its reply has its own code, so it proves that
/// the answers before it belonged to their requests.
Status disconnect(Session& driver) {
    Status done = driver.disconnectFromFile();
    if (!done) {
        return done;
    }
    const auto inStep = driver.currentCell();
    return inStep ? Status() : Status(inStep.failure());
}

// --- Reading -------------------------------------------------------------------------------------

Result<PictureSource> PictureSource::open(Session& driver, std::string_view path,
                                          std::int32_t cell) {
    letGo(driver);
    auto opened = withoutThrowing([&]() -> Result<PictureSource> {
        if (const auto asked = driver.transfersCaches(Access::Read); !asked) {
            return asked.failure();
        }
        PictureSource reader(driver, path, cell);
        Status done = driver.connectToFile(path, Access::Read, cell);
        if (done) {
            done = reader.askShape();
        }
        return done ? Result<PictureSource>(std::move(reader))
                    : Result<PictureSource>(done.failure());
    });
    if (!opened) {
        letGo(driver);
    }
    return opened;
}

Status PictureSource::askShape() {
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

/// Connects to the file again when the driver's positions in it are unusable. Not by
/// `connectToFile`: this is the same job, and a reported damage must stay.
Status PictureSource::reconnect() {
    Status done = driver_->order(ipc::kActionConnectToFile,
                                 std::array{static_cast<std::int32_t>(Access::Read), cell_}, path_);
    state_ = done ? State::Lines : state_;
    return done;
}

Status PictureSource::readLine(SharedBlock& block, std::int32_t line) {
    return withoutThrowing([&]() -> Status {
        if (block.bytes().size() < lineBytes(shape_.width)) {
            return Failure{FailureKind::BadArgument, "read line: the block is too small"};
        }
        if (state_ == State::Cache) {
            if (Status again = reconnect(); !again) {
                return again;
            }
        }
        state_ = State::Lines;
        if (shape_.matte) {
            return readMatteLine(block, line);
        }
        fillOpaqueBlack(block.bytes().first(lineBytes(shape_.width)));
        return driver_->getLine(block, line, cell_);
    });
}

Status PictureSource::readMatteLine(SharedBlock& block, std::int32_t line) {
    std::ranges::fill(bits_->bytes(), std::uint8_t{0}); // drivers OR the bits in
    Status got = driver_->getLine(*bits_, line, cell_);
    if (got) {
        expandMatte(bits_->bytes(), shape_.channels, block.bytes().first(lineBytes(shape_.width)),
                    matte_);
    }
    return got;
}

void PictureSource::selectMatte(std::int32_t channel) {
    matte_ = std::clamp(channel, 0, shape_.channels - 1);
}

Status PictureSource::close() {
    return disconnect(*driver_);
}

// --- Writing -------------------------------------------------------------------------------------

Result<PictureTarget> PictureTarget::open(Session& driver, std::string_view path,
                                          std::int32_t width, std::int32_t height,
                                          std::int32_t cell) {
    letGo(driver);
    auto opened = withoutThrowing([&]() -> Result<PictureTarget> {
        if (!base::isPictureSide(width) || !base::isPictureSide(height)) {
            return Failure{FailureKind::BadArgument,
                           "a picture of " + sizeText(width, height) +
                               " pixels cannot be written; sides are 1 to 32767"};
        }
        if (const auto asked = driver.transfersCaches(Access::Write); !asked) {
            return asked.failure();
        }
        PictureTarget writer(driver, path, width, height, cell);
        const Status done = writer.connect();
        return done ? Result<PictureTarget>(std::move(writer))
                    : Result<PictureTarget>(done.failure());
    });
    if (!opened) {
        letGo(driver);
    }
    return opened;
}

Status PictureTarget::connect() {
    Status done = driver_->setPixelFormat(0);
    if (done) {
        done = driver_->setBounds({0, 0, width_, height_});
    }
    return done ? driver_->connectToFile(path_, Access::Write, cell_) : done;
}

Status PictureTarget::writeLine(const SharedBlock& block, std::int32_t line) {
    return withoutThrowing([&]() -> Status {
        if (line < 0 || line >= height_ || written_[static_cast<std::size_t>(line)]) {
            return Failure{FailureKind::BadArgument,
                           "write line: line " + std::to_string(line) +
                               (line < 0 || line >= height_ ? " is not in the picture"
                                                            : " was written already")};
        }
        Status done = driver_->putLine(block, line, cell_);
        written_[static_cast<std::size_t>(line)] = true; // a driver accepts every line once
        missing_ -= done ? 1 : 0;
        return done;
    });
}

Status PictureTarget::close() {
    return withoutThrowing([&]() -> Status {
        Status done = disconnect(*driver_);
        if (done && missing_ != 0) {
            return Failure{FailureKind::BadArgument, "close: " + std::to_string(missing_) + " of " +
                                                         std::to_string(height_) +
                                                         " lines were not written"};
        }
        return done;
    });
}

} // namespace tdr
