// SPDX-License-Identifier: MIT
#include "matteBits.h"

#include <array>

namespace softimage {

namespace {

constexpr std::array<std::uint8_t, 256> makeReversedBytes() {
    std::array<std::uint8_t, 256> reversed{};
    for (unsigned value = 0; value < 256; ++value) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            if ((value >> bit & 1U) != 0) {
                reversed[value] = static_cast<std::uint8_t>(reversed[value] | 0x80U >> bit);
            }
        }
    }
    return reversed;
}

constexpr std::array<std::uint8_t, 256> kReversedBytes = makeReversedBytes();

/// The first `count` (0 to 7) pixels of a row's byte.
constexpr std::uint8_t leadingBits(int count) {
    return static_cast<std::uint8_t>(~(0xffU >> count));
}

/// A single channel: the host's bytes are the row's bytes with reversed bits.
void packOnlyChannel(const std::uint8_t* row, int width, std::uint8_t* hostLine) {
    const int whole = width / 8;
    for (int i = 0; i < whole; ++i) {
        hostLine[i] |= kReversedBytes[row[i]];
    }
    if (width % 8 != 0) {
        hostLine[whole] |= kReversedBytes[row[whole] & leadingBits(width % 8)];
    }
}

} // namespace

void packMatteRow(const std::uint8_t* row, int width, int channel, int channels,
                  std::uint8_t* hostLine) {
    if (channels == 1) {
        packOnlyChannel(row, width, hostLine);
        return;
    }
    auto position = static_cast<std::size_t>(channel);
    for (int x = 0; x < width; ++x, position += static_cast<std::size_t>(channels)) {
        const unsigned bit = row[x / 8] >> (7 - x % 8) & 1U;
        hostLine[position / 8] |= static_cast<std::uint8_t>(bit << (position % 8));
    }
}

} // namespace softimage
