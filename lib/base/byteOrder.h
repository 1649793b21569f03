// SPDX-License-Identifier: MIT
// Big-endian numbers in byte buffers. Only this file knows the byte order of the wire and of the
// file formats; all other code calls these functions. They work on plain bytes, so they need no
// alignment and give the same result on every machine. Text is searched in little-endian numbers,
// whose lowest byte is the first character.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace base {

/// Reads an unsigned 16-bit big-endian number from the two bytes at `p`.
[[nodiscard]] constexpr std::uint16_t loadBe16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>((p[0] << 8) | p[1]);
}

/// Reads an unsigned 32-bit big-endian number from the four bytes at `p`.
[[nodiscard]] constexpr std::uint32_t loadBe32(const std::uint8_t* p) {
    return (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 8) |
           std::uint32_t{p[3]};
}

/// Reads a signed 16-bit big-endian number from the two bytes at `p`.
[[nodiscard]] constexpr std::int16_t loadBeS16(const std::uint8_t* p) {
    return static_cast<std::int16_t>(loadBe16(p));
}

/// Reads a signed 32-bit big-endian number from the four bytes at `p`.
[[nodiscard]] constexpr std::int32_t loadBeS32(const std::uint8_t* p) {
    return static_cast<std::int32_t>(loadBe32(p));
}

/// Reads an IEEE single-precision big-endian number from the four bytes at `p`.
[[nodiscard]] constexpr float loadBeFloat(const std::uint8_t* p) {
    return std::bit_cast<float>(loadBe32(p));
}

/// Reads eight bytes or characters as a little-endian number, in one load where the machine's order
/// is that.
[[nodiscard]] inline std::uint64_t loadLe64(const void* p) {
    std::uint64_t value = 0;
    std::memcpy(&value, p, sizeof value);
    return std::endian::native == std::endian::little ? value : __builtin_bswap64(value);
}

/// Stores `value` as two big-endian bytes at `p`.
constexpr void storeBe16(std::uint8_t* p, std::uint16_t value) {
    p[0] = static_cast<std::uint8_t>(value >> 8);
    p[1] = static_cast<std::uint8_t>(value);
}

/// Stores `value` as four big-endian bytes at `p`.
constexpr void storeBe32(std::uint8_t* p, std::uint32_t value) {
    p[0] = static_cast<std::uint8_t>(value >> 24);
    p[1] = static_cast<std::uint8_t>(value >> 16);
    p[2] = static_cast<std::uint8_t>(value >> 8);
    p[3] = static_cast<std::uint8_t>(value);
}

/// Stores `value` as two big-endian bytes (two's complement) at `p`.
constexpr void storeBeS16(std::uint8_t* p, std::int16_t value) {
    storeBe16(p, static_cast<std::uint16_t>(value));
}

/// Stores `value` as four big-endian bytes (two's complement) at `p`.
constexpr void storeBeS32(std::uint8_t* p, std::int32_t value) {
    storeBe32(p, static_cast<std::uint32_t>(value));
}

/// Stores `value` as a big-endian IEEE single at `p`.
constexpr void storeBeFloat(std::uint8_t* p, float value) {
    storeBe32(p, std::bit_cast<std::uint32_t>(value));
}

} // namespace base
