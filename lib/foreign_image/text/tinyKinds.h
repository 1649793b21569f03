// SPDX-License-Identifier: MIT
// How the text of one kind of file is divided into words, and the search for the end of a word.
#pragma once

#include "base/byteOrder.h"
#include "tinyUtils.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

namespace text {

/// How the text of one kind of file is divided into words.
struct Style {
    std::string_view blanks;  ///< the characters between words
    char quote;               ///< opens and closes a string, which contains no words
    bool bracesAlone;         ///< a brace or a quote is always a word, not only between blanks; the
                              ///< character after a word is not consumed
    std::size_t mostOfWord;   ///< characters kept of a word
    std::size_t mostOfQuoted; ///< characters kept of a string in quotes
};

/// Animation text, as in scene files. The word is `animToken`.
// Kept: A carriage return is part of a token.
// A reader would expect white space. Only blank, tab and newline separate tokens.
inline constexpr Style kAnimationStyle = {" \t\n", '\'', false, kAnimTokenSize - 1,
                                          kAnimTokenSize - 3};

/// The text flavours of spline and hierarchy files, with the words and numbers of `fscanf`.
inline constexpr Style kFileStyle = {" \t\n\v\f\r", '"', true, 255, 255};

/// The kind of a character in a style. Those of words come first; a zero byte ends the word for
/// readers of strings.
enum Kind : std::uint8_t { kOrdinary, kZero, kBlank, kAlone, kEnd };

/// The kind of each character; the first entry is for EOF.
using Kinds = std::array<std::uint8_t, 257>;

constexpr Kinds kindsOf(const Style& style) {
    Kinds kinds = {kEnd, kZero};
    for (const char c : style.blanks) {
        kinds[static_cast<std::size_t>(c) + 1] = kBlank;
    }
    for (const char c : {'{', '}', style.quote}) {
        kinds[static_cast<std::size_t>(c) + 1] = style.bracesAlone ? kAlone : kOrdinary;
    }
    return kinds;
}

inline constexpr Kinds kAnimationKinds = kindsOf(kAnimationStyle);
inline constexpr Kinds kFileKinds = kindsOf(kFileStyle);

[[nodiscard]] constexpr bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Eight characters at a time, the first one in the lowest byte.
inline constexpr std::size_t kEight = sizeof(std::uint64_t);
inline constexpr std::uint64_t kEach = 0x0101010101010101U;

/// The index of the lowest byte that is not zero.
inline std::size_t firstByte(std::uint64_t bytes) {
    return static_cast<std::size_t>(std::countr_zero(bytes)) / 8;
}

/// True when the words are the same. Without a call: most words are short.
[[nodiscard]] constexpr bool equal(std::string_view a, std::string_view b) {
    const std::size_t size = a.size();
    if (size != b.size()) {
        return false;
    }
    if (std::is_constant_evaluated() || size < 4 || size > 16) {
        return a == b;
    }
    const auto differ = [&]<typename Bytes>(std::size_t at, Bytes) {
        Bytes x;
        Bytes y;
        std::memcpy(&x, a.data() + at, sizeof x);
        std::memcpy(&y, b.data() + at, sizeof y);
        return x ^ y;
    };
    return size < 8 ? (differ(0, std::uint32_t{}) | differ(size - 4, std::uint32_t{})) == 0
                    : (differ(0, std::uint64_t{}) | differ(size - 8, std::uint64_t{})) == 0;
}

/// The high bit of the lowest of eight characters that need not be ordinary: all except those from
/// '#' to 'z'. Higher bits may be set as well.
inline std::uint64_t marksOf(std::uint64_t eight) {
    const std::uint64_t below = (eight - kEach * '#') & ~eight;
    const std::uint64_t above = (eight + kEach * (0x7F - 'z')) | eight;
    return (below | above) & (kEach * 0x80);
}

/// The number of characters from `word` on that are surely ordinary, if it is below 16: else more
/// are possible.
inline std::size_t shortWordLength(const char* word) {
    const std::uint64_t first = marksOf(base::loadLe64(word));
    const std::uint64_t second = marksOf(base::loadLe64(word + kEight));
    return firstByte(first != 0 ? first : second) + (first != 0 ? 0 : kEight);
}

/// The end of the ordinary characters from `at` on, or `last`. Sixteen at a time without a branch:
/// the lengths of words are hard to predict.
inline const char* endOfOrdinary(const char* at, const char* last, const std::uint8_t* kinds) {
    while (last - at >= std::ptrdiff_t{2 * kEight}) {
        const std::uint64_t first = marksOf(base::loadLe64(at));
        const std::uint64_t second = marksOf(base::loadLe64(at + kEight));
        if ((first | second) == 0) {
            at += 2 * kEight;
            continue;
        }
        at += firstByte(first != 0 ? first : second) + (first != 0 ? 0 : kEight);
        if (kinds[static_cast<unsigned char>(*at)] != kOrdinary) {
            return at;
        }
        ++at;
    }
    while (at != last && kinds[static_cast<unsigned char>(*at)] == kOrdinary) {
        ++at;
    }
    return at;
}

/// The end of the characters from `at` on that are neither zero nor words by themselves, or `last`.
inline const char* endOfUnbraced(const char* at, const char* last, const std::uint8_t* kinds) {
    const auto isEnd = [kinds](char c) {
        const std::uint8_t kind = kinds[static_cast<unsigned char>(c)];
        return kind == kZero || kind == kAlone;
    };
    const auto zeros = [](std::uint64_t eight) { return (eight - kEach) & ~eight; };
    while (last - at >= std::ptrdiff_t{kEight}) {
        const std::uint64_t eight = base::loadLe64(at);
        const std::uint64_t above = (eight + kEach * (0x7F - 'z')) | eight; // '{' and '}' are
        const std::uint64_t marks = zeros(eight) | zeros(eight ^ (kEach * '"')) | above;
        at += firstByte(marks & (kEach * 0x80));
        if ((marks & (kEach * 0x80)) != 0) {
            if (isEnd(*at)) {
                return at;
            }
            ++at;
        }
    }
    return std::find_if(at, last, isEnd);
}

} // namespace text
