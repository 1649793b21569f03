// SPDX-License-Identifier: MIT
// The coders in plain C++: the reference for the vector forms, and the form for other processors.
#include "tinyPictureCoderTable.h"

#include <cstring>

namespace {

using Byte = std::uint8_t;
using Size = std::size_t;
using Word = std::uint64_t;

constexpr Word kEachByte = 0x0101010101010101;
constexpr Word kLowBits = 0x7F7F7F7F7F7F7F7F;

/// Eight bytes with the first in the lowest place (compilers make one load of this).
Word load(const Byte* from) {
    Word word = 0;
    for (unsigned i = 0; i < 8; ++i) {
        word |= Word{from[i]} << (8 * i);
    }
    return word;
}

/// Bit i is set when byte i of `word` is zero.
Word zeroBytes(Word word) {
    const Word high = ~(((word & kLowBits) + kLowBits) | word | kLowBits);
    return ((high >> 7) * 0x0102040810204080) >> 56;
}

struct PortableOps {
    static void fill(Byte* to, Byte value, Size count, Size room) {
        if (count <= 16 && room >= 16) {
            const Word word = value * kEachByte;
            std::memcpy(to, &word, sizeof word);
            std::memcpy(to + 8, &word, sizeof word);
        } else {
            std::memset(to, value, count);
        }
    }

    template <int C>
    static void spread(const Byte* __restrict from, Byte* const* lines, Size x, Size count,
                       Size room) {
        if constexpr (C == 1) {
            if (count <= 16 && room >= 16) {
                std::memcpy(lines[0] + x, from, 16);
            } else {
                std::memcpy(lines[0] + x, from, count);
            }
        } else {
            for (int c = 0; c < C; ++c) {
                Byte* __restrict to = lines[c] + x;
                for (Size i = 0; i < count; ++i) {
                    to[i] = from[i * C + static_cast<Size>(c)];
                }
            }
        }
    }

    template <int C>
    static Size readShortPackets(const Byte**, const Byte*, Byte* const*, Size x, Size) {
        return x;
    }

    template <int C>
    static Byte* writeShortPackets(const Byte* const*, Size*, Size, const Word*, Byte* to) {
        return to;
    }

    template <int C>
    static void gather(const Byte* const* lines, Size x, Size count, Size, Byte* __restrict to) {
        if constexpr (C == 1) {
            std::memcpy(to, lines[0] + x, count);
        } else {
            for (int c = 0; c < C; ++c) {
                const Byte* __restrict from = lines[c] + x;
                for (Size i = 0; i < count; ++i) {
                    to[i * C + static_cast<Size>(c)] = from[i];
                }
            }
        }
    }

    template <int C>
    static void findPairs(const Byte* const* lines, Size width, Word* pairs) {
        std::memset(pairs, 0, pairWords(width) * sizeof *pairs);
        Size x = 0;
        for (; x + 8 < width; x += 8) {
            Word differ = 0;
            for (int c = 0; c < C; ++c) {
                differ |= load(lines[c] + x) ^ load(lines[c] + x + 1);
            }
            pairs[x / 64] |= zeroBytes(differ) << (x % 64);
        }
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

const CoderTable kPortableCoders = coderTable<PortableOps>("portable");
