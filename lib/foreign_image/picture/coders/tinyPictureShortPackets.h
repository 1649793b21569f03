// SPDX-License-Identifier: MIT
// Mixed packets of at most sixteen pixels, the bulk of photographs, decoded and encoded on x86
// processors. Included by tinyPictureOpsX86.h only; everything is in the including file's own
// namespace.
//
// Decoding such a line is bound by latency: the start of a packet is known only after the one
// before it has been examined, and whether that is a literal or a repeat is hard to predict. So
// both kinds take the same path without a branch, two packets at a time: a writer that merges all
// it can writes a repeat after every literal, and a repeat's size is known in advance, so that one
// wait serves both. Two packets are stored to the lines as one where an instruction set can, and a
// long literal among the short packets does not end the loop, because leaving it would be another
// misprediction.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

using Byte = std::uint8_t;
using Size = std::size_t;
using Word = std::uint64_t;

/// Maximum number of pixels of a short packet: the channel bytes of one vector.
constexpr Size kShort = 16;

constexpr Size kMaxLiteral = 128; ///< pixels of a literal

/// Selects without a branch; compilers would make one of `control < 128 ? literal : repeat`.
inline const Byte* byKind(Size control, const Byte* literal, const Byte* repeat) {
    __asm__("testb %b2, %b2\n\tcmovs %1, %0" : "+r"(literal) : "r"(repeat), "q"(control) : "cc");
    return literal;
}

/// The beginning of the packet after the short one at `at`.
template <int C>
inline const Byte* behindShort(const Byte* at, Size control) {
    return byKind(control, at + 1 + C + control * C, at + 1 + C);
}

/// True for the control byte of a packet of at most kShort pixels.
inline bool isShort(Size control) {
    return (control & 0x70) == 0 && control != 128;
}

/// Hides from the compiler that two values are equal. It would compute their common parts before a
/// branch, and run out of registers on the path that matters.
template <class T>
inline T opaque(T value) {
    __asm__("" : "+r"(value));
    return value;
}

/// The address `pixels` further on. Multiplies by three in two steps, because every round of the
/// loop waits for this.
template <int C>
inline const Byte* further(const Byte* from, Size pixels) {
    if constexpr (C == 3) {
        return opaque(from + pixels) + opaque(pixels + pixels);
    }
    return from + pixels * C;
}

/// Decodes packets of at most 16 pixels from `*from` on, two at a time, and the literals between
/// them. All lie completely before `end`, and the line has room for the bytes written past them.
/// Ops::spreadPair stores two packets to the lines, spreadShort one, spreadLong a literal of any
/// length; they may read kWindowSlack bytes after `end`. Moves `*from`, returns the new x.
///
/// A separate function, so that every variable of the loop has a register.
template <int C, class Ops>
[[gnu::noinline]] Size decodePairs(const Byte** from, const Byte* end, Byte* const* lines, Size x,
                                   Size width) {
    constexpr std::ptrdiff_t kLargest = 1 + kShort * C;
    constexpr std::ptrdiff_t kLargestLiteral = 1 + kMaxLiteral * C;
    constexpr std::ptrdiff_t kRepeat = 1 + C; // bytes of a packet
    const Byte* at = *from;
    Byte* to[C];
    for (int c = 0; c < C; ++c) {
        to[c] = lines[c];
    }
    while (end - at >= 2 * kLargest && x + 2 * kShort <= width) {
        const Size first = *at;
        if (!isShort(first)) [[unlikely]] {
            if (first >= 128 || end - at < kLargestLiteral || x + kMaxLiteral > width) {
                break;
            }
            const Size count = opaque(first) + 1;
            x = opaque(x);
            Ops::template spreadLong<C>(at + 1, count, to, x);
            x += count;
            at += 1 + count * C;
            continue;
        }
        // The next packet: after a literal one more repeat, after a repeat a packet of either kind.
        // All positions are relative to the end of two repeats.
        const Byte* const ahead = at + 2 * kRepeat;
        const Size other = at[kRepeat];
        const Byte* const behindRepeat = byKind(other, further<C>(ahead, other), ahead);
        const Byte* const behindLiteral = further<C>(ahead, first);
        const Byte* const middle = byKind(first, behindLiteral, ahead) - kRepeat;
        const Byte* const next = byKind(first, behindLiteral, behindRepeat);
        const Size second = *middle;
        if (!isShort(second) || (first | second) < 128) {
            const Size control = opaque(first);
            x = opaque(x);
            Ops::template spreadShort<C>(at + 1, control, to, x);
            x += (control & 127) + 1;
            at = middle;
            continue;
        }
        Ops::template spreadPair<C>(at + 1, first, second, to, x);
        x += (first & 127) + (second & 127) + 2;
        at = next;
    }
    *from = at;
    return x;
}

/// Decodes as decodePairs does, then packets of at most 16 pixels one at a time, which need less
/// room.
template <int C, class Ops>
inline Size decodeShortPackets(const Byte** from, const Byte* end, Byte* const* lines, Size x,
                               Size width) {
    constexpr std::ptrdiff_t kLargest = 1 + kShort * C;
    if (end - *from >= kLargest && isShort(**from)) { // avoids a call for every long run
        x = decodePairs<C, Ops>(from, end, lines, x, width);
    }
    const Byte* at = *from;
    while (end - at >= kLargest && x + kShort <= width && isShort(*at)) {
        const Size control = *at;
        Ops::template spreadShort<C>(at + 1, control, lines, x);
        x += (control & 127) + 1;
        at = behindShort<C>(at, control);
    }
    *from = at;
    return x;
}

/// Encodes repeats and short literals with the repeat after them, from pixel `*from` on, well
/// before the line's end. `pairs` comes from Ops::findPairs; `gather(x, to)` joins kShort pixels
/// and may set 64 bytes. Moves `*from`, returns the new end of the packets.
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
