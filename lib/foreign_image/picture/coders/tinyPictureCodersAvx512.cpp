// SPDX-License-Identifier: MIT
// The coders for x86 processors with AVX-512 and its byte permutations (VBMI, VBMI2).
#include "tinyPictureBlockPackets.h"
#include "tinyPictureCoderTable.h"
#include "tinyPictureOpsX86.h"

namespace {

using Wide = __m512i;

static_assert(kWindowSlack >= kMaxLiteral);

/// Source of each byte when sixteen pixels of `C` bytes are split into their channels, one after
/// the other, in 64 bytes.
template <int C>
struct Places {
    /// Pixels to channels: byte i is of pixel i [0], or every byte is of pixel 0 [1].
    alignas(64) Byte spread[2][4 * kLanes];
    alignas(64) Byte gather[4 * kLanes]; ///< channels to pixels

    constexpr Places() : spread(), gather() {
        for (int i = 0; i < C * 16; ++i) {
            const int channel = i / 16;
            spread[0][i] = static_cast<Byte>(i % 16 * C + channel);
            spread[1][i] = static_cast<Byte>(channel);
            gather[i] = static_cast<Byte>(i % C * 16 + i / C);
        }
    }
};

template <int C>
constexpr Places<C> kPlaces;

/// Source of each byte when a packet and the next one, of at most 16 pixels each and not both
/// literals, are split into their channels, 32 bytes for each. A byte after the two packets' pixels
/// may come from anywhere.
///
/// One flat array, because an index composed by shifts must not leave its array: 128 entries each,
/// first by kind (1: the first packet repeats, 2: the second one), then by the first one's pixels.
template <int C>
struct PairPlaces {
    static constexpr Size kPlaces = 128;
    alignas(64) Byte spread[kShort * 4 * kPlaces];

    constexpr PairPlaces() : spread() {
        Byte* places = spread;
        for (int pixels = 1; pixels <= 16; ++pixels) {
            for (int kinds = 0; kinds < 4; ++kinds, places += kPlaces) {
                const bool repeats[2] = {kinds % 2 == 1, kinds / 2 == 1};
                for (int i = 0; i < 32; ++i) {
                    const bool second = i >= pixels;
                    const int begin = !second ? 0 : (repeats[0] ? 1 : pixels) * C + 1;
                    const int pixel = repeats[second ? 1 : 0] ? 0 : second ? i - pixels : i;
                    for (int c = 0; c < C; ++c) {
                        places[c * 32 + i] = static_cast<Byte>(begin + pixel * C + c);
                    }
                }
            }
        }
    }
};

template <int C>
constexpr PairPlaces<C> kPairPlaces;

/// Positions of each channel's bytes in 64 pixels of `C` bytes.
template <int C>
struct FarPlaces {
    alignas(64) Byte spread[C][64];
    Word behind[C]; ///< bit i is set when byte i is in the second half of 256 bytes

    constexpr FarPlaces() : spread(), behind() {
        for (int channel = 0; channel < C; ++channel) {
            for (int i = 0; i < 64; ++i) {
                const int from = i * C + channel;
                spread[channel][i] = static_cast<Byte>(from);
                behind[channel] |= Word{from >= 128} << i;
            }
        }
    }
};

template <int C>
constexpr FarPlaces<C> kFarPlaces;

void storeHalf(Byte* to, __m256i value) {
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), value);
}

struct Avx512Ops : X86Ops<Avx512Ops> {
    template <int C>
    static void spreadShort(const Byte* pixels, Size control, Byte* const* lines, Size x) {
        const Wide channels = _mm512_permutexvar_epi8(
            _mm512_load_si512(kPlaces<C>.spread[control >> 7]), _mm512_loadu_si512(pixels));
        store(lines[0] + x, _mm512_castsi512_si128(channels));
        store(lines[1] + x, _mm512_extracti32x4_epi32(channels, 1));
        if constexpr (C > 2) {
            store(lines[2] + x, _mm512_extracti32x4_epi32(channels, 2));
        }
        if constexpr (C > 3) {
            store(lines[3] + x, _mm512_extracti32x4_epi32(channels, 3));
        }
    }

    template <int C>
    static void spreadPair(const Byte* pixels, Size first, Size second, Byte* const* lines,
                           Size x) {
        if constexpr (C == 4) { // two packets are more than a vector
            X86Ops<Avx512Ops>::spreadPair<C>(pixels, first, second, lines, x);
        } else {
            // Each bit is only shifted to its place.
            const Byte* const places =
                kPairPlaces<C>.spread + ((first & 15) * 512 + (second & 128) * 2 + (first & 128));
            const Wide packets = _mm512_loadu_si512(pixels);
            const Wide front = _mm512_permutexvar_epi8(_mm512_load_si512(places), packets);
            storeHalf(lines[0] + x, _mm512_castsi512_si256(front));
            storeHalf(lines[1] + x, _mm512_extracti64x4_epi64(front, 1));
            if constexpr (C > 2) {
                const Wide back = _mm512_permutexvar_epi8(_mm512_load_si512(places + 64), packets);
                storeHalf(lines[2] + x, _mm512_castsi512_si256(back));
            }
        }
    }

