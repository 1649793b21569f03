// SPDX-License-Identifier: MIT
// Shared by the vector forms of the coders: fills, and splitting and joining pixels sixteen at a
// time (SSSE3). Included by the x86 tinyPictureCoders*.cpp files only, each of which is compiled
// for its own instruction set: everything is in the file's own namespace, so that the linker cannot
// replace a function by one compiled for a newer processor.
#pragma once

#include "tinyPictureShortPackets.h"

#include <immintrin.h>

namespace {

using Vector = __m128i;

constexpr Size kLanes = 16;
static_assert(kShort == kLanes);

inline Vector load(const Byte* from) {
    return _mm_loadu_si128(reinterpret_cast<const Vector*>(from));
}
inline void store(Byte* to, Vector value) {
    _mm_storeu_si128(reinterpret_cast<Vector*>(to), value);
}

constexpr Byte kNoByte = 0x80; ///< in a shuffle mask: the result's byte is 0

/// Shuffle masks between pixels of `C` bytes and their channels, [channel][vector of the pixels].
template <int C>
struct Masks {
    /// Pixels to channel: byte i is of pixel i [0], or every byte is of pixel 0 [1].
    alignas(kLanes) Byte spread[2][C][C][kLanes];
    alignas(kLanes) Byte gather[C][C][kLanes]; ///< channel to pixels

    constexpr Masks() : spread(), gather() {
        for (int channel = 0; channel < C; ++channel) {
            for (int part = 0; part < C; ++part) {
                for (int i = 0; i < 16; ++i) {
                    const int from = i * C + channel - 16 * part;
                    const int to = 16 * part + i;
                    spread[0][channel][part][i] =
                        from >= 0 && from < 16 ? static_cast<Byte>(from) : kNoByte;
                    spread[1][channel][part][i] = part == 0 ? static_cast<Byte>(channel) : kNoByte;
                    gather[channel][part][i] =
                        to % C == channel ? static_cast<Byte>(to / C) : kNoByte;
                }
            }
        }
    }
};

template <int C>
constexpr Masks<C> kMasks;

/// Sixteen pixels of `C` bytes, split into `C` vectors.
template <int C>
inline void spread16(const Byte* from, Vector* channels) {
    for (int c = 0; c < C; ++c) {
        Vector sum = _mm_setzero_si128();
        for (Size part = 0; part < C; ++part) {
            sum = _mm_or_si128(sum, _mm_shuffle_epi8(load(from + kLanes * part),
                                                     load(kMasks<C>.spread[0][c][part])));
        }
        channels[c] = sum;
    }
}

/// The first pixels, as many as fit in one vector, split.
template <int C>
inline void spreadFew(const Byte* from, Vector* channels) {
    const Vector pixels = load(from);
    for (int c = 0; c < C; ++c) {
        channels[c] = _mm_shuffle_epi8(pixels, load(kMasks<C>.spread[0][c][0]));
    }
}

/// The operations with SSSE3. `Self` is the whole set, which may replace some of them.
template <class Self>
struct X86Ops {
    static void fill(Byte* to, Byte value, Size count, Size room) {
        if (room < count + kLanes) [[unlikely]] {
            std::memset(to, value, count);
            return;
        }
        const Vector all = _mm_set1_epi8(static_cast<char>(value));
        store(to, all);
        if (count > kLanes) {
            if (count > 16 * kLanes) {
                std::memset(to, value, count);
                return;
            }
            for (Size i = kLanes; i < count; i += kLanes) {
                store(to + i, all);
            }
        }
    }

    template <int C>
    static void spread(const Byte* from, Byte* const* lines, Size x, Size count, Size room) {
        Vector channels[C];
        Size done = 0;
        if (count <= kLanes / C && room >= kLanes) {
            spreadFew<C>(from, channels);
            for (int c = 0; c < C; ++c) {
                store(lines[c] + x, channels[c]);
            }
            return;
        }
        for (; done < count && room - done >= kLanes; done += kLanes) {
            spread16<C>(from + done * C, channels);
            for (int c = 0; c < C; ++c) {
                store(lines[c] + x + done, channels[c]);
            }
        }
        for (; done < count; ++done) {
            for (int c = 0; c < C; ++c) {
                lines[c][x + done] = from[done * C + static_cast<Size>(c)];
            }
        }
    }

