// SPDX-License-Identifier: MIT
// The scanline encodings pixel by pixel, as the file format tells them: slow, and independent of
// the coders that are tested against it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace oracle {

using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<Bytes>; ///< one line per channel, in pixel order

/// The bytes of pixel `x`.
inline Bytes pixelOf(const Lines& lines, std::size_t x) {
    Bytes pixel;
    for (const Bytes& line : lines) {
        pixel.push_back(line[x]);
    }
    return pixel;
}

inline void append(Bytes* to, const Bytes& more) {
    to->insert(to->end(), more.begin(), more.end());
}

inline Bytes writeRaw(const Lines& lines) {
    Bytes out;
    for (std::size_t x = 0; x < lines[0].size(); ++x) {
        append(&out, pixelOf(lines, x));
    }
    return out;
}

/// A run is written when it is 255 long or broken; the pixel that breaks it is dropped.
inline Bytes writePure(const Lines& lines) {
    Bytes out;
    Bytes run;
    unsigned count = 0;
    const auto flush = [&] {
        out.push_back(static_cast<std::uint8_t>(count));
        append(&out, run);
        count = 0;
    };
    for (std::size_t x = 0; x < lines[0].size(); ++x) {
        const Bytes pixel = pixelOf(lines, x);
        if (count == 0) {
            run = pixel;
            count = 1;
        } else if (pixel != run || ++count == 255) {
            flush();
        }
    }
    if (count > 0) {
        flush();
    }
    return out;
}

/// The mixed encoding as a machine that is fed one pixel after the other.
class MixedWriter {
  public:
    Bytes write(const Lines& lines) {
        for (std::size_t x = 0; x < lines[0].size(); ++x) {
            take(pixelOf(lines, x));
        }
        if (slots_.empty()) {
            return out_;
        }
        if (repeats_ && count_ >= 2) {
            writeRepeat();
        } else {
            writeLiteral(slots_.size());
        }
        return out_;
    }

  private:
    void take(const Bytes& pixel) {
        if (count_ == 0) {
            start(pixel);
        } else if (count_ == 1) {
            repeats_ = pixel == slots_[0];
            add(pixel);
        } else if (repeats_ && pixel != slots_[0]) {
            writeRepeat();
            start(pixel);
        } else if (!repeats_ && pixel == slots_.back()) {
            writeLiteral(slots_.size() - 1);
            start(pixel);
            repeats_ = true;
            count_ = 2;
        } else {
            add(pixel);
        }
        if (!repeats_ && count_ == 128) {
            writeLiteral(128);
            start();
        } else if (repeats_ && count_ == 65535) {
            writeRepeat();
            start();
        }
    }

    void start() {
        slots_.clear();
        count_ = 0;
        repeats_ = false;
    }
    void start(const Bytes& pixel) {
        start();
        slots_.push_back(pixel);
        count_ = 1;
    }
    void add(const Bytes& pixel) {
        if (!repeats_) {
            slots_.push_back(pixel);
        }
        ++count_;
    }
    void writeRepeat() {
        if (count_ <= 127) {
            out_.push_back(static_cast<std::uint8_t>(count_ + 127));
        } else {
            append(&out_, {128, static_cast<std::uint8_t>(count_ / 256),
                           static_cast<std::uint8_t>(count_ % 256)});
        }
        append(&out_, slots_[0]);
    }
    void writeLiteral(std::size_t pixels) {
        out_.push_back(static_cast<std::uint8_t>(pixels - 1));
        for (std::size_t i = 0; i < pixels; ++i) {
            append(&out_, slots_[i]);
        }
    }

    Bytes out_;
    std::vector<Bytes> slots_;
    unsigned count_ = 0;
    bool repeats_ = false;
};

inline Bytes writeMixed(const Lines& lines) {
    return MixedWriter().write(lines);
}

/// What a reader makes of `file` from `at` on: the lines, where it stands, and whether all was
/// there.
struct Decoded {
    Lines lines;
    std::size_t at = 0;
    bool whole = true;
};

/// Takes whole pixels from a file, and nothing behind its end.
class Source {
  public:
    Source(const Bytes& file, std::size_t at, std::size_t channels)
        : file_(file), at_(at), channels_(channels) {}

    std::optional<unsigned> byte() {
        return at_ < file_.size() ? std::optional<unsigned>(file_[at_++]) : std::nullopt;
    }
    std::optional<Bytes> pixel() {
        if (file_.size() - at_ < channels_) {
            at_ = file_.size();
            return std::nullopt;
        }
        const auto from = file_.begin() + static_cast<std::ptrdiff_t>(at_);
        at_ += channels_;
        return Bytes(from, from + static_cast<std::ptrdiff_t>(channels_));
    }
    void toEnd() { at_ = file_.size(); }
    [[nodiscard]] std::size_t at() const { return at_; }

  private:
    const Bytes& file_;
    std::size_t at_;
    std::size_t channels_;
};

/// The decoders give pixels to this, which knows when the line is full.
class Sink {
  public:
    Sink(std::size_t channels, std::size_t width) : lines_(channels, Bytes(width)), width_(width) {}

    void put(const Bytes& pixel, std::size_t times) {
        for (; times > 0 && x_ < width_; --times, ++x_) {
            for (std::size_t c = 0; c < pixel.size(); ++c) {
                lines_[c][x_] = pixel[c];
            }
        }
    }
    [[nodiscard]] std::size_t room() const { return width_ - x_; }
    [[nodiscard]] Decoded decoded(const Source& source) const {
        return {lines_, source.at(), x_ == width_};
    }

  private:
    Lines lines_;
    std::size_t width_;
    std::size_t x_ = 0;
};

inline Decoded readRaw(const Bytes& file, std::size_t at, std::size_t channels, std::size_t width) {
    Source in(file, at, channels);
    Sink out(channels, width);
    while (out.room() > 0) {
        const auto pixel = in.pixel();
        if (!pixel) {
            break;
        }
        out.put(*pixel, 1);
    }
    return out.decoded(in);
}

inline Decoded readPure(const Bytes& file, std::size_t at, std::size_t channels,
                        std::size_t width) {
    Source in(file, at, channels);
    Sink out(channels, width);
    while (out.room() > 0) {
        const auto count = in.byte();
        const auto pixel = in.pixel();
        if (!count || !pixel) {
            break;
        }
        out.put(*pixel, *count);
    }
    return out.decoded(in);
}

/// One mixed packet; false when the line ends with it, because something was missing or too long.
inline bool readMixedPacket(Source* in, Sink* out) {
    const auto control = in->byte();
    if (!control) {
        return false;
    }
    const bool literal = *control < 128;
    std::size_t count = literal ? *control + 1 : *control - 127;
    if (*control == 128) {
        const auto high = in->byte();
        const auto low = in->byte();
        if (!high || !low) {
            return false;
        }
        count = *high * 256 + *low;
    }
    if (count > out->room()) {
        in->toEnd();
        return false;
    }
    for (std::size_t i = 0; i < (literal ? count : 1); ++i) {
        const auto pixel = in->pixel();
        if (!pixel) {
            return false;
        }
        out->put(*pixel, literal ? 1 : count);
    }
    return true;
}

inline Decoded readMixed(const Bytes& file, std::size_t at, std::size_t channels,
                         std::size_t width) {
    Source in(file, at, channels);
    Sink out(channels, width);
    while (out.room() > 0 && readMixedPacket(&in, &out)) {
    }
    return out.decoded(in);
}

} // namespace oracle
