// SPDX-License-Identifier: MIT
#include "tinyTagCode.h"

#include "base/byteOrder.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

enum Kind : unsigned { kLiteral = 0, kStream = 1, kZeros = 2, kOnes = 3 };

/// Sets the pixels that are 1 in `bits`, top bit first, among the `count` (up to 16) from `x` on.
void setPixels(std::uint8_t* row, int x, unsigned bits, int count) {
    const unsigned kept = bits & (0xFFFFU << (16 - count));
    const unsigned shifted = (kept << 8) >> (x % 8);
    std::uint8_t* at = row + x / 8;
    at[0] = static_cast<std::uint8_t>(at[0] | (shifted >> 16));
    at[1] = static_cast<std::uint8_t>(at[1] | (shifted >> 8));
    at[2] = static_cast<std::uint8_t>(at[2] | shifted);
}

void setRun(std::uint8_t* row, int x, int count) {
    const int head = std::min(count, (8 - x % 8) % 8);
    setPixels(row, x, 0xFFFF, head);
    const int bytes = (count - head) / 8;
    std::memset(row + (x + head) / 8, 0xFF, static_cast<std::size_t>(bytes));
    const int rest = count - head - 8 * bytes;
    setPixels(row, x + head + 8 * bytes, 0xFFFF, rest);
}

/// Reads the words of a stream of `count` pixels, of which `room` fit the row.
bool readStream(std::FILE* stream, std::uint8_t* row, int x, int count, int room) {
    for (int done = 0; done < count; done += 16) {
        unsigned word = 0;
        if (!tagReadWord(stream, &word)) {
            return false;
        }
        if (done < room) {
            setPixels(row, x + done, word, std::min(16, std::min(count, room) - done));
        }
    }
    return true;
}

/// Sixteen pixels from `x` on, the first one in the top bit. Rows have bytes to spare for those
/// after the last pixel.
unsigned sixteenPixels(const std::uint8_t* row, int x) {
    const std::uint8_t* const at = row + x / 8;
    const unsigned all = unsigned{at[0]} << 16 | unsigned{at[1]} << 8 | at[2];
    return (all << (x % 8) >> 8) & 0xFFFFU;
}

/// `count` (up to 14) pixels from `x` on, as a literal word.
unsigned literalWord(const std::uint8_t* row, int x, int count) {
    const unsigned kept = 0x3FFFU << (kTagLiteralPixels - count);
    return sixteenPixels(row, x) >> (16 - kTagLiteralPixels) & kept;
}

/// Length of the run of pixels that are 1, or 0, from `x` on, eight whole bytes at a time where
/// possible.
int runLength(const std::uint8_t* row, int x, int remaining, bool ones) {
    const std::uint64_t all = ones ? ~std::uint64_t{0} : 0;
    int run = 0;
    while (run < remaining) {
        const auto others = static_cast<std::uint16_t>(sixteenPixels(row, x + run) ^ all);
        run += std::countl_zero(others);
        if (others != 0) {
            break;
        }
        run -= (x + run) % 8;
        while (remaining - run >= 64 && base::loadLe64(row + (x + run) / 8) == all) {
            run += 64;
        }
    }
    return std::min(run, remaining);
}

/// The pixels that a word means.
int pixelsOf(unsigned word) {
    return word >> 14 == kLiteral ? kTagLiteralPixels : static_cast<int>(word & 0x3FFF);
}

struct Code {
    unsigned word;
    int pixels;
};

/// The code word for the pixels from `x` on.
Code nextCode(const std::uint8_t* row, int x, int remaining) {
    if (remaining <= kTagLiteralPixels) {
        return {row != nullptr ? literalWord(row, x, remaining) : 0, remaining};
    }
    const bool ones = row != nullptr && (row[x / 8] << (x % 8) & 0x80) != 0;
    const int run = row != nullptr ? runLength(row, x, remaining, ones) : remaining;
    if (run < kTagLiteralPixels) {
        return {literalWord(row, x, kTagLiteralPixels), kTagLiteralPixels};
    }
    // A longer run continues in another word.
    const int pixels = std::min(run, kTagMaxRun);
    return {unsigned{ones ? kOnes : kZeros} << 14 | static_cast<unsigned>(pixels), pixels};
}

} // namespace

std::uint8_t* tagEncodeRow(const std::uint8_t* row, int width, std::uint8_t* to) {
    for (int x = 0; x < width;) {
        const Code code = nextCode(row, x, width - x);
        base::storeBe16(to, static_cast<std::uint16_t>(code.word));
        to += 2;
        x += code.pixels;
    }
    return to;
}

bool tagReadWord(std::FILE* stream, unsigned* word) {
    const int high = getc_unlocked(stream);
    const int low = high != EOF ? getc_unlocked(stream) : EOF;
    *word = static_cast<unsigned>(high) << 8 | static_cast<unsigned>(low);
    return low != EOF;
}

bool tagDecodeRow(std::FILE* stream, unsigned word, std::uint8_t* row, int width) {
    for (int x = 0; x < width;) {
        const unsigned kind = word >> 14;
        const int room = width - x;
        const int count = pixelsOf(word);
        const int pixels = std::min(count, room);
        if (kind == kLiteral) {
            setPixels(row, x, word << 2, pixels);
        } else if (kind == kOnes) {
            setRun(row, x, pixels);
        } else if (kind == kStream && !readStream(stream, row, x, count, room)) {
            return false;
        }
        x += pixels;
        if (x < width && !tagReadWord(stream, &word)) {
            return false;
        }
    }
    return true;
}

bool tagFindZeroLiteral(std::FILE* stream, int width) {
    unsigned word = 0;
    for (int left = width; left > 0 && tagReadWord(stream, &word); left -= pixelsOf(word)) {
        if (word == 0 && left > kTagLiteralPixels) {
            return true;
        }
        unsigned unused = 0;
        for (int done = 0; word >> 14 == kStream && done < pixelsOf(word); done += 16) {
            static_cast<void>(tagReadWord(stream, &unused)); // the next word tells an end
        }
    }
    return false;
}