    /// Splits the pixels of a short packet, or its one pixel sixteen times.
    template <int C>
    static void spreadShort(const Byte* pixels, Size control, Byte* const* lines, Size x) {
        Vector parts[C];
        for (Size part = 0; part < C; ++part) {
            parts[part] = load(pixels + kLanes * part);
        }
        const auto& masks = kMasks<C>.spread[control >> 7];
        for (int c = 0; c < C; ++c) {
            Vector sum = _mm_shuffle_epi8(parts[0], load(masks[c][0]));
            for (int part = 1; part < C; ++part) {
                sum = _mm_or_si128(sum, _mm_shuffle_epi8(parts[part], load(masks[c][part])));
            }
            store(lines[c] + x, sum);
        }
    }

    /// Splits the pixels of two consecutive short packets; those of the first begin at `pixels`.
    /// May set 32 bytes of a line.
    template <int C>
    static void spreadPair(const Byte* pixels, Size first, Size second, Byte* const* lines,
                           Size x) {
        const Byte* const behind = byKind(first, pixels + (first + 1) * C, pixels + C);
        Self::template spreadShort<C>(pixels, first, lines, x);
        Self::template spreadShort<C>(behind + 1, second, lines, x + (first & 127) + 1);
    }

    /// Splits a literal of any length. May set kMaxLiteral bytes of a line.
    template <int C>
    static void spreadLong(const Byte* pixels, Size count, Byte* const* lines, Size x) {
        for (Size done = 0; done < count; done += kShort) {
            Self::template spreadShort<C>(pixels + done * C, kShort - 1, lines, x + done);
        }
    }

    /// Joins sixteen pixels; may set 64 bytes.
    template <int C>
    static void gatherShort(const Byte* const* lines, Size x, Byte* to) {
        Vector channels[C];
        for (int c = 0; c < C; ++c) {
            channels[c] = load(lines[c] + x);
        }
        for (Size part = 0; part < C; ++part) {
            Vector sum = _mm_setzero_si128();
            for (int c = 0; c < C; ++c) {
                sum = _mm_or_si128(sum,
                                   _mm_shuffle_epi8(channels[c], load(kMasks<C>.gather[c][part])));
            }
            store(to + kLanes * part, sum);
        }
    }

    template <int C>
    static Size readShortPackets(const Byte** from, const Byte* end, Byte* const* lines, Size x,
                                 Size width) {
        if constexpr (C == 1) {
            return x; // single bytes need no splitting: plain copies and fills
        }
        return decodeShortPackets<C, Self>(from, end, lines, x, width);
    }

    template <int C>
    static Byte* writeShortPackets(const Byte* const* lines, Size* x, Size width, const Word* pairs,
                                   Byte* to) {
        return encodeShortPackets<C>(lines, x, width, pairs, to, [lines](Size from, Byte* pixels) {
            Self::template gatherShort<C>(lines, from, pixels);
        });
    }

    template <int C>
    static void gather(const Byte* const* lines, Size x, Size count, Size room, Byte* to) {
        Size done = 0;
        for (; done < count && room - done >= kLanes; done += kLanes) {
            gatherShort<C>(lines, x + done, to + done * C);
        }
        for (; done < count; ++done) {
            for (int c = 0; c < C; ++c) {
                to[done * C + static_cast<Size>(c)] = lines[c][x + done];
            }
        }
    }

    /// Sets the pairs from pixel `x` on one by one; later bits of the words are already 0.
    template <int C>
    static void findLastPairs(const Byte* const* lines, Size x, Size width, Word* pairs) {
        for (; x + 1 < width; ++x) {
            unsigned differ = 0;
            for (int c = 0; c < C; ++c) {
                differ |= static_cast<unsigned>(lines[c][x] ^ lines[c][x + 1]);
            }
            pairs[x / 64] |= Word{differ == 0} << (x % 64);
        }
    }
};

} // namespace
