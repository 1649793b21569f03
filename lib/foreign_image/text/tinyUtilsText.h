// SPDX-License-Identifier: MIT
// Numbers and words of text files, for the toolkit's own modules: independent of the locale,
// without a lock per character, and bounded.
//
// Number text follows `atoi`, `atof` and `printf`, except that what is written is always a number
// that reads back: an infinity is written as the largest float, what is no number as 0.
#pragma once

#include "tinyUtils.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace text {

// ---------------------------------------------------------------------------- text to number

/// As `atoi`: leading white space, a sign, digits; 0 when there are none. Beyond 64 bits it stays
/// at the end of the range, then the low 32 bits are kept. A word that is not just that, or whose
/// value lies outside `least` to `most`, is reported as a bad number.
[[nodiscard]] std::int32_t toInt(const char* word, std::int64_t least, std::int64_t most);
[[nodiscard]] std::int16_t toShort(const char* word); ///< 16 bits, and their range

/// As `atof` narrowed to a float, hexadecimal floats included; "INF", "NAN" and their like are no
/// numbers and give 0; what is too large gives the largest float of its sign. A word that is not
/// just that is reported as a bad number.
[[nodiscard]] float toFloat(const char* word);

/// `toFloat` without a report: `exact` when there would be none.
struct ParsedFloat {
    float value;
    bool exact;
};
[[nodiscard]] ParsedFloat parseFloat(std::string_view word);

/// A number of a file that is written in another unit, in the record's: `value` through `unit`.
[[nodiscard]] float fromUnit(float value, double unit);

/// Brings a number that a file gives as a float into a 16-bit member: the nearest value that fits.
/// One outside the range is reported as a bad number, a fraction as dropped by the format.
[[nodiscard]] std::int16_t toShort(float value, const char* word);

// ---------------------------------------------------------------------------- number to text

/// Writes the characters of `characters`.
void put(std::FILE* stream, std::string_view characters);

/// Writes `word` and a blank: "%s ".
void putWord(std::FILE* stream, std::string_view word);

/// Writes `name` as "'%s' ", null as "'' "; a single quote inside it as a double one, and reports
/// that and a name that is too long to be read back.
void putQuoted(std::FILE* stream, const char* name);

/// Writes `value` times `unit` as "%g ". A number that does not read back as it is is reported.
void putFloat(std::FILE* stream, float value, double unit = 1.0);

/// Writes `value` as "%d ".
void putInt(std::FILE* stream, std::int64_t value);

/// Writes `value` times `unit` as "%*.*f" with the field width `FM` and the precision `FD`. Reports
/// as `putFloat` does.
void putFixed(std::FILE* stream, float value, double unit = 1.0);

/// Writes `name` in double quotes, a double quote inside it as a single one.
void putDoubleQuoted(std::FILE* stream, const char* name);

// ------------------------------------------------- words of the text flavours (".spl", ".hrc")

/// Reads words and numbers of one stream as `fscanf` does with "%s", "%hd" and "%f": white space
/// is what `isspace` calls so, and the character that ends a word or number stays in the stream. A
/// brace or a double quote is a word of its own, with or without blanks round it.
/// Keeps nothing back, so that others may read the stream between two calls; counts lines in the
/// process-wide line number of tinyUtils.h.
class WordReader {
  public:
    explicit WordReader(std::FILE* stream) : stream_(stream) {}

    /// Reads the next word, at most 255 characters of it; the rest is consumed. False at end of
    /// file.
    bool next();

    /// The last word read, or set.
    [[nodiscard]] std::string_view word() const { return {word_, length_}; }
    [[nodiscard]] const char* c_str() const { return word_; }
    void set(std::string_view word);

    /// The first character of the next word, which stays in the stream; EOF at end of file.
    int peek();

    /// Reads the string in double quotes that follows, whatever stands before the first quote; at
    /// most 255 characters of it. Null at end of file or when memory ran out, else a string that
    /// the caller frees with `free`.
    [[nodiscard]] char* quoted();

    /// Reads a whole number, or a float. False, and `value` unchanged, when what follows is none;
    /// it then stays in the stream as far as it cannot begin a number.
    bool number(std::int16_t& value);
    bool number(float& value);

    /// Reads three numbers, up to the first that is missing, which is reported as `what`'s; true
    /// for all.
    bool numbers(Vector& vector, const char* what);

    [[nodiscard]] std::FILE* stream() const { return stream_; }

  private:
    int read();
    int skipSpace();
    bool numberText();
    void append(int c);
    void finish(int following);

    std::FILE* stream_;
    std::size_t length_ = 0;
    bool cut_ = false;
    char word_[256] = "";
};

} // namespace text
