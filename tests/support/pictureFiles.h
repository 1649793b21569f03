// SPDX-License-Identifier: MIT
// Small picture files, byte by byte from their layout, independent of the toolkit that writes them.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace support {

inline std::string be16(int value) {
    return {static_cast<char>(value >> 8), static_cast<char>(value)};
}

inline std::string be32(std::uint32_t value) {
    return be16(static_cast<int>(value >> 16)) + be16(static_cast<int>(value & 0xFFFF));
}

inline std::string bytes(std::initializer_list<int> values) {
    std::string all;
    for (const int value : values) {
        all += static_cast<char>(value);
    }
    return all;
}

/// The common header (88 bytes), the type word, size, ratio 1, field code 3, and the padding of a
/// PIC or the channel count of a TAG: 104 bytes.
inline std::string fileHeader(std::string_view typeWord, int width, int height, int last = 0) {
    std::string header = bytes({0x53, 0x80, 0xF6, 0x34, 0x40, 0x26, 0x66, 0x66});
    header += "No comment...";
    header.resize(88);
    header += typeWord;
    return header + be16(width) + be16(height) + bytes({0x3F, 0x80, 0, 0}) + be16(3) + be16(last);
}

/// A PIC file with one raw channel packet: `mask` is 0xE0 for red, green, blue, 0x10 for alpha,
/// 0xF0 for all four; `pixels` has their bytes, the top line first.
inline std::string rawPic(int width, int height, int mask, std::string_view pixels) {
    return fileHeader("PICT", width, height) + bytes({0, 8, 0, mask}) + std::string(pixels);
}

/// A TAG file; `words` holds the 16-bit code words of every row of every channel, top row first.
inline std::string tag(int width, int height, int channels, const std::vector<int>& words = {}) {
    std::string file = fileHeader("STAG", width, height, channels);
    for (const int word : words) {
        file += be16(word);
    }
    return file;
}

/// A chunk of a PNG file.
inline std::string pngChunk(const std::string& name, const std::string& data) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char byte : name + data) {
        crc ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320 : 0);
        }
    }
    return be32(static_cast<std::uint32_t>(data.size())) + name + data + be32(~crc);
}

} // namespace support
