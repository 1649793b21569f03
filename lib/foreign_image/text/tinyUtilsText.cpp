// SPDX-License-Identifier: MIT
#include "tinyUtilsText.h"

#include "base/streamBuffer.h"
#include "file/tinyNotice.h"
#include "file/tinyNumberText.h"
#include "tinyDecimal.h"
#include "tinyUtils.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>
#include <span>
#include <utility>

namespace text {

namespace {

constexpr std::string_view kSpace = " \t\n\v\f\r";

/// Removes leading white space and a sign from `word`; true for a minus.
inline bool takeSign(std::string_view& word) {
    if (!word.empty() && word.front() <= ' ') {
        word.remove_prefix(std::min(word.find_first_not_of(kSpace), word.size()));
    }
    const char sign = word.empty() ? '\0' : word.front();
    word.remove_prefix(static_cast<std::size_t>(sign == '-' || sign == '+'));
    return sign == '-';
}

/// Removes "0x" from `word` if a hexadecimal number follows.
bool takeHexPrefix(std::string_view& word) {
    if (word.size() < 3 || word[0] != '0' || (word[1] != 'x' && word[1] != 'X')) {
        return false;
    }
    const auto digit = [&](std::size_t at) {
        return at < word.size() && std::isxdigit(static_cast<unsigned char>(word[at])) != 0;
    };
    if (!digit(2) && !(word[2] == '.' && digit(3))) {
        return false;
    }
    word.remove_prefix(2);
    return true;
}

/// The value of a number outside the range of a double: words are too short to leave the range by
/// their digits alone, so the exponent's sign decides.
double outOfRange(std::string_view word, std::string_view exponentLetters) {
    const std::size_t exponent = word.find_first_of(exponentLetters);
    const bool tiny = exponent != std::string_view::npos && exponent + 1 < word.size() &&
                      word[exponent + 1] == '-';
    return tiny ? 0.0 : std::numeric_limits<double>::max();
}

/// Removes the number without sign from `word`; nullopt if it does not begin with one.
std::optional<double> takeMagnitude(std::string_view& word) {
    const bool hexadecimal = takeHexPrefix(word);
    if (!hexadecimal && (word.empty() || (!isDigit(word[0]) && word[0] != '.'))) {
        return std::nullopt; // from_chars would accept "inf" and "nan"
    }
    double value = 0.0;
    const char* end = word.data() + word.size();
    const auto [rest, error] = std::from_chars(
        word.data(), end, value, hexadecimal ? std::chars_format::hex : std::chars_format::general);
    if (error == std::errc::invalid_argument) {
        return std::nullopt;
    }
    if (error == std::errc::result_out_of_range) {
        value = outOfRange(word, hexadecimal ? "pP" : "eE");
    }
    word.remove_prefix(static_cast<std::size_t>(rest - word.data()));
    return value;
}

/// True when nothing follows a number, or only the carriage return of a DOS line end.
bool isEnd(std::string_view rest) {
    return rest.empty() || rest == "\r";
}

void reportRange(const char* word, std::int64_t least, std::int64_t most, int base = 10) {
    char expected[80];
    std::snprintf(expected, sizeof expected,
                  base == 16 ? "hexadecimal number from %llx to %llx"
                             : "whole number from %lld to %lld",
                  static_cast<long long>(least), static_cast<long long>(most));
    animNotify(AnimNoticeKind::BadNumber, word, expected);
}

constexpr double kLargestFloat = std::numeric_limits<float>::max();

/// A number that reads back: see the top of tinyUtilsText.h.
double writable(double value) {
    return std::isnan(value) ? 0.0 : std::clamp(value, -kLargestFloat, kLargestFloat);
}

/// Reports a number that changes when `written` is read back.
void reportRounding(const NumberText& written, float value, double unit) {
    if (!std::isfinite(value)) {
        notice::written(AnimNoticeKind::BadNumber, written.c_str(), "finite number");
    } else if (text::fromUnit(text::parseFloat(written.view()).value, unit) != value) {
        notice::written(AnimNoticeKind::Rounded, written.c_str(), "%s",
                        NumberText::exact(static_cast<double>(value) * unit).c_str());
    }
}

} // namespace

void putQuoted(std::FILE* stream, const char* name, const Style& style) {
    const std::string_view whole = name != nullptr ? name : "";
    const char quote = style.quote;
    const char instead = quote == '"' ? '\'' : '"';
    putc_unlocked(quote, stream);
    for (const char c : whole) {
        putc_unlocked(c == quote ? instead : c, stream);
    }
    putc_unlocked(quote, stream);
    if (whole.find(quote) != whole.npos) {
        notice::written(AnimNoticeKind::Dropped, name, "a quote inside a name becomes %c", instead);
    }
    if (whole.size() > style.mostOfQuoted) {
        notice::written(AnimNoticeKind::Cut, name, "at most %zu characters are read back",
                        style.mostOfQuoted);
    }
}

std::int64_t toWhole(std::string_view word, std::int64_t least, std::int64_t most, int base) {
    std::string_view digits = word;
    const bool minus = takeSign(digits);
    if (base == 16) {
        takeHexPrefix(digits);
    }
    std::uint64_t value = 0;
    const char* end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, value, base);
    constexpr std::uint64_t kLargest = std::numeric_limits<std::int64_t>::max();
    if (error == std::errc::result_out_of_range || value > kLargest) {
        value = minus ? kLargest + 1 : kLargest;
    }
    const auto whole = static_cast<std::int64_t>(minus ? 0 - value : value);
    if (error == std::errc::invalid_argument || !isEnd({rest, end}) || whole < least ||
        whole > most) {
        reportRange(word.data(), least, most, base);
    }
    return whole;
}

