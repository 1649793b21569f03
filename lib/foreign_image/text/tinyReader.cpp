// SPDX-License-Identifier: MIT
#include "tinyReader.h"

#include "base/streamBuffer.h"
#include "file/tinyNotice.h"
#include "tinyUtilsText.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace text {

Reader Reader::the;

namespace {

char fileWord[kFileStyle.mostOfWord + 1] = "";

/// True when `c` can follow `before` in a number; `before` is zero for the first character.
bool goesOnNumber(int c, char before) {
    const bool afterExponent = before == 'e' || before == 'E';
    return (c >= '0' && c <= '9') || c == '.' ||
           ((c == '+' || c == '-') && (before == '\0' || afterExponent)) ||
           ((c == 'e' || c == 'E') && (isDigit(before) || before == '.'));
}

/// Characters of most words.
constexpr std::size_t kShort = 16;

/// Reports characters that are missing from the word: those beyond the `most` kept, and those after
/// a zero byte.
void reportCut(const char* word, bool tooLong, std::size_t most) {
    char detail[64] = "a zero byte ends it";
    if (tooLong) {
        std::snprintf(detail, sizeof detail, "at most %zu characters are kept", most);
    }
    animNotify(AnimNoticeKind::Cut, word, detail);
}

} // namespace

void Reader::setStyle(const Style& style) {
    style_ = &style;
    kinds_ = (style.bracesAlone ? kFileKinds : kAnimationKinds).data() - EOF; // -1
    word_ = style.bracesAlone ? fileWord : animTokenLine;
    length_ = std::strlen(word_);
}

std::int64_t Reader::wordLine() {
    return notice::place.line;
}

void Reader::setWordLine(std::int64_t line) {
    notice::place.line = line;
}

void Reader::forget() {
    the.end(0);
    the.zeroFirst_ = false;
    animTokenLine[0] = '\0';
}

void Reader::beginFile(std::int64_t line) {
    the.line_ = line;
    notice::place = {.line = line};
    notice::newFile();
}

int Reader::get() {
    const int c = getc_unlocked(stream_);
    line_ += c == '\n' ? 1 : 0;
    return c;
}

void Reader::unget(int c) {
    if (c != EOF) {
        std::ungetc(c, stream_);
        line_ -= c == '\n' ? 1 : 0;
    }
}

void Reader::set(std::string_view word) {
    end(word.copy(word_, style_->mostOfWord));
    zeroFirst_ = false;
}

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
            const std::uint64_t others = loadEight(at) ^ (kEach * ' ');
            if (others != 0) {
                at += firstByte(others);
                break;
            }
        }
    }
    return at;
}

std::string_view Reader::ordinaryAhead() const {
    const std::string_view buffered = base::bufferedInput(stream_);
    const char* const last = buffered.data() + buffered.size();
    const char* const end = endOfOrdinary(buffered.data(), last, kinds_);
    return buffered.substr(0, static_cast<std::size_t>(end - buffered.data()));
}

std::string_view Reader::blanksAhead() const {
    const std::string_view buffered = base::bufferedInput(stream_);
    return buffered.substr(0, buffered.find_first_not_of(' '));
}

void Reader::take(std::size_t count) {
    base::takeBuffered(stream_, count);
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
    if (length <= kShort && last - word >= std::ptrdiff_t{kShort}) {
        std::memcpy(word_, word, kShort); // of constant size, and the word has the room
    } else {
        std::memcpy(word_, word, length);
    }
    word_[length] = '\0';
    length_ = length;
    zeroFirst_ = false;
    notice::place.line = line;
    ++notice::place.words;
    const bool consumed = !style_->bracesAlone;
    line_ = line + (consumed && *end == '\n' ? 1 : 0);
    base::takeBuffered(stream_,
                       static_cast<std::size_t>(end - buffered.data()) + (consumed ? 1 : 0));
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

bool Reader::next() {
    const std::uint8_t* const kinds = kinds_;
    const auto endOfWord = [kinds](const char* at, const char* last) {
        return endOfOrdinary(at, last, kinds);
    };
    return takeBuffered(endOfWord) || nextFromStream();
}

bool Reader::nextFromStream() {
    const std::uint8_t* const kinds = kinds_;
    const int c = skipBlanks();
    if (kinds[c] == kAlone) {
        word_[0] = static_cast<char>(c);
        end(1);
        return true;
    }
    return collect(c, [kinds](int next, char) { return kinds[next] <= kZero; });
}

/// Reports that the file ends where a value goes on. In the text flavours a block is then open,
/// which their readers report.
void Reader::reportEnd() const {
    if (!style_->bracesAlone) {
        animNotify(AnimNoticeKind::Missing, "", "the file ends inside a value");
    }
}

bool Reader::value() {
    const bool found = next();
    if (!found) {
        reportEnd();
    }
    return found;
}

int Reader::peek() {
    const int c = skipBlanks();
    unget(c);
    return c;
}

char* Reader::quoted(std::size_t* size) {
    int c = skipBlanks();
    while (style_->bracesAlone && c != EOF && c != style_->quote) {
        c = get();
    }
    if (c == EOF) {
        reportEnd();
        return nullptr;
    }
    const std::size_t begin = style_->bracesAlone ? 0 : 1;
    const std::size_t most = begin + style_->mostOfQuoted;
    std::size_t length = begin;
    word_[0] = static_cast<char>(c);
    bool cut = false;
    for (c = get(); c != EOF && c != style_->quote; c = get()) {
        cut = length == most;
        if (!cut) {
            word_[length++] = static_cast<char>(c);
        }
    }
    if (c == EOF) {
        reportEnd();
    }
    const std::size_t used = strnlen(word_ + begin, length - begin);
    const bool zero = used < length - begin && size == nullptr;
    auto* content = static_cast<char*>(std::calloc(length - begin + 1, 1));
    if (content != nullptr) {
        std::memcpy(content, word_ + begin, size != nullptr ? length - begin : used);
    }
    if (size != nullptr) {
        *size = length - begin;
    }
    if (begin != 0) {
        word_[length++] = style_->quote;
    }
    end(length);
    zeroFirst_ = word_[0] == '\0';
    if (cut || zero) {
        reportCut(word_, cut, style_->mostOfQuoted);
    }
    if (content == nullptr) {
        notice::Call::failForMemory();
    }
    return content;
}

bool Reader::restOfLine() {
    int c = skipBlanks();
    const bool found = c != EOF;
    std::size_t length = 0;
    for (; c != EOF && c != '\n'; c = get()) {
        word_[length] = static_cast<char>(c);
        length += length < style_->mostOfWord ? 1 : 0;
    }
    end(length);
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
    const bool found = numberText();
    value = found ? toShort(word()) : value;
    return found;
}

bool Reader::number(float& value) {
    const bool found = numberText();
    value = found ? toFloat(word()) : value;
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
