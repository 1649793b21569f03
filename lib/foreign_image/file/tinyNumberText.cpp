// SPDX-License-Identifier: MIT
// Most numbers of scenes have few digits. Such a number is multiplied by a power of ten and rounded
// to a whole one, whose digits are its text. The product is wrong by less than its last bit, so
// that it can round to the wrong side only next to the middle between two whole numbers; those
// numbers are left to the library, like all others.
#include "tinyNumberText.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <optional>

namespace {

constexpr int kDigits = 8; ///< that are converted at a time
constexpr int kMostDecimals = 7;
constexpr int kSignificant = 6;
constexpr double kTens[] = {1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};

/// `magnitude` times 10 to the power of `decimals`, rounded; nullopt if that has more than eight
/// digits or the direction is in doubt.
std::optional<std::uint32_t> scale(double magnitude, int decimals) {
    constexpr double kMost = 99999999.0;
    constexpr double kDoubt = 1e-6; // the last bit of the product is less than 2^-25
    const double product = magnitude * kTens[decimals];
    if (!(product < kMost)) {
        return std::nullopt;
    }
    const auto whole = static_cast<std::uint32_t>(product);
    const double aboveMiddle = product - whole - 0.5;
    if (std::abs(aboveMiddle) < kDoubt) {
        return std::nullopt;
    }
    return whole + (aboveMiddle > 0.0 ? 1 : 0);
}

/// The values of the eight digits of a number, the first in the lowest byte: divided by 10000, 100
/// and 10, all parts at once.
std::uint64_t digitsOf(std::uint32_t number) {
    const std::uint64_t fours = number / 10000 | std::uint64_t{number % 10000} << 32;
    const std::uint64_t hundreds = (fours * 10486 >> 20) & 0x0000007F0000007FU;
    const std::uint64_t twos = ((fours - hundreds * 100) << 16) + hundreds;
    const std::uint64_t tens = (twos * 103 >> 10) & 0x000F000F000F000FU;
    return ((twos - tens * 10) << 8) + tens;
}

/// Writes eight characters, the first in the lowest byte.
void store(char* to, std::uint64_t characters) {
    for (int i = 0; i < kDigits; ++i) {
        to[i] = static_cast<char>(characters >> 8 * i);
    }
}

/// Writes the first `count` of the digits with a point after `before` of them, at least one, unless
/// none would follow it. Returns the end; there must be room for eight more.
char* putDigits(char* to, std::uint64_t digits, int before, int count) {
    constexpr std::uint64_t kZeros = 0x3030303030303030U;
    digits |= kZeros;
    store(to, digits);
    if (count <= before) {
        return to + before;
    }
    to[before] = '.';
    store(to + before + 1, digits >> 8 * before);
    return to + count + 1;
}

char* putSign(char* to, double value) {
    *to = '-';
    return to + (std::signbit(value) ? 1 : 0);
}

/// The digits without the zeros before them, except for the last `keep` digits, and their count.
int skipZeros(std::uint64_t& digits, int keep) {
    int count = kDigits;
    for (; count > keep && (digits & 0xFF) == 0; --count) {
        digits >>= 8;
    }
    return count;
}

/// The decimals of six significant digits of a number from 1e-4 to below 1e6.
int decimalsOf(double magnitude) {
    constexpr double kPowers[] = {1e-4, 1e-3, 1e-2, 1e-1, 1e0, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6};
    const int exponent = static_cast<int>(std::bit_cast<std::uint64_t>(magnitude) >> 52) - 1023;
    const int power =
        (exponent * 1233 >> 12) + 1; // log10(2) is 1233/4096; this one or the one below
    return kSignificant - (magnitude >= kPowers[power + 4] ? power + 1 : power);
}

/// Writes a number from 1e-4 to below 1e6; returns null if its rounding is in doubt.
char* putSignificant(char* to, double magnitude) {
    int decimals = decimalsOf(magnitude);
    std::optional<std::uint32_t> scaled = scale(magnitude, decimals);
    if (!scaled) {
        return nullptr;
    }
    if (*scaled == 1000000) { // rounded up to the next power of ten
        *scaled = 100000;
        --decimals;
    }
    const std::uint64_t digits = digitsOf(*scaled) >> 8 * (kDigits - kSignificant);
    const int count = kDigits - std::countl_zero(digits) / 8; // without zeros at the end
    if (decimals < kSignificant) {
        return putDigits(to, digits, kSignificant - decimals, count);
    }
    constexpr std::uint64_t kZeroPoint = 0x3030303030302E30U;
    store(to, kZeroPoint);
    return putDigits(to + 2 + decimals - kSignificant, digits, kDigits, 0) - kDigits + count;
}

} // namespace

NumberText::NumberText(double value) {
    constexpr double kLeast = 1e-4; // those below have an exponent
    constexpr double kMost = 999999.0;
    const double magnitude = std::abs(value);
    if (magnitude <= kMost) {
        char* const to = putSign(text_, value);
        const auto whole = static_cast<std::uint32_t>(magnitude);
        char* last = nullptr;
        if (magnitude == whole) {
            std::uint64_t digits = digitsOf(whole);
            const int count = skipZeros(digits, 1);
            last = putDigits(to, digits, count, count);
        } else if (magnitude >= kLeast) {
            last = putSignificant(to, magnitude);
        }
        if (last != nullptr) {
            end(last);
            return;
        }
    }
    convert(value, std::chars_format::general, kSignificant);
}

NumberText::NumberText(double value, int decimals) {
    decimals = std::clamp(decimals, 0, 60);
    const std::optional<std::uint32_t> scaled =
        decimals <= kMostDecimals ? scale(std::abs(value), decimals) : std::nullopt;
    if (scaled) {
        std::uint64_t digits = digitsOf(*scaled);
        const int count = skipZeros(digits, decimals + 1);
        end(putDigits(putSign(text_, value), digits, count - decimals, count));
        return;
    }
    convert(value, std::chars_format::fixed, decimals);
}
