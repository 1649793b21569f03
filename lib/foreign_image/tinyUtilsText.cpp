// SPDX-License-Identifier: MIT
#include "tinyUtilsText.h"

#include "tinySpline.h"
#include "tinyUtils.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <optional>

namespace text {

LineCount lines;

namespace {

constexpr std::string_view kSpace = " \t\n\v\f\r";

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Takes leading white space and a sign off `word`; true for a minus.
bool takeSign(std::string_view& word) {
    word.remove_prefix(std::min(word.find_first_not_of(kSpace), word.size()));
    const bool minus = word.starts_with('-');
    word.remove_prefix(minus || word.starts_with('+') ? 1 : 0);
    return minus;
}

/// Takes "0x" off `word` where a hexadecimal number follows.
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

/// What a number outside the range of a double is: words are too short to leave the range by their
/// digits alone, so the exponent's sign decides.
double outOfRange(std::string_view word, std::string_view exponentLetters) {
    const std::size_t exponent = word.find_first_of(exponentLetters);
    const bool tiny = exponent != std::string_view::npos && exponent + 1 < word.size() &&
                      word[exponent + 1] == '-';
    return tiny ? 0.0 : std::numeric_limits<double>::max();
}

/// Takes the number without sign off `word`; nothing when it does not begin with one.
std::optional<double> takeMagnitude(std::string_view& word) {
    const bool hexadecimal = takeHexPrefix(word);
    if (!hexadecimal && (word.empty() || (!isDigit(word[0]) && word[0] != '.'))) {
        return std::nullopt; // from_chars would take "inf" and "nan"
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

/// True when nothing stands behind a number, or what a line end of DOS leaves there.
bool isEnd(std::string_view rest) {
    return rest.empty() || rest == "\r";
}

void reportRange(const char* word, std::int64_t least, std::int64_t most) {
    char expected[80];
    std::snprintf(expected, sizeof expected, "whole number from %lld to %lld",
                  static_cast<long long>(least), static_cast<long long>(most));
    animNotify(AnimNoticeKind::BadNumber, word, expected);
}

/// A number that reads back: see the head of tinyUtilsText.h.
float writable(float value) {
    constexpr float kLargest = std::numeric_limits<float>::max();
    return std::isnan(value) ? 0.0F : std::clamp(value, -kLargest, kLargest);
}

} // namespace

std::int32_t toInt(const char* word, std::int64_t least, std::int64_t most) {
    std::string_view digits = word;
    const bool minus = takeSign(digits);
    std::uint64_t value = 0;
    const char* end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, value);
    constexpr std::uint64_t kLargest = std::numeric_limits<std::int64_t>::max();
    if (error == std::errc::result_out_of_range || value > kLargest) {
        value = minus ? kLargest + 1 : kLargest;
    }
    const auto whole = static_cast<std::int64_t>(minus ? 0 - value : value);
    if (error == std::errc::invalid_argument || !isEnd({rest, end}) || whole < least ||
        whole > most) {
        reportRange(word, least, most);
    }
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(whole));
}

ParsedFloat parseFloat(std::string_view word) {
    constexpr double kLargest = std::numeric_limits<float>::max();
    const bool minus = takeSign(word);
    const std::optional<double> magnitude = takeMagnitude(word);
    const auto value = static_cast<float>(std::min(magnitude.value_or(0.0), kLargest));
    return {minus && magnitude ? -value : value,
            magnitude && *magnitude <= kLargest && isEnd(word)};
}

float toFloat(const char* word) {
    const ParsedFloat parsed = parseFloat(word);
    if (!parsed.exact) {
        animNotify(AnimNoticeKind::BadNumber, word, "number");
    }
    return parsed.value;
}

std::int16_t toShort(const char* word) {
    using Limits = std::numeric_limits<std::int16_t>;
    return static_cast<std::int16_t>(toInt(word, Limits::min(), Limits::max()));
}

std::int16_t toShort(float value, const char* word) {
    using Limits = std::numeric_limits<std::int16_t>;
    const float fitting = std::clamp(value, float{Limits::min()}, float{Limits::max()});
    if (fitting != value) {
        reportRange(word, Limits::min(), Limits::max());
    }
    return static_cast<std::int16_t>(fitting);
}

void put(std::FILE* stream, std::string_view characters) {
    fwrite_unlocked(characters.data(), 1, characters.size(), stream);
}

void putWord(std::FILE* stream, std::string_view word) {
    put(stream, word);
    putc_unlocked(' ', stream);
}

void putQuoted(std::FILE* stream, const char* name) {
    put(stream, "'");
    std::string_view rest = name != nullptr ? name : "";
    // The form has no escape: a single quote inside a name would end it.
    for (std::size_t at = rest.find('\''); at != rest.npos; at = rest.find('\'')) {
        put(stream, rest.substr(0, at));
        put(stream, "\"");
        rest.remove_prefix(at + 1);
    }
    put(stream, rest);
    put(stream, "' ");
}

void putFloat(std::FILE* stream, float value) {
    char buffer[32];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer - 1, double{writable(value)},
                                   std::chars_format::general, 6);
    *end.ptr = ' ';
    put(stream, {buffer, end.ptr + 1});
}