    static void fill(Byte* to, Byte value, Size count, Size room) {
        constexpr Size kFew = 512;
        if (count > kFew || room < count + 64) {
            std::memset(to, value, count);
            return;
        }
        const Wide all = _mm512_set1_epi8(static_cast<char>(value));
        _mm512_storeu_si512(to, all);
        for (Size i = 64; i < count; i += 64) {
            _mm512_storeu_si512(to + i, all);
        }
    }

    /// Sixty-four pixels to the lines.
    template <int C>
    static void put64(const Byte* pixels, Byte* const* lines, Size x) {
        Wide parts[C];
        for (Size part = 0; part < C; ++part) {
            parts[part] = _mm512_loadu_si512(pixels + 64 * part);
        }
        for (int c = 0; c < C; ++c) {
            Wide channel = parts[0];
            if constexpr (C > 1) {
                const Wide places = _mm512_load_si512(kFarPlaces<C>.spread[c]);
                channel = _mm512_permutex2var_epi8(parts[0], places, parts[1]);
                if constexpr (C > 2) {
                    channel = _mm512_mask_blend_epi8(
                        kFarPlaces<C>.behind[c], channel,
                        _mm512_permutex2var_epi8(parts[2], places, parts[C - 1]));
                }
            }
            _mm512_storeu_si512(lines[c] + x, channel);
        }
    }

    template <int C>
    static void spreadLong(const Byte* pixels, Size count, Byte* const* lines, Size x) {
        put64<C>(pixels, lines, x);
        if (count > 64) {
            put64<C>(pixels + Size{64} * C, lines, x + 64);
        }
    }

    template <int C>
    static void spread(const Byte* from, Byte* const* lines, Size x, Size count, Size room) {
        Size done = 0;
        if constexpr (C == 1) {
            if (room >= kMaxLiteral) { // any literal, whatever its length
                put64<1>(from, lines, x);
                put64<1>(from + 64, lines, x + 64);
                done = kMaxLiteral;
            }
        }
        for (; done + 64 <= count; done += 64) {
            put64<C>(from + done * C, lines, x + done);
        }
        if constexpr (C > 1) {
            for (; done < count && room - done >= kLanes; done += kLanes) {
                spreadShort<C>(from + done * C, kShort - 1, lines, x + done);
            }
        }
        if (done < count) {
            X86Ops<Avx512Ops>::spread<C>(from + done * C, lines, x + done, count - done,
                                         room - done);
        }
    }

    template <int C>
    static void gatherShort(const Byte* const* lines, Size x, Byte* to) {
        Wide channels = _mm512_castsi128_si512(load(lines[0] + x));
        if constexpr (C > 1) {
            channels = _mm512_inserti32x4(channels, load(lines[1] + x), 1);
        }
        if constexpr (C > 2) {
            channels = _mm512_inserti32x4(channels, load(lines[2] + x), 2);
        }
        if constexpr (C > 3) {
            channels = _mm512_inserti32x4(channels, load(lines[3] + x), 3);
        }
        _mm512_storeu_si512(
            to, _mm512_permutexvar_epi8(_mm512_load_si512(kPlaces<C>.gather), channels));
    }

    template <int C>
    static Byte* writeShortPackets(const Byte* const* lines, Size* x, Size width, const Word* pairs,
                                   Byte* to) {
        if constexpr (C == 4) { // a header and four channels are not a power of two
            return X86Ops<Avx512Ops>::writeShortPackets<C>(lines, x, width, pairs, to);
        } else {
            return encodeBlocks<C>(lines, x, width, pairs, to);
        }
    }

    /// Bit i is set when pixel `x` + i equals the one after it, for the pixels in `wanted`.
    template <int C>
    static Word lastPairs(const Byte* const* lines, Size x, Word wanted) {
        for (int c = 0; c < C; ++c) {
            const Byte* at = lines[c] + x;
            wanted = _mm512_mask_cmpeq_epi8_mask(wanted, _mm512_maskz_loadu_epi8(wanted, at),
                                                 _mm512_maskz_loadu_epi8(wanted, at + 1));
        }
        return wanted;
    }

    template <int C>
    static void findPairs(const Byte* const* lines, Size width, Word* pairs) {
        Size x = 0;
        for (; x + 64 < width; x += 64) {
            Word same = ~Word{0};
            for (int c = 0; c < C; ++c) {
                const Byte* at = lines[c] + x;
                same = _mm512_mask_cmpeq_epi8_mask(same, _mm512_loadu_si512(at),
                                                   _mm512_loadu_si512(at + 1));
            }
            *pairs++ = same;
        }
        std::memset(pairs, 0, (pairWords(width) - x / 64) * sizeof *pairs);
        if (x < width) { // the last pixel has no neighbour
            *pairs = lastPairs<C>(lines, x, (Word{1} << (width - 1 - x)) - 1);
        }
    }
};

} // namespace

const CoderTable kAvx512Coders = coderTable<Avx512Ops>("avx512");
