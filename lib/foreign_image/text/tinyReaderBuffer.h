// SPDX-License-Identifier: MIT
// How the reader takes words out of the stream, as many characters at a time as the stream's buffer
// has ready. Inner to the reader.
#pragma once

#include "base/streamBuffer.h"
#include "file/tinyNotice.h"
#include "tinyReader.h"

#include <cstring>

namespace text {

/// Characters of most words.
inline constexpr std::size_t kShort = 16;

/// Characters that are readable at `ahead`.
inline constexpr std::size_t kAhead = 3 * kEight;

/// Ends the word after that many characters, or at a zero byte before.
inline void Reader::end(std::size_t length) {
    word_[length] = '\0';
    length_ = std::strlen(word_);
}

/// Empties the word, skips blanks and returns the first other character.
inline int Reader::skipBlanks() {
    end(0);
    zeroFirst_ = false;
    std::FILE* const stream = stream_; // locals: a store through a char pointer could alias members
    const std::uint8_t* const kinds = kinds_;
    std::int64_t line = line_;
    int c = getc_unlocked(stream);
    for (; kinds[c] == kBlank; c = getc_unlocked(stream)) {
        line += c == '\n' ? 1 : 0;
    }
    line_ = line;
    notice::place.line = line;
    ++notice::place.words;
    return c;
}

/// The first character from `at` on that is not blank, or `last`; counts lines.
inline const char* Reader::skipBuffered(const char* at, const char* last,
                                        std::int64_t& line) const {
    const std::uint8_t* const kinds = kinds_;
    while (at != last && kinds[static_cast<unsigned char>(*at)] == kBlank) {
        if (*at++ != '\n') {
            continue;
        }
        ++line;
        for (; last - at >= std::ptrdiff_t{kEight}; at += kEight) { // indentation
            const std::uint64_t others = base::loadLe64(at) ^ (kEach * ' ');
            if (others != 0) {
                at += firstByte(others);
                break;
            }
        }
    }
    return at;
}

/// The first character that is neither a blank nor a line end, and the line of it; null if fewer
/// than `kAhead` characters of it are in the stream's buffer. Nothing is taken.
///
/// Most words are taken from there. Their place depends on the characters before only by branches,
/// which are predicted because most lines resemble each other.
inline const char* Reader::ahead(std::int64_t& line) const {
    const std::string_view buffered = base::bufferedInput(stream_);
    if (buffered.size() < kAhead) {
        return nullptr;
    }
    const char* at = buffered.data();
    const char* const last = at + (buffered.size() - kAhead);
    line = line_;
    while (at <= last) {
        if (*at == '\n') {
            ++line;
            for (++at; at <= last && base::loadLe64(at) == kEach * ' ';) {
                at += kEight;
            }
        } else if (*at != ' ') {
            return at;
        }
        for (; at <= last && std::memcmp(at, "    ", kEight / 2) == 0;) {
            at += kEight / 2;
        }
        for (; at <= last && *at == ' ';) {
            ++at;
        }
    }
    return nullptr;
}

/// Makes the first `length` characters of `word_`, which end at `end` in the stream's buffer, the
/// word read, and takes them.
inline void Reader::accept(std::size_t length, const char* end, std::int64_t line) {
    word_[length] = '\0';
    length_ = length;
    zeroFirst_ = false;
    notice::place.line = line;
    ++notice::place.words;
    const bool consumed = !style_->bracesAlone;
    line_ = line + (consumed && *end == '\n' ? 1 : 0);
    base::takeBuffered(stream_, end + (consumed ? 1 : 0));
}

/// Takes the word of `length` (at most `kShort`) characters at `ahead`, after which there is a
/// blank.
inline void Reader::takeAhead(const char* word, std::size_t length, std::int64_t line) {
    std::memcpy(word_, word, kShort); // of constant size, and the word has the room
    accept(length, word + length, line);
}

inline bool Reader::isBlank(char c) const {
    return kinds_[static_cast<unsigned char>(c)] == kBlank;
}

/// Takes the next word out of the stream's buffer; `endOf` finds the end of a word. False if it is
/// not there in one piece with the character after it, or is not an ordinary word; then nothing has
/// been taken.
template <typename EndOf>
inline bool Reader::takeBuffered(EndOf endOf) {
    const std::string_view buffered = base::bufferedInput(stream_);
    const char* const last = buffered.data() + buffered.size();
    std::int64_t line = line_;
    const char* const word = skipBuffered(buffered.data(), last, line);
    const char* const end = endOf(word, last);
    const auto length = static_cast<std::size_t>(end - word);
    if (end == last || *end == '\0' || length == 0 || length > style_->mostOfWord) {
        return false;
    }
    std::memcpy(word_, word, length);
    accept(length, end, line);
    return true;
}

/// Reads a word of `c` and the following characters for which `belongs` is true; false if there are
/// none.
template <typename Belongs>
bool Reader::collect(int c, Belongs belongs) {
    const std::size_t most = style_->mostOfWord;
    char* const word = word_; // locals, as above
    std::FILE* const stream = stream_;
    std::size_t length = 0;
    bool cut = false;
    bool zero = false;
    for (; belongs(c, length == 0 ? '\0' : word[length - 1]); c = getc_unlocked(stream)) {
        cut = length == most;
        zero = zero || c == '\0';
        word[length] = static_cast<char>(c);
        length += cut ? 0 : 1;
    }
    end(length);
    if (!style_->bracesAlone) {
        line_ += c == '\n' ? 1 : 0;
    } else if (c != EOF) {
        std::ungetc(c, stream);
    }
    if (cut || zero) {
        zeroFirst_ = word[0] == '\0';
        reportCut(word, cut, most);
    }
    return length != 0;
}

} // namespace text