void putInt(std::FILE* stream, std::int64_t value) {
    char buffer[32];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer - 1, value);
    *end.ptr = ' ';
    put(stream, {buffer, end.ptr + 1});
}

void putFixed(std::FILE* stream, float value) {
    constexpr int kMostDecimals = 60; // with 39 digits, a sign and a point it still fits
    char buffer[128];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, double{writable(value)},
                                   std::chars_format::fixed, std::clamp(FD, 0, kMostDecimals));
    const std::ptrdiff_t length = end.ptr - buffer;
    for (std::ptrdiff_t i = length; i < std::min(FM, 240); ++i) {
        putc_unlocked(' ', stream);
    }
    put(stream, {buffer, end.ptr});
}

int WordReader::skipSpace() {
    int c = getc_unlocked(stream_);
    while (c != EOF && std::isspace(c) != 0) {
        lines.next += c == '\n' ? 1 : 0;
        c = getc_unlocked(stream_);
    }
    lines.token = lines.next;
    ++lines.tokens;
    length_ = 0;
    word_[0] = '\0';
    return c;
}

void WordReader::append(int c) {
    if (length_ < sizeof word_ - 1) {
        word_[length_++] = static_cast<char>(c);
        word_[length_] = '\0';
    } else {
        cut_ = true;
    }
}

void WordReader::finish(int following) {
    if (following != EOF) {
        std::ungetc(following, stream_);
    }
    if (cut_) {
        animNotify(AnimNoticeKind::Cut, word_);
    }
    cut_ = false;
}

bool WordReader::next() {
    int c = skipSpace();
    while (c != EOF && std::isspace(c) == 0) {
        append(c);
        c = getc_unlocked(stream_);
    }
    finish(c);
    return length_ != 0;
}

int WordReader::peek() {
    const int c = skipSpace();
    finish(c);
    return c;
}

bool WordReader::numberText() {
    const auto belongs = [this](int c) {
        const char before = length_ == 0 ? '\0' : word_[length_ - 1];
        const bool afterExponent = before == 'e' || before == 'E';
        return (c >= '0' && c <= '9') || c == '.' ||
               ((c == '+' || c == '-') && (length_ == 0 || afterExponent)) ||
               ((c == 'e' || c == 'E') && (isDigit(before) || before == '.'));
    };
    int c = skipSpace();
    while (c != EOF && belongs(c)) {
        append(c);
        c = getc_unlocked(stream_);
    }
    finish(c);
    return std::any_of(word_, word_ + length_, isDigit);
}

bool WordReader::number(std::int16_t& value) {
    const bool found = numberText();
    value = found ? toShort(word_) : value;
    return found;
}

bool WordReader::number(float& value) {
    const bool found = numberText();
    value = found ? toFloat(word_) : value;
    return found;
}

bool WordReader::numbers(Vector& vector) {
    return number(vector.x) && number(vector.y) && number(vector.z);
}

} // namespace text