std::int32_t toInt(std::string_view word, std::int64_t least, std::int64_t most) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(toWhole(word, least, most)));
}

ParsedFloat parseFloat(std::string_view word) {
    if (char room[kDecimalRoom] = ""; word.size() < kDecimalRoom) {
        word.copy(room, word.size());
        const Decimal plain = decimalAt(room);
        if (plain.end == room + word.size()) {
            return {static_cast<float>(plain.value()), true};
        }
    }
    const bool minus = takeSign(word);
    const std::optional<double> magnitude = takeMagnitude(word);
    const auto value = static_cast<float>(std::min(magnitude.value_or(0.0), kLargestFloat));
    return {minus && magnitude ? -value : value,
            magnitude && *magnitude <= kLargestFloat && isEnd(word)};
}

float toFloat(std::string_view word) {
    const ParsedFloat parsed = parseFloat(word);
    if (!parsed.exact) {
        animNotify(AnimNoticeKind::BadNumber, word.data(), "number");
    }
    return parsed.value;
}

std::int16_t toShort(std::string_view word) {
    using Limits = std::numeric_limits<std::int16_t>;
    return static_cast<std::int16_t>(toInt(word, Limits::min(), Limits::max()));
}

std::int16_t toShort(float value, const char* word) {
    using Limits = std::numeric_limits<std::int16_t>;
    const float fitting = std::clamp(value, float{Limits::min()}, float{Limits::max()});
    if (fitting != value) {
        reportRange(word, Limits::min(), Limits::max());
    }
    if (std::trunc(fitting) != fitting) {
        animNotify(AnimNoticeKind::ByFormat, word, "only the whole part is kept");
    }
    return static_cast<std::int16_t>(fitting);
}

/// Copies without a call: most words are short.
inline void copyShort(char* to, std::string_view from) {
    const std::size_t size = from.size();
    if (size > 2 * kEight) {
        std::memcpy(to, from.data(), size);
    } else if (size >= kEight) {
        std::memcpy(to, from.data(), kEight);
        std::memcpy(to + size - kEight, from.data() + size - kEight, kEight);
    } else if (size >= 4) {
        std::memcpy(to, from.data(), 4);
        std::memcpy(to + size - 4, from.data() + size - 4, 4);
    } else {
        for (std::size_t i = 0; i < size; ++i) {
            to[i] = from[i];
        }
    }
}

void put(std::FILE* stream, std::string_view characters) {
    const std::span<char> room = base::bufferedRoom(stream);
    if (room.size() >= characters.size()) {
        copyShort(room.data(), characters);
        base::putBuffered(stream, characters.size());
    } else {
        fwrite_unlocked(characters.data(), 1, characters.size(), stream);
    }
}

void putWord(std::FILE* stream, std::string_view word) {
    const std::span<char> room = base::bufferedRoom(stream);
    if (room.size() > word.size()) {
        copyShort(room.data(), word);
        room[word.size()] = ' ';
        base::putBuffered(stream, word.size() + 1);
    } else {
        put(stream, word);
        putc_unlocked(' ', stream);
    }
}

float fromUnit(float value, double unit) {
    return static_cast<float>(writable(static_cast<double>(value) / unit));
}

void putFloat(std::FILE* stream, float value, double unit) {
    const NumberText digits(writable(static_cast<double>(value) * unit));
    if (notice::wanted()) {
        reportRounding(digits, value, unit);
    }
    putWord(stream, digits.view());
}

void putInt(std::FILE* stream, std::int64_t value) {
    putWord(stream, NumberText(value).view());
}

void putFixed(std::FILE* stream, float value, double unit) {
    constexpr int kMostBlanks = 240;
    const NumberText digits(writable(static_cast<double>(value) * unit), FD);
    if (notice::wanted()) {
        reportRounding(digits, value, unit);
    }
    for (int width = std::min(FM, kMostBlanks); std::cmp_less(digits.view().size(), width);
         --width) {
        putc_unlocked(' ', stream);
    }
    put(stream, digits.view());
}

} // namespace text
