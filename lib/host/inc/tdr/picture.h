// SPDX-License-Identifier: MIT
// Whole jobs over a session: read a picture line by line, write one line by line.
//
// A line here is always `width` pixels of four bytes each, in the order alpha, blue, green, red
// (the drivers' format 0). Line 0 is the bottom line. Lines may be asked for in any order; from the
// top (height - 1) down to 0 is the order of the files and the fastest. A reader and a writer can
// share one block, so that a conversion copies nothing:
//
//     for (int line = reader->height(); line-- > 0;) {
//         if (!reader->readLine(*block, line) || !writer->writeLine(*block, line)) ...
//     }
#pragma once

#include "tdr/driver.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tdr {

/// Bytes of one pixel of a line.
inline constexpr std::size_t kPixelBytes = 4;

/// What a connected file holds.
struct PictureShape {
    std::int32_t width = 0;
    std::int32_t height = 0;
    bool matte = false;        ///< one-bit mattes instead of colours
    std::int32_t channels = 4; ///< colour channels offered, or mattes in the file
};

/// Bytes of a line of `width` pixels.
[[nodiscard]] std::size_t lineBytes(std::int32_t width);

/// Bytes of a whole picture; both sides 1 ... 32767.
[[nodiscard]] std::size_t pictureBytes(std::int32_t width, std::int32_t height);

/// Fills `line` with opaque black: what pixels are where the file has no such channel, since a
/// driver leaves the bytes of a missing channel as they were.
void fillOpaqueBlack(std::span<std::uint8_t> line);

/// Makes pixels of packed matte bits: white where the matte `channel` (0: the first) of `channels`
/// is set, black elsewhere, opaque everywhere. `bits` holds `channels` bits a pixel, filled from
/// each byte's lowest bit upwards; `line` takes as many pixels as fit, and as many as `bits` has.
void expandMatte(std::span<const std::uint8_t> bits, std::int32_t channels,
                 std::span<std::uint8_t> line, std::int32_t channel = 0);

/// What a block holds before a picture is read into it.
enum class BlockState {
    Used,  ///< anything
    Blank, ///< zeros: as `SharedBlock::create` made it, and nobody has written to it
};

/// Reads one file through a driver. Borrows the driver; one reader or writer a driver at a time. A
/// file that an earlier one has left open is closed first.
class PictureReader {
  public:
    /// Connects `path` for reading and asks for size and format. See `Driver::connectToFile` about
    /// `path` and about drivers that refuse. A size outside 1 ... 32767 a side, or a format that is
    /// neither four channels of 8 bits nor mattes, is `Refused` too. After a failure the file is
    /// disconnected.
    static Result<PictureReader> open(Driver& driver, std::string_view path, std::int32_t cell = 0);

    [[nodiscard]] const PictureShape& shape() const { return shape_; }
    [[nodiscard]] std::int32_t width() const { return shape_.width; }
    [[nodiscard]] std::int32_t height() const { return shape_.height; }

    /// Of a file with several mattes, the one that is read from now on: 0, the first, to
    /// `shape().channels` - 1. No effect on pictures.
    void selectMatte(std::int32_t channel);

    /// Reads line `line` into the first `lineBytes(width())` bytes of `block`. Channels that the
    /// file lacks are opaque black; a matte is white on black.
    Status readLine(SharedBlock& block, std::int32_t line);

    /// Reads all lines into `block`, one after the other, the bottom line first. Where the driver
    /// can (it was asked by `Driver::transfersCaches` before the file was opened), and nothing has
    /// been read yet, with a few requests instead of one a line; into a blank block that is faster
    /// still, since this process then touches only a few of its pages.
    Status readAll(SharedBlock& block, BlockState state = BlockState::Used);

    /// Disconnects. Its success says that the driver's answers belonged to the requests. What a
    /// damaged file lacked is told by `Driver::damage`.
    Status close();

  private:
    PictureReader(Driver& driver, std::string_view path, std::int32_t cell)
        : driver_(&driver), path_(path), cell_(cell) {}
    /// What the driver's positions in the file are good for.
    enum class State {
        Fresh, ///< everything
        Lines, ///< single lines
        Cache, ///< nothing: a whole picture leaves them in the order of its rows
    };
    Status readCache(SharedBlock& block, BlockState state);
    Status reconnect();
    Status fillMissingAlpha(SharedBlock& block);
    Status readLines(SharedBlock& block);
    Status askShape();
    Status readMatteLine(SharedBlock& block, std::int32_t line);

    Driver* driver_;
    std::string path_;
    std::int32_t cell_;
    PictureShape shape_;
    State state_ = State::Fresh;
    std::int32_t matte_ = 0;
    std::optional<SharedBlock> bits_; ///< a matte's packed bits, before they become pixels
};

/// Writes one file through a driver, in the drivers' format 0. Like a reader it borrows the driver
/// and closes what was left open. Drivers take every line once.
class PictureWriter {
  public:
    /// Selects format 0, sets the size (1 ... 32767 a side) and connects `path` for writing. After
    /// a failure the file is disconnected.
    static Result<PictureWriter> open(Driver& driver, std::string_view path, std::int32_t width,
                                      std::int32_t height, std::int32_t cell = 0);

    /// Writes the first bytes of `block` as line `line`. Every line has to be written, in whatever
    /// order, and once: a second time is `BadArgument`.
    Status writeLine(const SharedBlock& block, std::int32_t line);

    /// Writes the lines that have not been written yet, which is `BadArgument` when there are none,
    /// from `block`, laid out as by `PictureReader::readAll`.
    Status writeAll(const SharedBlock& block);

    /// Disconnects. Only this call's success says that the file is whole, as far as the system has
    /// taken it (see `Driver::disconnectFromFile`); with lines missing it is `BadArgument`.
    Status close();

  private:
    PictureWriter(Driver& driver, std::int32_t width, std::int32_t height, std::int32_t cell)
        : driver_(&driver), width_(width), height_(height), cell_(cell), missing_(height),
          written_(static_cast<std::size_t>(height)) {}

    Status writeCache(const SharedBlock& block);
    Status writeLines(const SharedBlock& block);

    Driver* driver_;
    std::int32_t width_;
    std::int32_t height_;
    std::int32_t cell_;
    std::int32_t missing_;      ///< lines
    std::vector<bool> written_; ///< lines that have been sent
};

/// A picture in memory.
struct Picture {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::vector<std::uint8_t> pixels; ///< lines one after the other, the bottom line first
};

/// Pictures above this are not read into memory unless asked for: a small file can claim any size.
inline constexpr std::size_t kDefaultPictureLimit = std::size_t{1} << 30;

/// Reads all of `path` through `driver`; `NoMemory` when its pixels need more than `maxBytes`. In
/// the end, also after a failure, no file is open in the driver. A damaged file is read as far as
/// it goes, which `Driver::damage` tells.
Result<Picture> readPicture(Driver& driver, std::string_view path,
                            std::size_t maxBytes = kDefaultPictureLimit);

/// Writes `picture` to `path` through `driver`. In the end, also after a failure, no file is open
/// in the driver; what a failure leaves at `path` is the driver's.
Status writePicture(Driver& driver, std::string_view path, const Picture& picture);

} // namespace tdr
