// SPDX-License-Identifier: MIT
// The scanline encodings pixel by pixel, from the description of the format: slow, and independent
// of the coders that are tested against it.
#pragma once

#include <algorithm>
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

/// A run is written when it is 255 long or ends; the pixel that ends it is dropped.
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

/// Two and more equal pixels are a repeat. A literal ends where such a repeat begins, except that
/// one of 127 pixels takes a 128th whatever follows.
inline Bytes writeMixed(const Lines& lines) {
    const std::size_t width = lines[0].size();
    const auto same = [&](std::size_t a, std::size_t b) {
        return b < width && std::all_of(lines.begin(), lines.end(),
                                        [&](const Bytes& line) { return line[a] == line[b]; });
    };
    Bytes out;
    std::size_t count = 1;
    for (std::size_t x = 0; x < width; x += count) {
        count = 1;
        const bool repeat = same(x, x + 1);
        while (repeat ? count < 65535 && same(x, x + count)
                      : count < 128 && x + count < width &&
                            (count == 127 || !same(x + count, x + count + 1))) {
            ++count;
        }
        if (repeat && count > 127) {
            append(&out, {128, static_cast<std::uint8_t>(count / 256),
                          static_cast<std::uint8_t>(count % 256)});
        } else {
            out.push_back(static_cast<std::uint8_t>(repeat ? count + 127 : count - 1));
        }
        for (std::size_t i = 0; i < (repeat ? 1 : count); ++i) {
            append(&out, pixelOf(lines, x + i));
        }
    }
    return out;
}

/// The result of reading `file` from `at` on: the lines, the position, and whether all was present.
struct Decoded {
    Lines lines;
    std::size_t at = 0;
    bool whole = true;
};

/// Takes complete pixels from a file, up to its end.
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

/// Receives the decoders' pixels and knows when the line is full.
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

inline bool readRawPixel(Source* in, Sink* out) {
    const auto pixel = in->pixel();
    if (pixel) {
        out->put(*pixel, 1);
    }
    return pixel.has_value();
}

inline bool readPureRun(Source* in, Sink* out) {
    const auto count = in->byte();
    const auto pixel = in->pixel();
    if (count && pixel) {
        out->put(*pixel, *count);
    }
    return count && pixel;
}

/// False when the line ends with this packet, because something was missing or too long.
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

/// Reads one packet after the other until the line is full or one is incomplete.
template <bool (*ReadPacket)(Source*, Sink*)>
Decoded read(const Bytes& file, std::size_t at, std::size_t channels, std::size_t width) {
    Source in(file, at, channels);
    Sink out(channels, width);
    while (out.room() > 0 && ReadPacket(&in, &out)) {
    }
    return out.decoded(in);
}

} // namespace oracle
