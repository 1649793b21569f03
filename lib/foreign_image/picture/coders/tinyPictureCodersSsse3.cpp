// SPDX-License-Identifier: MIT
// The coders for x86 processors with SSSE3.
#include "tinyPictureCoderTable.h"
#include "tinyPictureOpsX86.h"

namespace {

struct Ssse3Ops : X86Ops<Ssse3Ops> {
    /// Bit i is set when pixel `x` + i equals the one after it, for sixteen pixels.
    template <int C>
    static Word pairs16(const Byte* const* lines, Size x) {
        Vector same = _mm_set1_epi8(-1);
        for (int c = 0; c < C; ++c) {
            const Byte* at = lines[c] + x;
            same = _mm_and_si128(same, _mm_cmpeq_epi8(load(at), load(at + 1)));
        }
        return static_cast<unsigned>(_mm_movemask_epi8(same));
    }

    template <int C>
    static void findPairs(const Byte* const* lines, Size width, Word* pairs) {
        Size x = 0;
        for (; x + 64 < width; x += 64) {
            *pairs++ = pairs16<C>(lines, x) | pairs16<C>(lines, x + 16) << 16 |
                       pairs16<C>(lines, x + 32) << 32 | pairs16<C>(lines, x + 48) << 48;
        }
        std::memset(pairs, 0, (pairWords(width) - x / 64) * sizeof *pairs);
        pairs -= x / 64;
        for (; x + 16 < width; x += 16) {
            pairs[x / 64] |= pairs16<C>(lines, x) << (x % 64);
        }
        findLastPairs<C>(lines, x, width, pairs);
    }
};

} // namespace

const CoderTable kSsse3Coders = coderTable<Ssse3Ops>("ssse3");
