// SPDX-License-Identifier: MIT
// Host pixels and channels, every layout at every width and alignment.
#include "pixelOrder.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

using namespace softimage;

struct Case {
    const char* name;
    int format;
    int bytes;
    std::vector<int> channels; // the line of each byte of a pixel
};

const Case kCases[] = {
    {"RGBA", 0, 4, {0, 1, 2, 3}}, {"RGB", -99, 3, {1, 2, 3}}, {"alpha", -98, 1, {0}},
    {"matte", 1, 1, {}},          {"none set", -1, 1, {}},
};

constexpr std::size_t kRoom = 1300;

std::uint8_t sample(std::size_t channel, std::size_t x) {
    return static_cast<std::uint8_t>(channel * 64 + x % 61);
}

/// A channel's line at this offset, between bytes that must stay.
std::vector<std::uint8_t> lineOf(std::size_t channel, std::size_t width, std::size_t shift) {
    std::vector<std::uint8_t> line(kRoom, 0xEE);
    for (std::size_t x = 0; x < width; ++x) {
        line[shift + x] = sample(channel, x);
    }
    return line;
}

/// One layout, width, misalignment and set of existing buffers (a bit for each).
void checkOnce(const Case& c, std::size_t width, std::size_t shift, unsigned present) {
    std::vector<std::uint8_t> storage[kPictureChannels];
    ChannelLines lines{};
    for (std::size_t i = 0; i < kPictureChannels; ++i) {
        storage[i] = lineOf(i, width, shift);
        lines[i] = (present >> i & 1U) != 0 ? storage[i].data() + shift : nullptr;
    }
    std::vector<std::uint8_t> host(kRoom * 4, 0x77);
    std::vector<std::uint8_t> expected = host;
    const auto step = static_cast<std::size_t>(c.bytes);
    for (std::size_t x = 0; x < width; ++x) {
        for (std::size_t b = 0; b < c.channels.size(); ++b) {
            const auto channel = static_cast<std::size_t>(c.channels[b]);
            if (lines[channel] != nullptr) {
                expected[shift + x * step + b] = sample(channel, x);
            }
        }
    }
    channelsToHostLine(c.format, lines, width, host.data() + shift);
    EXPECT_EQ(host, expected);

    for (auto& line : storage) {
        line.assign(kRoom, 0xEE);
    }
    hostLineToChannels(c.format, host.data() + shift, width, lines);
    for (const int channel : c.channels) {
        const auto i = static_cast<std::size_t>(channel);
        EXPECT_EQ(storage[i], lineOf(i, lines[i] != nullptr ? width : 0, shift));
    }
}

TEST(PixelOrder, EveryLayoutGoesThereAndBack) {
    for (const Case& c : kCases) {
        EXPECT_EQ(bytesPerHostPixel(c.format), c.bytes) << c.name;
        for (std::size_t width = 0; width <= 70; ++width) {
            SCOPED_TRACE(std::string(c.name) + " width " + std::to_string(width));
            checkOnce(c, width, width % 5, 0b1111);
        }
        for (unsigned present = 0; present < 16; ++present) {
            SCOPED_TRACE(std::string(c.name) + " buffers " + std::to_string(present));
            checkOnce(c, 37, 1, present);
            checkOnce(c, 1234, 3, present);
        }
    }
}

} // namespace
