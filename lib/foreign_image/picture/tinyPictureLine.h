// SPDX-License-Identifier: MIT
// Shared by reading and writing a scanline: the lines of a record that a packet names. Inner to the
// module.
#pragma once

#include "tinyPicture.h"

/// The channels that a mask names, in pixel order.
struct PacketChannels {
    int count = 0;
    int channel[kPictureChannels] = {}; ///< index into a record's arrays of four

    explicit PacketChannels(std::uint8_t mask) {
        for (int c = 0; c < kPictureChannels; ++c) {
            if ((mask & kChannelMasks[c]) != 0) {
                channel[count++] = c;
            }
        }
    }
};

/// Index of a packet's coder in a coder table: the low four bits of its type.
[[nodiscard]] inline int packetEncoding(const ChannelPacket* packet) {
    return packet->type & 0x0F;
}

/// The channels that any packet of a chain names.
[[nodiscard]] inline PacketChannels chainChannels(const ChannelPacket* chain) {
    unsigned mask = 0;
    for (; chain != nullptr; chain = chain->next) {
        mask |= chain->channels;
    }
    return PacketChannels(static_cast<std::uint8_t>(mask));
}

/// Moves the line pointers of a chain's channels to the next line: by one line even if several
/// packets name a channel, because all of them belong to the same line.
inline void advanceLines(Picture* record, const ChannelPacket* chain) {
    const PacketChannels channels = chainChannels(chain);
    for (int i = 0; i < channels.count; ++i) {
        std::uint8_t*& line = record->linePointers[channels.channel[i]];
        line = line != nullptr ? line + record->width : nullptr;
    }
}
