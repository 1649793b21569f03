// SPDX-License-Identifier: MIT
// The three line encoders, written once over the few operations (`Ops`) that differ between
// instruction sets. Included by the tinyPictureCoders*.cpp files only, like tinyPictureDecode.h.
//
// Ops::findPairs<C>(lines, width, pairs)   sets bit x of `pairs` when pixel x equals pixel x + 1,
//                                          for x from 0 to width - 2; all later bits, to the end of
//                                          the last of pairWords(width) words, are 0
// Ops::gather<C>(lines, x, count, room, to)
//                                          joins `count` pixels; may read up to `room`
//                                          bytes of each line from x on, and set up to 64 bytes
//                                          past its end
// Ops::writeShortPackets<C>(lines, &x, width, pairs, to)
//                                          encodes any number of mixed packets from x on, with
//                                          the bytes that this file would write; moves x and
//                                          returns the end of the packets; may set 64 bytes more
#pragma once

#include "tinyPictureCoders.h"

template <class Ops, int C>
struct LineEncoder {
    using Size = std::size_t;
    using Byte = std::uint8_t;
    using Word = std::uint64_t;

    static constexpr Size kMaxLiteral = 128;
    static constexpr Size kMaxShortRepeat = 127; ///< 128 would be possible, but is never written
    static constexpr Size kMaxRepeat = 65535;
    static constexpr Size kMaxPureRun = 255;

    static Byte* pixel(const Byte* const* lines, Size x, Byte* to) {
        for (int c = 0; c < C; ++c) {
            *to++ = lines[c][x];
        }
        return to;
    }

    /// The first pixel from `x` on that differs from its right neighbour: the last of a run.
    static Size runEnd(const Word* pairs, Size x) {
        Size word = x / 64;
        Word bits = ~pairs[word] >> (x % 64);
        if (bits != 0) {
            return x + static_cast<Size>(__builtin_ctzll(bits));
        }
        do {
            bits = ~pairs[++word];
        } while (bits == 0);
        return word * 64 + static_cast<Size>(__builtin_ctzll(bits));
    }

    /// The first pixel from `x` on, but before `limit`, that equals its right neighbour; else
    /// `limit`.
    static Size nextPair(const Word* pairs, Size x, Size limit) {
        Size word = x / 64;
        Word bits = pairs[word] >> (x % 64) << (x % 64);
        while (bits == 0) {
            if (++word * 64 >= limit) {
                return limit;
            }
            bits = pairs[word];
        }
        const Size found = word * 64 + static_cast<Size>(__builtin_ctzll(bits));
        return found < limit ? found : limit;
    }

    static Byte* channelsWriteRaw(int lineWidth, const Byte* const* lines, Byte* to, Word*) {
        const auto width = static_cast<Size>(lineWidth);
        Ops::template gather<C>(lines, 0, width, width, to);
        return to + width * C;
    }

    static Byte* channelsWritePure(int lineWidth, const Byte* const* lines, Byte* to, Word* pairs) {
        const auto width = static_cast<Size>(lineWidth);
        Ops::template findPairs<C>(lines, width, pairs);
        for (Size x = 0; x < width;) {
            const Size wholeRun = runEnd(pairs, x) + 1 - x;
            const bool full = wholeRun >= kMaxPureRun;
            const Size run = full ? kMaxPureRun : wholeRun;
            *to++ = static_cast<Byte>(run);
            to = pixel(lines, x, to);
            // Kept: The pure encoder drops the pixel that ends a run.
            // A reader would expect it to open the next run; the pixel after it does. Such a line
            // is too short.
            x += run + (full ? 0 : 1);
        }
        return to;
    }

    static Byte* repeat(const Byte* const* lines, Size x, Size count, Byte* to) {
        if (count <= kMaxShortRepeat) {
            *to++ = static_cast<Byte>(count + 127);
        } else {
            *to++ = 128;
            *to++ = static_cast<Byte>(count >> 8);
            *to++ = static_cast<Byte>(count);
        }
        return pixel(lines, x, to);
    }

    /// A run of two or more equal pixels becomes a repeat. All other pixels become literals, which
    /// end before the next such run or with their 128th pixel: a run that begins with that pixel is
    /// then found only from its second pixel on.
    static Byte* channelsWriteMixed(int lineWidth, const Byte* const* lines, Byte* to,
                                    Word* pairs) {
        const auto width = static_cast<Size>(lineWidth);
        Ops::template findPairs<C>(lines, width, pairs);
        for (Size x = 0; x < width;) {
            to = Ops::template writeShortPackets<C>(lines, &x, width, pairs, to);
            if (x == width) {
                break;
            }
            Size count = runEnd(pairs, x) + 1 - x;
            if (count > 1) {
                count = count < kMaxRepeat ? count : kMaxRepeat;
                to = repeat(lines, x, count, to);
            } else {
                const Size room = width - x;
                const Size most = room < kMaxLiteral ? room : kMaxLiteral;
                count = nextPair(pairs, x, x + kMaxLiteral - 1) - x;
                count = count == kMaxLiteral - 1 ? most : count;
                *to++ = static_cast<Byte>(count - 1);
                Ops::template gather<C>(lines, x, count, room, to);
                to += count * C;
            }
            x += count;
        }
        return to;
    }
};
