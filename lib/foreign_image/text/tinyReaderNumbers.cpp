// SPDX-License-Identifier: MIT
// The numbers of the reader.
#include "file/tinyNotice.h"
#include "tinyDecimal.h"
#include "tinyReaderBuffer.h"
#include "tinyUtilsText.h"

#include <algorithm>
#include <limits>

namespace text {

namespace {

/// True when `c` can follow `before` in a number; `before` is zero for the first character.
bool goesOnNumber(int c, char before) {
    const bool afterExponent = before == 'e' || before == 'E';
    return (c >= '0' && c <= '9') || c == '.' ||
           ((c == '+' || c == '-') && (before == '\0' || afterExponent)) ||
           ((c == 'e' || c == 'E') && (isDigit(before) || before == '.'));
}

} // namespace

/// Takes a number of the usual form if it is ahead with a blank after it.
inline bool Reader::takePlain(float& value) {
    std::int64_t line = 0;
    const char* const word = ahead(line);
    const Decimal number = word != nullptr ? decimalAt(word) : Decimal{};
    if (number.end == nullptr || !isBlank(*number.end)) {
        return false;
    }
    value = static_cast<float>(number.value());
    takeAhead(word, static_cast<std::size_t>(number.end - word), line);
    return true;
}

/// The same for a whole number that fits.
inline bool Reader::takePlain(std::int16_t& value) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::int16_t>::max();
    std::int64_t line = 0;
    const char* const word = ahead(line);
    const Decimal number = word != nullptr ? decimalAt(word) : Decimal{};
    if (number.end == nullptr || !isBlank(*number.end) || number.decimals != 0 ||
        number.digits > kMost) {
        return false;
    }
    const auto whole = static_cast<std::int16_t>(number.digits);
    value = static_cast<std::int16_t>(number.minus ? -whole : whole);
    takeAhead(word, static_cast<std::size_t>(number.end - word), line);
    return true;
}

bool Reader::value(float& value) {
    const bool plain = takePlain(value);
    const bool found = plain || this->value();
    value = found && !plain ? toFloat(word()) : value;
    return found;
}

bool Reader::value(std::int16_t& value) {
    const bool plain = takePlain(value);
    const bool found = plain || this->value();
    value = found && !plain ? toShort(word()) : value;
    return found;
}

bool Reader::numberText() {
    const auto endOfNumber = [](const char* at, const char* last) {
        for (char before = '\0'; at != last && goesOnNumber(*at, before); ++at) {
            before = *at;
        }
        return at;
    };
    return (takeBuffered(endOfNumber) || collect(skipBlanks(), goesOnNumber)) &&
           std::ranges::any_of(word(), isDigit);
}

bool Reader::number(std::int16_t& value) {
    const bool plain = takePlain(value);
    const bool found = plain || numberText();
    value = found && !plain ? toShort(word()) : value;
    return found;
}

bool Reader::number(float& value) {
    const bool plain = takePlain(value);
    const bool found = plain || numberText();
    value = found && !plain ? toFloat(word()) : value;
    return found;
}

int Reader::numbers(Vector& vector, const char* what) {
    const std::int64_t line = wordLine();
    int found = 0;
    for (float* value : {&vector.x, &vector.y, &vector.z}) {
        if (!number(*value)) {
            notice::atLine(AnimNoticeKind::Missing, what, line, "3 numbers expected, %d found",
                           found);
            break;
        }
        ++found;
    }
    return found;
}

} // namespace text
