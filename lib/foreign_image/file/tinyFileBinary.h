// SPDX-License-Identifier: MIT
// Big-endian fields of binary toolkit files, one call a field, on a buffered stream.
#pragma once

#include "base/byteOrder.h"
#include "base/streamBuffer.h"
#include "tinyFile.h"
#include "tinyNotice.h"
#include "tinyVector.h"

#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <string_view>

using UniquePrototype = std::unique_ptr<Prototype, PrototypeDisposer>;

namespace binary {

/// Reads `count` bytes to `bytes`; false when the file ends earlier.
inline bool readBytes(std::FILE* stream, std::uint8_t* bytes, std::size_t count) {
    const std::string_view buffered = base::bufferedInput(stream);
    if (buffered.size() >= count) {
        std::memcpy(bytes, buffered.data(), count);
        base::takeBuffered(stream, buffered.data() + count);
        return true;
    }
    return std::fread(bytes, 1, count, stream) == count;
}

/// Read one field. False, and `value` unchanged, when the file ends before its last byte.
inline bool read(std::FILE* stream, std::int16_t& value) {
    std::uint8_t bytes[2];
    const bool whole = readBytes(stream, bytes, sizeof bytes);
    value = whole ? base::loadBeS16(bytes) : value;
    return whole;
}

inline bool read(std::FILE* stream, std::uint32_t& value) {
    std::uint8_t bytes[4];
    const bool whole = readBytes(stream, bytes, sizeof bytes);
    value = whole ? base::loadBe32(bytes) : value;
    return whole;
}

inline bool read(std::FILE* stream, float& value) {
    std::uint32_t bits = 0;
    const bool whole = read(stream, bits);
    value = whole ? std::bit_cast<float>(bits) : value;
    return whole;
}

inline bool read(std::FILE* stream, Vector& value) {
    return read(stream, value.x) && read(stream, value.y) && read(stream, value.z);
}

/// Writes `count` bytes. A failed write shows in `ferror(stream)`, here and below.
inline void writeBytes(std::FILE* stream, const std::uint8_t* bytes, std::size_t count) {
    const std::span<char> room = base::bufferedRoom(stream);
    if (room.size() >= count) {
        std::memcpy(room.data(), bytes, count);
        base::putBuffered(stream, count);
    } else {
        std::fwrite(bytes, 1, count, stream);
    }
}

/// Write one field.
inline void write(std::FILE* stream, std::int16_t value) {
    std::uint8_t bytes[2];
    base::storeBeS16(bytes, value);
    writeBytes(stream, bytes, sizeof bytes);
}

inline void write(std::FILE* stream, std::uint32_t value) {
    std::uint8_t bytes[4];
    base::storeBe32(bytes, value);
    writeBytes(stream, bytes, sizeof bytes);
}

inline void write(std::FILE* stream, float value) {
    write(stream, std::bit_cast<std::uint32_t>(value));
}

inline void write(std::FILE* stream, const Vector& value) {
    write(stream, value.x);
    write(stream, value.y);
    write(stream, value.z);
}

/// Reports an unknown token when its list is used.
inline void reportToken(std::FILE* stream, std::int16_t token) {
    char word[8];
    std::snprintf(word, sizeof word, "%d", token);
    notice::atByte(AnimNoticeKind::UnknownWord, word, std::ftell(stream), "token of a field");
}

/// Reports a name that a reader cuts.
inline void reportLongName(const char* name) {
    if (name != nullptr && std::strlen(name) >= kFileStringSize) {
        notice::written(AnimNoticeKind::Cut, name, "at most %zu characters are read back",
                        kFileStringSize - 1);
    }
}

} // namespace binary
