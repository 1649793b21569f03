// SPDX-License-Identifier: MIT
#include "tinyReader.h"

#include "file/tinyNotice.h"
#include "tinyReaderBuffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace text {

Reader Reader::the;

namespace {

char fileWord[kFileStyle.mostOfWord + 1] = "";

} // namespace

/// Reports characters that are missing from the word: those beyond the `most` kept, and those after
/// a zero byte.
void Reader::reportCut(const char* word, bool tooLong, std::size_t most) {
    char detail[64] = "a zero byte ends it";
    if (tooLong) {
        std::snprintf(detail, sizeof detail, "at most %zu characters are kept", most);
    }
    animNotify(AnimNoticeKind::Cut, word, detail);
}

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

std::string_view Reader::unbracedAhead() const {
    const std::string_view buffered = base::bufferedInput(stream_);
    const char* const last = buffered.data() + buffered.size();
    const char* const end = endOfUnbraced(buffered.data(), last, kinds_);
    return buffered.substr(0, static_cast<std::size_t>(end - buffered.data()));
}

void Reader::take(std::size_t count) {
    const std::string_view taken = base::bufferedInput(stream_).substr(0, count);
    line_ += std::ranges::count(taken, '\n');
    base::takeBuffered(stream_, taken.data() + taken.size());
}

bool Reader::next() {
    std::int64_t line = 0;
    if (const char* const word = ahead(line); word != nullptr) {
        const std::size_t length = shortWordLength(word);
        if (length != 0 && length < kShort && isBlank(word[length])) {
            takeAhead(word, length, line);
            return true;
        }
    }
    const std::uint8_t* const kinds = kinds_;
    const auto endOfWord = [kinds](const char* at, const char* last) {
        return endOfOrdinary(at, last, kinds);
    };
    return takeBuffered(endOfWord) || nextFromStream();
}

bool Reader::nextIs(std::string_view expected) {
    std::int64_t line = 0;
    const char* const word = ahead(line);
    if (word == nullptr || expected.size() > kShort || !isBlank(word[expected.size()]) ||
        !equal({word, expected.size()}, expected)) {
        return false;
    }
    takeAhead(word, expected.size(), line);
    return true;
}

int Reader::nextOf(std::span<const char* const> words) {
    std::int64_t line = 0;
    const char* const word = ahead(line);
    for (std::size_t i = 0; word != nullptr && i < words.size(); ++i) {
        std::size_t length = 0;
        while (length < kShort && words[i][length] != '\0' && words[i][length] == word[length]) {
            ++length;
        }
        if (length != 0 && words[i][length] == '\0' && isBlank(word[length])) {
            takeAhead(word, length, line);
            return static_cast<int>(i);
        }
    }
    return -1;
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

} // namespace text
