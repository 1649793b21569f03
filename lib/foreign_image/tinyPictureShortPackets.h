// SPDX-License-Identifier: MIT
// Mixed packets of at most sixteen pixels, of which photographs are made, decoded and encoded on
// x86 processors. Included by tinyPictureOpsX86.h only; everything is in the including file's own
// namespace.
//
// What decoding such a line costs is waiting: where a packet begins is known only when the one
// before it has been looked at, and whether that is a literal or a repeat is what a processor
// guesses worst. So both kinds go one way without a branch, and two packets at a time: a writer
// that merges what it can puts a repeat behind every literal, and a repeat's size is known
// beforehand, so that one wait serves both.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

using Byte = std::uint8_t;
using Size = std::size_t;
using Word = std::uint64_t;

/// Most pixels of a short packet: as many channel bytes as one vector has.
constexpr Size kShort = 16;

/// Chooses without a branch, which compilers would make of `control < 128 ? literal : repeat`.
inline const Byte* byKind(Size control, const Byte* literal, const Byte* repeat) {
    __asm__("testb %b2, %b2\n\tcmovs %1, %0" : "+r"(literal) : "r"(repeat), "q"(control) : "cc");
    return literal;
}

/// Where the packet after the short one at `at` begins.
template <int C>
inline const Byte* behindShort(const Byte* at, Size control) {
    return byKind(control, at + 1 + C + control * C, at + 1 + C);
}

/// True for the control byte of a packet of at most kShort pixels.
inline bool isShort(Size control) {
    return (control & 0x70) == 0 && control != 128;
}

/// Decodes from `*from` on only packets that are short, lie whole before `end` and leave room for a
/// vector in the line. `put(pixels, control, x)` puts the pixels of one to the lines and may read
/// kWindowSlack bytes. Moves `*from`, returns the new x.
template <int C, class Put>
inline Size decodeShortPackets(const Byte** from, const Byte* end, Size x, Size width, Put put) {
    constexpr std::ptrdiff_t kLargest = 1 + kShort * C;
    constexpr Size kRepeat = 1 + C; // bytes of a packet
    const Byte* at = *from;
    while (end - at >= 2 * kLargest && x + 2 * kShort <= width) {
        const Size first = *at;
        if (!isShort(first)) {
            break;
        }
        const Byte* const middle = behindShort<C>(at, first);
        // What follows: behind a literal one more repeat, behind a repeat a packet of either kind.
        const Byte* const behindRepeat = behindShort<C>(at + kRepeat, at[kRepeat]);
        const Byte* const next = byKind(first, at + 2 * kRepeat + first * C, behindRepeat);
        const Size second = *middle;
        if (!isShort(second) || (first | second) < 128) {
            break;
        }
        put(at + 1, first, x);
        x += (first & 127) + 1;
        put(middle + 1, second, x);
        x += (second & 127) + 1;
        at = next;
    }
    while (end - at >= kLargest && x + kShort <= width && isShort(*at)) {
        const Size control = *at;
        put(at + 1, control, x);
        x += (control & 127) + 1;
        at = behindShort<C>(at, control);
    }
    *from = at;
    return x;
}

/// Encodes from pixel `*from` on only literals that are short, each with the repeat behind it, and
/// repeats, well before the line's end. `pairs` is as Ops::findPairs sets it; `gather(x, to)` puts
/// together kShort pixels and may set 64 bytes. Moves `*from`, returns the new end of the packets.
template <int C, class Gather>
inline Byte* encodeShortPackets(const Byte* const* lines, Size* from, Size width, const Word* pairs,
                                Byte* to, Gather gather) {
    constexpr Size kKnown = 57; // pairs in a word that begins with any bit of a byte
    constexpr Word kBeyond = Word{1} << kKnown;
    const auto* const bits = reinterpret_cast<const Byte*>(pairs);
    Size x = *from;
    while (x + 64 <= width) {
        Word here = 0;
        std::memcpy(&here, bits + x / 8, sizeof here);
        here >>= x % 8;
        const auto literal = static_cast<Size>(__builtin_ctzll(here | kBeyond));
        const auto equal = static_cast<Size>(__builtin_ctzll(~(here >> literal) | kBeyond));
        if (literal > kShort || literal + equal >= kKnown) {
            break;
        }
        *to = static_cast<Byte>(literal - 1);
        gather(x, to + 1);
        to += literal > 0 ? 1 + literal * C : 0;
        x += literal;
        *to++ = static_cast<Byte>(equal + 128);
        for (int c = 0; c < C; ++c) {
            *to++ = lines[c][x];
        }
        x += equal + 1;
    }
    *from = x;
    return to;
}

} // namespace
