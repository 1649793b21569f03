// SPDX-License-Identifier: MIT
// Whole jobs over a session: read a picture line by line, write one line by line.
//
// A line here is always `width` pixels of four bytes each, in the order alpha, blue, green, red
// (the drivers' format 0). Line 0 is the bottom line. Lines may be read in any order; from the top
// (height - 1) down to 0 is the order of the files and the fastest. A reader and a writer can share
// one block, so that a conversion copies nothing:
//
//     for (int line = reader->height(); line-- > 0;) {
//         if (!reader->readLine(*block, line) || !writer->writeLine(*block, line)) ...
//     }
#pragma once

#include "tdr/session.h"

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

/// The contents of a connected file.
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

/// Fills `line` with opaque black, the value of missing channels: a driver leaves their bytes
/// unchanged.
void fillOpaqueBlack(std::span<std::uint8_t> line);

/// Converts packed matte bits to pixels: white where the matte `channel` (0: the first) of
/// `channels` is set, black elsewhere, opaque everywhere. `bits` holds `channels` bits a pixel,
/// filled from each byte's lowest bit upwards; `line` takes as many pixels as fit, and as many as
/// `bits` has.
void expandMatte(std::span<const std::uint8_t> bits, std::int32_t channels,
                 std::span<std::uint8_t> line, std::int32_t channel = 0);

/// A picture in memory.
struct Picture {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::vector<std::uint8_t> pixels; ///< lines one after the other, the bottom line first
};

/// Larger pictures are not read into memory by default, because a small file can claim any size.
inline constexpr std::size_t kDefaultPictureLimit = std::size_t{1} << 30;

/// The contents of a block before a picture is read into it.
enum class BlockState {
    Used,  ///< anything
    Blank, ///< zeros: new from `SharedBlock::create` and not written to
};

/// Reads one file through a driver. Borrows the driver; one reader or writer for each driver at a
/// time. A file that an earlier one has left open is closed first.
class PictureSource {
  public:
    /// Connects `path` for reading and queries size and format. See `Session::connectToFile` about
    /// `path` and about drivers that refuse. A size outside 1 ... 32767, or a format that is
    /// neither four channels of 8 bits nor mattes, is `Refused` too. After a failure the file is
    /// disconnected.
    static Result<PictureSource> open(Session& driver, std::string_view path,
                                      std::int32_t cell = 0);

    [[nodiscard]] const PictureShape& shape() const { return shape_; }
    [[nodiscard]] std::int32_t width() const { return shape_.width; }
    [[nodiscard]] std::int32_t height() const { return shape_.height; }

    /// Selects the matte to read from a file with several: 0, the first, to `shape().channels` - 1.
    /// No effect on pictures.
    void selectMatte(std::int32_t channel);

    /// Reads line `line` into the first `lineBytes(width())` bytes of `block`. Missing channels are
    /// opaque black; a matte is white on black.
    Status readLine(SharedBlock& block, std::int32_t line);

    /// Reads all lines into `block`, one after the other, the bottom line first. If the driver
    /// transfers whole pictures and no line has been read, this takes a few requests instead of one
    /// for each line. A blank block is faster still, because this process then touches only a few
    /// of its pages.
    Status readAll(SharedBlock& block, BlockState state = BlockState::Used);

    /// Reads all lines into memory and closes: the pixels, or `NoMemory` if they need more than
    /// `maxBytes`.
    Result<Picture> readAndClose(std::size_t maxBytes = kDefaultPictureLimit);

    /// Disconnects. Success means that the driver's answers belonged to the requests.
    /// `Session::damage` reports what a damaged file lacked.
    Status close();

  private:
    PictureSource(Session& driver, std::string_view path, std::int32_t cell)
        : driver_(&driver), path_(path), cell_(cell) {}
    /// What can still be read with the driver's positions in the file.
    enum class State {
        Fresh, ///< everything
        Lines, ///< single lines
        Cache, ///< nothing: a whole picture leaves unusable positions
    };
    Status readCache(SharedBlock& block, BlockState state);
    Status reconnect();
    Status fillMissingAlpha(SharedBlock& block);
    Status readLines(SharedBlock& block);
    Status askShape();
    Status readMatteLine(SharedBlock& block, std::int32_t line);

    Session* driver_;
    std::string path_;
    std::int32_t cell_;
    PictureShape shape_;
    State state_ = State::Fresh;
    std::int32_t matte_ = 0;
    std::optional<SharedBlock> bits_; ///< a matte's packed bits, before they become pixels
};

/// Writes one file through a driver, in the drivers' format 0. Like a reader it borrows the driver
/// and closes a file that was left open. Drivers accept every line once.
class PictureTarget {
  public:
    /// Selects format 0, sets the size (each 1 ... 32767) and connects `path` for writing. After a
    /// failure the file is disconnected.
    static Result<PictureTarget> open(Session& driver, std::string_view path, std::int32_t width,
                                      std::int32_t height, std::int32_t cell = 0);

    /// Writes the first bytes of `block` as line `line`. Every line has to be written once, in any
    /// order: a second time is `BadArgument`.
    Status writeLine(const SharedBlock& block, std::int32_t line);

    /// Writes all remaining lines from `block`, laid out as by `PictureSource::readAll`. Without
    /// any it is `BadArgument`.
    Status writeAll(const SharedBlock& block);

    /// Disconnects. Only this call's success means that the file is complete in the system (see
    /// `Session::disconnectFromFile`); with lines missing it is `BadArgument`.
    Status close();

  private:
    PictureTarget(Session& driver, std::string_view path, std::int32_t width, std::int32_t height,
                  std::int32_t cell)
        : driver_(&driver), path_(path), width_(width), height_(height), cell_(cell),
          missing_(height), written_(static_cast<std::size_t>(height)) {}

    Status connect();
    Status writeCache(const SharedBlock& block);
    Status writeLines(const SharedBlock& block);

    Session* driver_;
    std::string path_;
    std::int32_t width_;
    std::int32_t height_;
    std::int32_t cell_;
    std::int32_t missing_;      ///< lines
    std::vector<bool> written_; ///< lines that have been sent
};

/// Reads all of `path` through `driver`; `NoMemory` when its pixels need more than `maxBytes`.
/// Afterwards, also after a failure, no file is open in the driver. A damaged file is read as far
/// as possible; `Session::damage` reports it.
Result<Picture> readPicture(Session& driver, std::string_view path,
                            std::size_t maxBytes = kDefaultPictureLimit);

/// Writes `picture` to `path` through `driver`. Afterwards, also after a failure, no file is open
/// in the driver; the driver determines what a failure leaves at `path`.
Status writePicture(Session& driver, std::string_view path, const Picture& picture);

} // namespace tdr
