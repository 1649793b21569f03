// SPDX-License-Identifier: MIT
#include "tinyUtilsText.h"

#include "file/tinyNotice.h"
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

constexpr double kLargestFloat = std::numeric_limits<float>::max();

/// A number that reads back: see the head of tinyUtilsText.h.
double writable(double value) {
    return std::isnan(value) ? 0.0 : std::clamp(value, -kLargestFloat, kLargestFloat);
}

/// Reports a number that does not read back as it is from `written`, which ends in a zero.
void reportRounding(const char* written, float value, double unit) {
    const char* digits = written + std::strspn(written, " ");
    if (!std::isfinite(value)) {
        notice::written(AnimNoticeKind::BadNumber, digits, "finite number");
    } else if (text::fromUnit(text::parseFloat(digits).value, unit) != value) {
        notice::written(AnimNoticeKind::Rounded, digits, "%.9g", static_cast<double>(value) * unit);
    }
}

/// Writes `name` without the characters `quote`, which would end it; `instead` stands in their
/// place. Reports what does not read back.
void putInQuotes(std::FILE* stream, const char* name, char quote, char instead, std::size_t most) {
    const std::string_view whole = name != nullptr ? name : "";
    putc_unlocked(quote, stream);
    for (const char c : whole) {
        putc_unlocked(c == quote ? instead : c, stream);
    }
    putc_unlocked(quote, stream);
    if (whole.find(quote) != whole.npos) {
        notice::written(AnimNoticeKind::Dropped, name, "a quote inside a name becomes %c", instead);
    }
    if (whole.size() > most) {
        notice::written(AnimNoticeKind::Cut, name, "at most %zu characters are read back", most);
    }
}

constexpr std::size_t kMostQuoted = 237;
constexpr std::size_t kMostDoubleQuoted = 255;

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
    const bool minus = takeSign(word);
    const std::optional<double> magnitude = takeMagnitude(word);
    const auto value = static_cast<float>(std::min(magnitude.value_or(0.0), kLargestFloat));
    return {minus && magnitude ? -value : value,
            magnitude && *magnitude <= kLargestFloat && isEnd(word)};
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
    if (std::trunc(fitting) != fitting) {
        animNotify(AnimNoticeKind::ByFormat, word, "only the whole part is kept");
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
    putInQuotes(stream, name, '\'', '"', kMostQuoted);
    putc_unlocked(' ', stream);
}

void putDoubleQuoted(std::FILE* stream, const char* name) {
    putInQuotes(stream, name, '"', '\'', kMostDoubleQuoted);
}

float fromUnit(float value, double unit) {
    return static_cast<float>(writable(static_cast<double>(value) / unit));
}

void putFloat(std::FILE* stream, float value, double unit) {
    char buffer[32];
    const auto end =
        std::to_chars(buffer, buffer + sizeof buffer - 1,
                      writable(static_cast<double>(value) * unit), std::chars_format::general, 6);
    if (notice::wanted()) {
        *end.ptr = '\0';
        reportRounding(buffer, value, unit);
    }
    *end.ptr = ' ';
    put(stream, {buffer, end.ptr + 1});
}

void putInt(std::FILE* stream, std::int64_t value) {
    char buffer[32];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer - 1, value);
    *end.ptr = ' ';
    put(stream, {buffer, end.ptr + 1});
}

void putFixed(std::FILE* stream, float value, double unit) {
    constexpr int kMostDecimals = 60; // with 39 digits, a sign and a point it still fits
    char buffer[128];
    const auto end = std::to_chars(buffer, buffer + sizeof buffer - 1,
                                   writable(static_cast<double>(value) * unit),
                                   std::chars_format::fixed, std::clamp(FD, 0, kMostDecimals));
    const std::ptrdiff_t length = end.ptr - buffer;
    if (notice::wanted()) {
        *end.ptr = '\0';
        reportRounding(buffer, value, unit);
    }
    for (std::ptrdiff_t i = length; i < std::min(FM, 240); ++i) {
        putc_unlocked(' ', stream);
    }
    put(stream, {buffer, end.ptr});
}

// ------------------------------------------------------------------------------------------ words

int WordReader::read() {
    const int c = getc_unlocked(stream_);
    notice::lines.next += c == '\n' ? 1 : 0;
    return c;
}

int WordReader::skipSpace() {
    int c = read();
    while (c != EOF && std::isspace(c) != 0) {
        c = read();
    }
    notice::lines.token = notice::lines.next;
    ++notice::lines.tokens;
    set("");
    return c;
}

void WordReader::set(std::string_view word) {
    length_ = word.copy(word_, sizeof word_ - 1);
    word_[length_] = '\0';
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
        notice::lines.next -= following == '\n' ? 1 : 0;
    }
    if (cut_) {
        animNotify(AnimNoticeKind::Cut, word_, "at most 255 characters are kept");
    }
    cut_ = false;
}

bool WordReader::next() {
    const auto stands = [](int c) { return c == '{' || c == '}' || c == '"'; };
    int c = skipSpace();
    if (stands(c)) {
        append(c);
        return true;
    }
    while (c != EOF && std::isspace(c) == 0 && !stands(c)) {
        append(c);
        c = read();
    }
    finish(c);
    return length_ != 0;
}

int WordReader::peek() {
    const int c = skipSpace();
    finish(c);
    return c;
}

char* WordReader::quoted() {
    int c = read();
    while (c != EOF && c != '"') {
        c = read();
    }
    if (c == EOF) {
        return nullptr;
    }
    set("");
    for (c = read(); c != EOF && c != '"'; c = read()) {
        append(c);
    }
    finish(EOF);
    char* content = strndup(word_, length_);
    if (content == nullptr) {
        notice::Call::failForMemory();
    }
    return content;
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
        c = read();
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

bool WordReader::numbers(Vector& vector, const char* what) {
    const std::int64_t line = notice::lines.token;
    int found = 0;
    for (float* value : {&vector.x, &vector.y, &vector.z}) {
        if (!number(*value)) {
            notice::atLine(AnimNoticeKind::Missing, what, line, "3 numbers expected, %d found",
                           found);
            return false;
        }
        ++found;
    }
    return true;
}

} // namespace text
