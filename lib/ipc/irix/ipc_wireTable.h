// SPDX-License-Identifier: MIT
// The wire form of a packet: one table of its nine fields for all writers and the reader.
#pragma once

#include "IPC_Link.h"
#include "base/byteOrder.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

namespace ipc {

using Packet = IPC_DataPacket;

/// `WireField::countAt` of a field that is itself a count: a single number.
inline constexpr std::size_t kSingle = SIZE_MAX;

/// What a failed write does first: print its message, or check for a broken pipe.
enum class OnFailedWrite : bool { TellThenAsk, AskThenTell };

/// One field of the wire form.
struct WireField {
    std::size_t at;          ///< offset in the packet
    std::size_t elementSize; ///< bytes of one element, in the packet and on the wire
    std::size_t countAt;     ///< offset of the number of elements in the packet, or kSingle
    std::int32_t capacity;   ///< for a count: the largest allowed value
    bool skippedWhenEmpty;   ///< no write call without elements
    OnFailedWrite onFailedWrite;
    const char* name;
    const char* writeText; ///< prefix of the system's reason
    const char* readText;  ///< whole line
};

inline constexpr auto kTell = OnFailedWrite::TellThenAsk;
// Kept: Long and float payloads report a broken pipe without a message.
// A reader would expect every field to print its message when its write fails. These two check for
// a broken pipe first and then print nothing; callers print their own line.
inline constexpr auto kAsk = OnFailedWrite::AskThenTell;

// Kept: The last five texts for failed reads have no full stop.
// A reader would expect all nine to end alike.
//
// Each string has its own zero byte, so there are never more strings than characters.
inline constexpr WireField kFields[] = {
    {offsetof(Packet, numof_cmds), 4, kSingle, kMaxCommands, false, kTell, "numof_cmds",
     "sendsockdata: writing numof_cmds", "readsockdata: Error reading numof_cmds.\n"},
    {offsetof(Packet, datacmd), 2, offsetof(Packet, numof_cmds), 0, false, kTell, "datacmd",
     "sendsockdata: writing datacmd", "readsockdata: Error reading datacmd.\n"},
    {offsetof(Packet, numof_strings), 4, kSingle, kMaxChars, false, kTell, "numof_strings",
     "sendsockdata: writing numof_strings", "readsockdata: Error reading numof_strings.\n"},
    {offsetof(Packet, numof_chars), 4, kSingle, kMaxChars, false, kTell, "numof_chars",
     "sendsockdata: writing numof_chars", "readsockdata: Error reading numof_chars.\n"},
    {offsetof(Packet, chardata), 1, offsetof(Packet, numof_chars), 0, true, kTell, "chardata",
     "sendsockdata: writing chardata", "readsockdata: Error reading chardata\n"},
    {offsetof(Packet, numof_longs), 4, kSingle, kMaxLongs, false, kTell, "numof_longs",
     "sendsockdata: writing numof_longs", "readsockdata: Error reading numof_longs\n"},
    {offsetof(Packet, longdata), 4, offsetof(Packet, numof_longs), 0, true, kAsk, "longdata",
     "sendsockdata: writing longdata", "readsockdata: Error reading longdata\n"},
    {offsetof(Packet, numof_floats), 4, kSingle, kMaxFloats, false, kTell, "numof_floats",
     "sendsockdata: writing numof_floats", "readsockdata: Error reading numof_floats\n"},
    {offsetof(Packet, floatdata), 4, offsetof(Packet, numof_floats), 0, true, kAsk, "floatdata",
     "sendsockdata: writing floatdata", "readsockdata: Error reading floatdata\n"},
};
inline constexpr std::size_t kFieldCount = std::size(kFields);

/// Largest field, and largest packet, on the wire.
inline constexpr std::size_t kMaxFieldBytes = kMaxChars;
inline constexpr std::size_t kMaxPacketBytes =
    5 * 4 + kMaxCommands * 2 + kMaxChars + kMaxLongs * 4 + kMaxFloats * 4;

/// Bytes that follow field `i` whatever the counts are: the counts after it.
inline constexpr std::array<std::size_t, kFieldCount> kSureToFollow = [] {
    std::array<std::size_t, kFieldCount> bytes{};
    for (std::size_t i = kFieldCount - 1; i > 0; --i) {
        bytes[i - 1] = bytes[i] + (kFields[i].countAt == kSingle ? kFields[i].elementSize : 0);
    }
    return bytes;
}();

inline std::int32_t loadCount(const Packet& packet, std::size_t at) {
    std::int32_t count = 0;
    std::memcpy(&count, reinterpret_cast<const char*>(&packet) + at, sizeof count);
    return count;
}

/// Number of elements of a field, from the packet's checked counts.
inline std::size_t elementsOf(const WireField& field, const Packet& packet) {
    return field.countAt == kSingle ? 1
                                    : static_cast<std::size_t>(loadCount(packet, field.countAt));
}

/// True unless the field is a count outside its range.
inline bool isPlausible(const WireField& field, const Packet& packet) {
    if (field.countAt != kSingle) {
        return true;
    }
    const std::int32_t count = loadCount(packet, field.at);
    return count >= 0 && count <= field.capacity;
}

/// Copies `n` elements between a packet and the wire, which is big-endian. The same swap works in
/// both directions.
inline void copyElements(std::uint8_t* to, const std::uint8_t* from, std::size_t elementSize,
                         std::size_t n) {
    if (elementSize == 2) {
        for (std::size_t i = 0; i < n; ++i) {
            const std::uint16_t value = base::loadBe16(from + 2 * i);
            std::memcpy(to + 2 * i, &value, sizeof value);
        }
    } else if (elementSize == 4) {
        for (std::size_t i = 0; i < n; ++i) {
            const std::uint32_t value = base::loadBe32(from + 4 * i);
            std::memcpy(to + 4 * i, &value, sizeof value);
        }
    } else if (n != 0) {
        std::memcpy(to, from, n);
    }
}

inline std::uint8_t* placeOf(const WireField& field, Packet& packet) {
    return reinterpret_cast<std::uint8_t*>(&packet) + field.at;
}

} // namespace ipc
