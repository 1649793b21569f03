// SPDX-License-Identifier: MIT
// Reading words: the process's only reader, with the stream, the last word read (the look-ahead of
// tinyUtils.h) and the line number. The public functions on streams call it.
#pragma once

#include "tinyKinds.h"
#include "tinyUtils.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string_view>

namespace text {

class Reader {
  public:
    /// The reader, set to that stream. Its line number and, within a style, its word stay.
    static Reader& on(std::FILE* stream, const Style& style = kAnimationStyle) {
        the.stream_ = stream;
        if (the.style_ != &style) {
            the.setStyle(style);
        }
        return the;
    }

    /// Reads the next word. False, and an empty word, at end of file. Characters beyond the style's
    /// limit are consumed and reported.
    bool next();

    /// The same for a word that must follow: the end of the file in its place is reported.
    bool value();

    /// Reads a number that must follow, as `toFloat` and `toShort`. False at end of file, with
    /// `value` unchanged.
    bool value(float& value);
    bool value(std::int16_t& value);

    /// Reads the next word if it is this one and stands in the stream's buffer with a blank after
    /// it; else nothing has been read, and `next` may still find it.
    bool nextIs(std::string_view word);

    /// The same for one of these words; returns its index, or -1.
    int nextOf(std::span<const char* const> words);

    /// The last word read, or set.
    [[nodiscard]] std::string_view word() const { return {word_, length_}; }
    [[nodiscard]] const char* c_str() const { return word_; }
    void set(std::string_view word);

    /// True when there is no last word: it was the end of file. (A word can be empty, too: one that
    /// begins with a zero byte.)
    [[nodiscard]] bool atEnd() const { return word_[0] == '\0' && !zeroFirst_; }

    /// The first character of the next word, which stays in the stream; EOF at end of file.
    int peek();

    /// Reads a string in quotes, which may hold blanks and line ends. In animation text the first
    /// character that is not blank counts as the opening quote, and the word becomes the string
    /// with its quotes; in other text everything before the first quote is skipped. Null at end of
    /// file (the word is then empty) or when out of memory; otherwise the caller must `free` it.
    /// A zero byte ends it and is reported, unless the caller asks for its `size`.
    [[nodiscard]] char* quoted(std::size_t* size = nullptr);

    /// Reads a number of a text flavour. False, with `value` unchanged, if no number follows; the
    /// characters that cannot begin a number then stay in the stream.
    bool number(std::int16_t& value);
    bool number(float& value);

    /// Reads three numbers, up to the first missing one, which is reported with `what`; returns how
    /// many were read.
    int numbers(Vector& vector, const char* what);

    /// The ordinary characters of words, the blanks (' '), or all characters up to the next brace,
    /// quote or zero byte, at the front of the stream's buffer, maybe none although they go on; and
    /// take the first `count` of them.
    [[nodiscard]] std::string_view ordinaryAhead() const;
    [[nodiscard]] std::string_view blanksAhead() const;
    [[nodiscard]] std::string_view unbracedAhead() const;
    void take(std::size_t count);

    /// Read one character, or put the last one back.
    int get();
    void unget(int c);

    /// Lines of the next character and of the last word.
    [[nodiscard]] std::int64_t line() const { return line_; }
    [[nodiscard]] static std::int64_t wordLine();
    static void setWordLine(std::int64_t line);

    /// Empties the word, as at end of file.
    static void forget();

    /// Begins a file: the next character is on that line.
    static void beginFile(std::int64_t line);

    [[nodiscard]] const Style& style() const { return *style_; }
    [[nodiscard]] std::FILE* stream() const { return stream_; }

  private:
    static Reader the;

    void setStyle(const Style& style);
    [[gnu::noinline]] bool nextFromStream();
    int skipBlanks();
    void reportEnd() const;
    static void reportCut(const char* word, bool tooLong, std::size_t most);
    bool numberText();
    bool takePlain(float& value);
    bool takePlain(std::int16_t& value);
    const char* ahead(std::int64_t& line) const;
    void accept(std::size_t length, const char* end, std::int64_t line);
    void takeAhead(const char* word, std::size_t length, std::int64_t line);
    [[nodiscard]] bool isBlank(char c) const;
    const char* skipBuffered(const char* at, const char* last, std::int64_t& line) const;
    template <typename EndOf>
    bool takeBuffered(EndOf endOf);
    template <typename Belongs>
    bool collect(int c, Belongs belongs);
    void end(std::size_t length);

    std::FILE* stream_ = nullptr;
    const Style* style_ = nullptr;
    char* word_ = animTokenLine;
    std::size_t length_ = 0; ///< of the word, up to its first zero byte
    bool zeroFirst_ = false; ///< the word begins with a zero byte
    std::int64_t line_ = 1;
    const std::uint8_t* kinds_ = nullptr; ///< the kind of each character, from EOF on
};

} // namespace text
