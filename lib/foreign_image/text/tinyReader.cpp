// SPDX-License-Identifier: MIT
#include "tinyReader.h"

#include "file/tinyNotice.h"
#include "tinyUtilsText.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

namespace text {

Reader Reader::the;

namespace {

/// The kind of a character in a style.
enum Kind : std::uint8_t { kOrdinary, kBlank, kAlone, kEnd };

/// The kind of each character; the first entry is for EOF.
using Kinds = std::array<std::uint8_t, 257>;

constexpr Kinds kindsOf(const Style& style) {
    Kinds kinds = {kEnd};
    for (const char c : style.blanks) {
        kinds[static_cast<std::size_t>(c) + 1] = kBlank;
    }
    for (const char c : {'{', '}', style.quote}) {
        kinds[static_cast<std::size_t>(c) + 1] = style.bracesAlone ? kAlone : kOrdinary;
    }
    return kinds;
}

constexpr Kinds kAnimationKinds = kindsOf(kAnimationStyle);
constexpr Kinds kFileKinds = kindsOf(kFileStyle);

char fileWord[kFileStyle.mostOfWord + 1] = "";

/// True when `c` can follow `before` in a number; `before` is zero for the first character.
bool goesOnNumber(int c, char before) {
    const bool afterExponent = before == 'e' || before == 'E';
    return (c >= '0' && c <= '9') || c == '.' ||
           ((c == '+' || c == '-') && (before == '\0' || afterExponent)) ||
           ((c == 'e' || c == 'E') && (isDigit(before) || before == '.'));
}

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
}

std::int64_t Reader::wordLine() {
    return notice::place.line;
}

void Reader::setWordLine(std::int64_t line) {
    notice::place.line = line;
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
    word_[word.copy(word_, style_->mostOfWord)] = '\0';
    zeroFirst_ = false;
}

/// Empties the word, skips blanks and returns the first other character.
inline int Reader::skipBlanks() {
    word_[0] = '\0';
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
    word[length] = '\0';
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
    const int c = skipBlanks();
    if (kinds[c] == kAlone) {
        word_[0] = static_cast<char>(c);
        word_[1] = '\0';
        return true;
    }
    return collect(c, [kinds](int next, char) { return kinds[next] == kOrdinary; });
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
    const std::size_t end = begin + style_->mostOfQuoted;
    std::size_t length = begin;
    word_[0] = static_cast<char>(c);
    bool cut = false;
    for (c = get(); c != EOF && c != style_->quote; c = get()) {
        cut = length == end;
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
    word_[length] = '\0';
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
    word_[length] = '\0';
    return found;
}

bool Reader::numberText() {
    return collect(skipBlanks(), goesOnNumber) &&
           std::any_of(word_, word_ + std::strlen(word_), isDigit);
}

bool Reader::number(std::int16_t& value) {
    const bool found = numberText();
    value = found ? toShort(word_) : value;
    return found;
}

bool Reader::number(float& value) {
    const bool found = numberText();
    value = found ? toFloat(word_) : value;
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
