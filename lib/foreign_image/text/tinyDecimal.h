// SPDX-License-Identifier: MIT
// Numbers of the usual form: a minus or none, digits, and maybe a point and more digits. They are
// read eight characters at a time, directly from the buffer of a stream.
#pragma once

#include "tinyKinds.h"

#include <cstddef>
#include <cstdint>

namespace text {

/// A number of the usual form: `digits`, of which the last `decimals` are behind the point. Both
/// are exact as doubles, so that their quotient is the nearest double to the number.
struct Decimal {
    std::uint64_t digits = 0;
    std::size_t decimals = 0;
    bool minus = false;
    const char* end = nullptr; ///< null if there is no such number

    /// Zero has a sign, as it has for `atof`.
    [[nodiscard]] double value() const {
        static constexpr double kTens[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8};
        static constexpr double kSigns[] = {1.0, -1.0}; // no branch: signs are hard to predict
        return static_cast<double>(digits) / kTens[decimals] * kSigns[minus ? 1 : 0];
    }
};

/// Characters that must be readable where a number is looked for.
inline constexpr std::size_t kDecimalRoom = 3 * kEight;

/// How many of eight characters, from which '0' has been subtracted bit by bit, are leading digits.
inline std::size_t leadingDigits(std::uint64_t eight) {
    constexpr std::uint64_t kHigh = kEach * 0x80;
    const std::uint64_t others = ((eight & ~kHigh) + kEach * (0x80 - 10)) | eight;
    return firstByte(others & kHigh);
}

/// The number that the first `count` (1 to 8) of eight digits make.
inline std::uint64_t numberOf(std::uint64_t eight, std::size_t count) {
    constexpr std::uint64_t kPairs = 0x000000FF000000FFU;
    eight <<= 8 * (kEight - count);    // zeros before the digits
    eight = eight * 10 + (eight >> 8); // pairs, in every second byte
    const std::uint64_t even = (eight & kPairs) * (100 + (std::uint64_t{1000000} << 32));
    const std::uint64_t odd = ((eight >> 16) & kPairs) * (1 + (std::uint64_t{10000} << 32));
    return (even + odd) >> 32;
}

/// The number that begins at `at`, of up to eight digits before the point and as many behind it.
inline Decimal decimalAt(const char* at) {
    static constexpr std::uint64_t kTens[] = {1,      10,      100,      1000,     10000,
                                              100000, 1000000, 10000000, 100000000};
    constexpr std::size_t kMostDigits = 14; // with minus and point a short word; they fit a double
    Decimal found;
    found.minus = *at == '-';
    at += found.minus ? 1 : 0;
    if (!isDigit(*at)) {
        return found;
    }
    std::size_t wholes = 1;
    found.digits = static_cast<std::uint64_t>(*at - '0');
    if (isDigit(at[1])) { // often not: the end is then known without a search
        const std::uint64_t whole = base::loadLe64(at) ^ (kEach * '0');
        wholes = leadingDigits(whole);
        found.digits = numberOf(whole, wholes);
    }
    at += wholes;
    if (*at == '.') {
        const std::uint64_t decimals = base::loadLe64(at + 1) ^ (kEach * '0');
        found.decimals = leadingDigits(decimals);
        if (found.decimals == 0 || wholes + found.decimals > kMostDigits) {
            return found;
        }
        found.digits = found.digits * kTens[found.decimals] + numberOf(decimals, found.decimals);
        at += 1 + found.decimals;
    }
    found.end = at;
    return found;
}

} // namespace text
