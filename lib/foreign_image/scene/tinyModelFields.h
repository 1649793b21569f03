// SPDX-License-Identifier: MIT
// The fields of a node in the binary flavour of the hierarchy file. Numbers are big-endian, counts
// unsigned 16-bit, strings end with a zero byte.
#pragma once

#include "base/streamBuffer.h"
#include "file/tinyFileBinary.h"
#include "tinyFile.h"
#include "tinyModel.h"
#include "tinyOpaqueRead.h"
#include "tinySpline.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace modelbinary {

/// Slots of the prototype's lists.
inline constexpr int kModelList = 0;
inline constexpr int kSplineList = 8;

/// Maximum of a count.
inline constexpr std::size_t kMaxCount = 0xFFFF;

/// Writes values; `good` tells at the end whether all fitted the format and the stream.
class Writer {
  public:
    Writer(std::FILE* stream, const Prototype* prototype)
        : stream_(stream), prototype_(prototype) {}

    void number(std::uint16_t value) { binary::write(stream_, static_cast<std::int16_t>(value)); }
    void floats(std::span<const float> values) {
        for (const float value : values) {
            binary::write(stream_, value);
        }
    }
    void string(const char* value) { stringWriteBinary(stream_, value); }

    void userData(const UserData& block) {
        const std::int32_t size = block.data != nullptr ? std::max(block.size, 0) : 0;
        std::fwrite(block.tag, 1, sizeof block.tag, stream_);
        binary::write(stream_, static_cast<std::uint32_t>(size));
        if (size > 0) {
            std::fwrite(block.data, 1, static_cast<std::size_t>(size), stream_);
        }
    }
    void spline(const Spline* spline) { splineWriteBinary(stream_, spline, prototype_); }

    /// Writes a count, which has been checked to fit.
    void count(std::size_t value) { number(static_cast<std::uint16_t>(value)); }
    void fail() { failed_ = true; }
    [[nodiscard]] bool good() const { return !failed_ && std::ferror(stream_) == 0; }
    [[nodiscard]] bool hasSplineLists() const { return prototype_->lists[kSplineList] != nullptr; }

  private:
    std::FILE* stream_;
    const Prototype* prototype_;
    bool failed_ = false;
};

/// Reads values; after the first missing one all are zero and `good` is false.
class Reader {
  public:
    Reader(std::FILE* stream, const Prototype* prototype)
        : stream_(stream), prototype_(prototype) {}

    std::uint16_t number() {
        std::int16_t value = 0;
        failed_ = !binary::read(stream_, value) || failed_;
        return static_cast<std::uint16_t>(value);
    }
    void floats(std::span<float> values) {
        for (float& value : values) {
            value = 0.0F;
            failed_ = !binary::read(stream_, value) || failed_;
        }
    }
    /// A string of at most `kOpaqueMaxBytes`; a longer one fails.
    std::string string() {
        std::string value;
        for (int c = 1; c != 0;) {
            const std::string_view buffered = base::bufferedInput(stream_);
            const std::string_view run = buffered.substr(0, buffered.find('\0'));
            base::takeBuffered(stream_, run.data() + run.size());
            value.append(run);
            c = getc_unlocked(stream_);
            if (c == EOF || value.size() + (c != 0 ? 1 : 0) > kOpaqueMaxBytes) {
                failed_ = true;
                break;
            }
            if (c != 0) {
                value.push_back(static_cast<char>(c));
            }
        }
        return value;
    }
    UserData* userData();
    Spline* spline() {
        Spline* spline = splineReadBinary(stream_, prototype_);
        failed_ = failed_ || spline == nullptr;
        return spline;
    }

    void fail() { failed_ = true; }
    void report(AnimNoticeKind kind, const char* detail) {
        notice::atByte(kind, "", std::ftell(stream_), "%s", detail);
    }
    [[nodiscard]] bool good() const { return !failed_; }

    /// Blocks of the node being read, each with its position among them.
    std::vector<std::pair<std::uint16_t, UniqueOpaque>> blocks;
    std::size_t children = 0; ///< of the node being read

  private:
    std::FILE* stream_;
    const Prototype* prototype_;
    bool failed_ = false;
};

/// One row for each field token, in ascending order from 1. `word` is the first word of the field's
/// blocks, for fields of blocks kept as text.
struct Field {
    std::string_view word;
    std::uint8_t fewestBytes; ///< minimum size of the field
    void (*write)(Writer&, const Model&, const Field&);
    void (*read)(Reader&, Model&);
    bool countsChildren = false;
};

/// The field of a token, or null.
[[nodiscard]] const Field* findField(std::int16_t token);

} // namespace modelbinary
