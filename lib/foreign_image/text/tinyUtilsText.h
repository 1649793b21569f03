// SPDX-License-Identifier: MIT
// Numbers and words of text files, for the toolkit's own modules: independent of the locale,
// without a lock per character, and bounded.
//
// Number text follows `atoi`, `atof` and `printf`, except that every written number reads back: an
// infinity is written as the largest float, a NaN as 0.
#pragma once

#include "tinyReader.h"
#include "tinyUtils.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace text {

// --- Text to number ------------------------------------------------------------------------------
// A zero byte follows every word, for the notice about it.

/// As `atoi`: leading white space, a sign, digits; 0 when there are none. Beyond 64 bits it is
/// clamped; then the low 32 bits are kept. A word with other characters, or with a value outside
/// `least` to `most`, is reported as a bad number.
[[nodiscard]] std::int32_t toInt(std::string_view word, std::int64_t least, std::int64_t most);
[[nodiscard]] std::int16_t toShort(std::string_view word); ///< 16 bits, and their range

/// `toInt` with all 64 bits, of decimal or (`base` 16) hexadecimal digits.
[[nodiscard]] std::int64_t toWhole(std::string_view word, std::int64_t least, std::int64_t most,
                                   int base = 10);

/// As `atof` narrowed to a float, hexadecimal floats included; "INF", "NAN" and the like are not
/// numbers and give 0; a number that is too large gives the largest float of its sign. A word with
/// other characters is reported as a bad number.
[[nodiscard]] float toFloat(std::string_view word);

/// `toFloat` without a report: `exact` if there would be none.
struct ParsedFloat {
    float value;
    bool exact;
};
[[nodiscard]] ParsedFloat parseFloat(std::string_view word);

/// Converts a number of a file to the record's unit: `value` divided by `unit`.
[[nodiscard]] float fromUnit(float value, double unit);

/// Converts a float of a file to a 16-bit member: the nearest value that fits. A value outside the
/// range is reported as a bad number, a fraction as dropped by the format.
[[nodiscard]] std::int16_t toShort(float value, const char* word);

// --- Number to text ------------------------------------------------------------------------------

/// Writes the characters of `characters`.
void put(std::FILE* stream, std::string_view characters);

/// Writes `word` and a blank: "%s ".
void putWord(std::FILE* stream, std::string_view word);

/// Writes `name`, or nothing for null, in the quotes of the style; a quote inside it is written as
/// the other kind. Reports that, and a name that is too long to be read back.
void putQuoted(std::FILE* stream, const char* name, const Style& style);

/// Writes `name` as "'%s' ", null as "'' ".
inline void putQuoted(std::FILE* stream, const char* name) {
    putQuoted(stream, name, kAnimationStyle);
    putc_unlocked(' ', stream);
}

/// Writes `value` times `unit` as "%g ". A number that changes when it is read back is reported.
void putFloat(std::FILE* stream, float value, double unit = 1.0);

/// Writes `value` as "%d ".
void putInt(std::FILE* stream, std::int64_t value);

/// Writes `value` times `unit` as "%*.*f" with the field width `FM` and the precision `FD`. Reports
/// as `putFloat` does.
void putFixed(std::FILE* stream, float value, double unit = 1.0);

} // namespace text
