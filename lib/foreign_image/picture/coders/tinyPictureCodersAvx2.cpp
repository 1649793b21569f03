// SPDX-License-Identifier: MIT
// The coders for x86 processors with AVX2 and BMI.
#include "tinyPictureCoderTable.h"
#include "tinyPictureOpsX86.h"

namespace {

struct Avx2Ops : X86Ops<Avx2Ops> {
    using Wide = __m256i;

    static Wide loadWide(const Byte* from) {
        return _mm256_loadu_si256(reinterpret_cast<const Wide*>(from));
    }

    /// Bit i is set when pixel `x` + i equals the one after it, for 32 pixels.
    template <int C>
    static Word pairs32(const Byte* const* lines, Size x) {
        Wide same = _mm256_set1_epi8(-1);
        for (int c = 0; c < C; ++c) {
            const Byte* at = lines[c] + x;
            same = _mm256_and_si256(same, _mm256_cmpeq_epi8(loadWide(at), loadWide(at + 1)));
        }
        return static_cast<unsigned>(_mm256_movemask_epi8(same));
    }

    template <int C>
    static void findPairs(const Byte* const* lines, Size width, Word* pairs) {
        Size x = 0;
        for (; x + 64 < width; x += 64) {
            *pairs++ = pairs32<C>(lines, x) | pairs32<C>(lines, x + 32) << 32;
        }
        std::memset(pairs, 0, (pairWords(width) - x / 64) * sizeof *pairs);
        pairs -= x / 64;
        if (x + 32 < width) {
            pairs[x / 64] |= pairs32<C>(lines, x);
            x += 32;
        }
        findLastPairs<C>(lines, x, width, pairs);
    }
};

} // namespace

const CoderTable kAvx2Coders = coderTable<Avx2Ops>("avx2");
