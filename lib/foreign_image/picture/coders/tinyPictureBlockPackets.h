// SPDX-License-Identifier: MIT
// Mixed packets encoded for 64 pixels at a time. Included by the coders for AVX-512 only.
//
// The encoded bytes are a selection, in the order of the pixels: a header for every pixel that
// opens a packet, and the channels of every pixel of a literal and of the first pixel of a run. A
// few operations on 64 bits find these pixels from the pairs; a header is the distance to the next
// packet. So all candidate bytes are placed side by side, the needed ones are compressed together,
// and no branch depends on the next packet.
#pragma once

#include "tinyPictureOpsX86.h"

namespace {

/// How the pixels of a block are encoded, one bit for each.
struct BlockPlan {
    Word opens;  ///< a packet begins here, or right after the line
    Word runs;   ///< a run begins here
    Word writes; ///< the channels are written
    Size end;    ///< pixels in whole packets; 0 when there is none

    /// For the `left` pixels from the beginning of `equal`: bit i is set when pixel i equals the
    /// next.
    BlockPlan(Word equal, Size left) {
        const Word inRun = equal | equal << 1;
        runs = equal & ~(equal << 1);
        opens = runs | (~inRun & (inRun << 1 | 1));
        if (left < 64) {
            opens = (opens & ((Word{1} << left) - 1)) | Word{1} << left;
        }
        end = 63 - static_cast<Size>(__builtin_clzll(opens));
        writes = (runs | ~inRun) & ((Word{1} << end) - 1);
    }
};

/// The numbers from 0 to 63.
struct BlockNumbers {
    alignas(64) Byte numbers[64];

    constexpr BlockNumbers() : numbers() {
        for (int i = 0; i < 64; ++i) {
            numbers[i] = static_cast<Byte>(i);
        }
    }
};

constexpr BlockNumbers kBlockNumbers;

/// The header of each packet in the block, at the pixel that opens it.
inline __m512i blockHeaders(const BlockPlan& plan) {
    const __m512i numbers = _mm512_load_si512(kBlockNumbers.numbers);
    const __m512i here = _mm512_maskz_compress_epi8(plan.opens, numbers);
    const __m512i next = _mm512_maskz_compress_epi8(plan.opens & (plan.opens - 1), numbers);
    const __m512i less = _mm512_sub_epi8(_mm512_sub_epi8(next, here), _mm512_set1_epi8(1));
    const __m512i headers = _mm512_maskz_expand_epi8(plan.opens, less);
    return _mm512_mask_add_epi8(headers, plan.runs, headers, _mm512_set1_epi8(-128));
}

/// Appends the bytes of `mixed` that `kept` has a bit for.
inline Byte* append(Byte* to, __m512i mixed, Word kept) {
    _mm512_storeu_si512(to, _mm512_maskz_compress_epi8(kept, mixed));
    return to + __builtin_popcountll(kept);
}

/// Header and channel of 64 pixels, side by side: two vectors.
inline Byte* appendBlock(Byte* to, const BlockPlan& plan, __m512i headers,
                         const __m512i (&lines)[1]) {
    const __m512i order = _mm512_setr_epi64(0, 4, 1, 5, 2, 6, 3, 7); // compensates unpacking
    const __m512i head = _mm512_permutexvar_epi64(order, headers);
    const __m512i line = _mm512_permutexvar_epi64(order, lines[0]);
    const __m512i mixed[] = {_mm512_unpacklo_epi8(head, line), _mm512_unpackhi_epi8(head, line)};
    const Word packets = plan.opens & ((Word{1} << plan.end) - 1);
    for (int i = 0; i < 2; ++i) {
        to = append(to, mixed[i],
                    _pdep_u64(packets >> 32 * i, 0x5555555555555555) |
                        _pdep_u64(plan.writes >> 32 * i, 0xAAAAAAAAAAAAAAAA));
    }
    return to;
}

/// The same for two or three channels, in four bytes a pixel: four vectors.
template <int C>
inline Byte* appendBlock(Byte* to, const BlockPlan& plan, __m512i headers,
                         const __m512i (&lines)[C]) {
    static_assert(C == 2 || C == 3);
    const __m512i order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
    const auto ordered = [order](__m512i line) { return _mm512_permutexvar_epi32(order, line); };
    const __m512i head = ordered(headers);
    const __m512i first = ordered(lines[0]);
    const __m512i second = ordered(lines[1]);
    const __m512i third = C > 2 ? ordered(lines[C - 1]) : _mm512_setzero_si512();
    const __m512i low[] = {_mm512_unpacklo_epi8(head, first), _mm512_unpacklo_epi8(second, third)};
    const __m512i high[] = {_mm512_unpackhi_epi8(head, first), _mm512_unpackhi_epi8(second, third)};
    const __m512i mixed[] = {
        _mm512_unpacklo_epi16(low[0], low[1]), _mm512_unpackhi_epi16(low[0], low[1]),
        _mm512_unpacklo_epi16(high[0], high[1]), _mm512_unpackhi_epi16(high[0], high[1])};
    const Word packets = plan.opens & ((Word{1} << plan.end) - 1);
    constexpr Word kChannels = C == 3 ? 0xE : 0x6;
    for (int i = 0; i < 4; ++i) {
        const Word pixels = _pdep_u64(plan.writes >> 16 * i, 0x1111111111111111);
        to = append(to, mixed[i],
                    _pdep_u64(packets >> 16 * i, 0x1111111111111111) | pixels * kChannels);
    }
    return to;
}

/// Encodes from pixel `*from` to the line's end, or to a packet of 64 pixels or more. Moves
/// `*from`, returns the new end of the packets.
template <int C>
inline Byte* encodeBlocks(const Byte* const* lines, Size* from, Size width, const Word* pairs,
                          Byte* to) {
    Size x = *from;
    while (x < width) {
        const Size left = width - x < 64 ? width - x : 64;
        const Word equal = pairs[x / 64] >> (x % 64) | pairs[x / 64 + 1] << 1 << (63 - x % 64);
        const BlockPlan plan(equal, left);
        if (plan.end == 0) {
            break;
        }
        const __mmask64 there = ~Word{0} >> (64 - left);
        __m512i pixels[C];
        for (int c = 0; c < C; ++c) {
            pixels[c] = _mm512_maskz_loadu_epi8(there, lines[c] + x);
        }
        to = appendBlock(to, plan, blockHeaders(plan), pixels);
        x += plan.end;
    }
    *from = x;
    return to;
}

} // namespace
