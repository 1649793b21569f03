// SPDX-License-Identifier: MIT
// The three line decoders, written once over the few operations (`Ops`) that differ between
// instruction sets. Included by the tinyPictureCoders*.cpp files only, each of which compiles them
// for its own Ops; everything here depends on Ops so that no two of them share a function.
//
// Ops::fill(to, value, count, room)      sets `count` bytes, may set up to `room`
// Ops::spread<C>(from, lines, x, count, room)
//                                        splits `count` pixels to lines[c] + x; may set up to
//                                        `room` bytes there and read kWindowSlack extra bytes
// Ops::readShortPackets<C>(at, end, lines, x, width)
//                                        decodes mixed packets from `*at` on that lie completely
//                                        before `end` and in the line; moves `*at`, returns the
//                                        new x
// Bytes written past a packet are overwritten by the next one.
#pragma once

#include "tinyPictureCoders.h"

#include <cstring>

template <class Ops, int C>
struct LineDecoder {
    using Size = std::size_t;
    using Byte = std::uint8_t;

    static constexpr Size kMaxLiteral = 128;
    static constexpr Size kMaxPacket = 1 + kMaxLiteral * C;

    /// Zeroes the lines from pixel `x` on: missing pixels read as zero.
    static bool cut(Byte* const* lines, Size x, Size width) {
        for (int c = 0; c < C; ++c) {
            std::memset(lines[c] + x, 0, width - x);
        }
        return false;
    }

    static void spreadAll(const Byte* from, Byte* const* lines, Size x, Size count, Size room) {
        Ops::template spread<C>(from, lines, x, count, room);
    }

    static void fillAll(const Byte* pixel, Byte* const* lines, Size x, Size count, Size room) {
        for (int c = 0; c < C; ++c) {
            Ops::fill(lines[c] + x, pixel[c], count, room);
        }
    }

    static bool channelsReadRaw(StreamWindow* in, int lineWidth, Byte* const* lines) {
        const auto width = static_cast<Size>(lineWidth);
        for (Size x = 0; x < width;) {
            const Size wanted = (width - x) * C < kMinWindow ? width - x : kMinWindow / C;
            const Size pixels = windowFill(in, wanted * C) / C;
            const Size count = pixels < width - x ? pixels : width - x;
            spreadAll(in->at, lines, x, count, width - x);
            in->at += count * C;
            x += count;
            if (count < wanted) {
                in->at = in->end;
                return cut(lines, x, width);
            }
        }
        return true;
    }

    static bool channelsReadPure(StreamWindow* in, int lineWidth, Byte* const* lines) {
        const auto width = static_cast<Size>(lineWidth);
        for (Size x = 0; x < width;) {
            if (windowFill(in, 1 + C) < 1 + C) {
                in->at = in->end;
                return cut(lines, x, width);
            }
            // Kept: A pure run longer than the rest of its line ends with the line.
            // A reader would expect it to count as damage, as in the mixed encoding, or to continue
            // in the next line.
            const Size run = in->at[0];
            const Size count = run < width - x ? run : width - x;
            fillAll(in->at + 1, lines, x, count, width - x);
            in->at += 1 + C;
            x += count;
        }
        return true;
    }

    /// Bytes of the mixed packet at `at`, of which at least one byte can be read.
    static Size mixedPacketSize(const Byte* at) {
        return *at < 128 ? 1 + (Size{*at} + 1) * C : Size{*at == 128 ? 3U : 1U} + C;
    }

    /// The file ends inside this packet: its complete pixels count, the rest of the line is
    /// missing.
    static bool mixedCut(StreamWindow* in, Byte* const* lines, Size x, Size width) {
        const auto left = static_cast<Size>(in->end - in->at);
        const bool literal = left > 0 && *in->at < 128;
        if (literal && Size{*in->at} + 1 > width - x) {
            return mixedOverlong(in, lines, x, width);
        }
        const Size count = literal ? (left - 1) / C : 0;
        if (count > 0) {
            spreadAll(in->at + 1, lines, x, count, width - x);
        }
        in->at = in->end;
        return cut(lines, x + count, width);
    }

    static bool mixedOverlong(StreamWindow* in, Byte* const* lines, Size x, Size width) {
        // Kept: A mixed packet longer than the rest of its line ends the whole picture.
        // A reader would expect the packet to be cut and the next line to be tried. Instead the
        // stream moves to the end of the file, so that this line and all later ones read as zero:
        // lines after a broken one cannot be located.
        windowSeekToEnd(in);
        return cut(lines, x, width);
    }

    static bool channelsReadMixed(StreamWindow* in, int lineWidth, Byte* const* lines) {
        const auto width = static_cast<Size>(lineWidth);
        Byte* to[C];
        for (int c = 0; c < C; ++c) {
            to[c] = lines[c];
        }
        const Byte* at = in->at;
        for (Size x = 0; x < width;) {
            x = Ops::template readShortPackets<C>(&at, in->end, to, x, width);
            if (x == width) {
                break;
            }
            if (static_cast<Size>(in->end - at) < kMaxPacket) [[unlikely]] {
                in->at = at;
                if (windowFill(in, in->exact ? 1 : kMaxPacket) == 0 ||
                    windowFill(in, mixedPacketSize(in->at)) < mixedPacketSize(in->at)) {
                    return mixedCut(in, to, x, width);
                }
                at = in->at;
            }
            const Size control = *at++;
            const Size room = width - x;
            Size count = control + 1;
            if (control < 128) {
                if (count > room) {
                    return mixedOverlong(in, to, x, width);
                }
                spreadAll(at, to, x, count, room);
                at += count * C;
            } else {
                count = control - 127;
                if (control == 128) {
                    count = Size{at[0]} << 8 | at[1];
                    at += 2;
                }
                if (count > room) {
                    return mixedOverlong(in, to, x, width);
                }
                fillAll(at, to, x, count, room);
                at += C;
            }
            x += count;
        }
        in->at = at;
        return true;
    }
};
