// SPDX-License-Identifier: MIT
// Scanlines that follow each other without a gap, and how much each differs from the one before it.
#pragma once

#include "toolkitPicture.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// Reads lines of an open picture at any place.
class LinesAt {
  public:
    /// From `bytes`, which are those of the file and stay the same when it changes.
    static Outcome<LinesAt> of(ToolkitPicture& file, const std::string& name,
                               std::span<const std::uint8_t> bytes);

    /// The channels of the line at `begin`, one after the other; valid until the next call with the
    /// same `slot`, which is 0 or 1. False if the line is damaged there.
    bool read(std::int64_t begin, int slot);
    [[nodiscard]] std::span<std::uint8_t> channels(int slot) { return slots_[slot].line; }

    /// How much the lines at `a` and `b` differ: the sum over all bytes.
    double difference(std::int64_t a, std::int64_t b);

    /// The place behind the line that was read last, or where reading it stopped.
    [[nodiscard]] std::int64_t position() const { return position_; }
    [[nodiscard]] std::span<const std::uint8_t> bytes() const { return bytes_; }

  private:
    explicit LinesAt(ToolkitPicture& file, std::span<const std::uint8_t> bytes)
        : file_(&file), bytes_(bytes) {}

    struct Slot {
        std::vector<std::uint8_t> line;
        std::int64_t begin = -1; ///< of the line that it holds, or -1
        std::int64_t end = -1;
    };

    ToolkitPicture* file_;
    std::span<const std::uint8_t> bytes_;
    base::UniqueFile stream_;
    std::unique_ptr<PictureReader, PictureReaderDisposer> reader_;
    std::int64_t position_ = 0;
    Slot slots_[2];
};

/// Lines that follow each other.
struct LineChain {
    std::vector<std::int64_t> begins; ///< of the lines, and the end of the last one
    std::vector<double> steps;        ///< differences of neighbours: one less than the lines

    [[nodiscard]] std::int32_t count() const {
        return static_cast<std::int32_t>(begins.size()) - 1;
    }
    [[nodiscard]] std::int64_t begin(std::int32_t line) const {
        return begins[static_cast<std::size_t>(line)];
    }
    [[nodiscard]] std::int64_t end() const { return begins.back(); }

    /// Appends the line that begins at the end, or at `next`; false if it cannot be decoded.
    bool add(LinesAt& lines);
    static LineChain through(LinesAt& lines, const std::vector<std::int64_t>& begins);
};

/// Where damage is expected: after the chain, or before it.
enum class Damage : bool { After, Before };

/// A step in terms of what is usual near it: about 1, and much more beside a line with wrong
/// pixels.
[[nodiscard]] double changeOf(double step, double usual);

/// That of all steps. Only the lines on the far side of the damage decide what is usual, unless
/// there are enough on the near one; in any picture it is at least `least`.
[[nodiscard]] std::vector<double> changesOf(const LineChain& chain, Damage damage, double least);

/// What is usual in the nearest steps on the far side of the damage, which is at `line`.
[[nodiscard]] double usualBeside(const LineChain& chain, Damage damage, std::int32_t line);
