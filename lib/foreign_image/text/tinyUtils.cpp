// SPDX-License-Identifier: MIT
#include "tinyUtils.h"

#include "file/tinyNotice.h"
#include "tinySoftType.h"
#include "tinyUtilsText.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

char animTokenLine[kAnimTokenSize];
char* const animToken = animTokenLine;
std::int16_t animSValue = 0;
float animFValue = 0.0F;
float animFileVersion = RELEASE_NUMBER;
std::int32_t animIndentLength = 0;
char* animIndentString = nullptr;

namespace {

/// Deepest indentation: what a writer can nest is far less, and the string stays small.
constexpr std::int32_t kMostLevels = 1000;
constexpr std::size_t kBlanksPerLevel = 3;

// Kept: A carriage return is part of a token.
// A reader of text files would take it as white space, above all at the end of a line. Only blank,
// tab and newline separate tokens, and the words of files from elsewhere are compared as they
// stand.
constexpr bool separates(int c) {
    return c == ' ' || c == '\t' || c == '\n';
}

int readCharacter(std::FILE* stream) {
    const int c = getc_unlocked(stream);
    notice::lines.next += c == '\n' ? 1 : 0;
    return c;
}

/// Empties the token and reads up to the first character that is no separator, which it returns.
int skipSeparators(std::FILE* stream) {
    animTokenLine[0] = '\0';
    int c = getc_unlocked(stream);
    while (separates(c)) {
        notice::lines.next += c == '\n' ? 1 : 0;
        c = getc_unlocked(stream);
    }
    notice::lines.token = notice::lines.next;
    ++notice::lines.tokens;
    notice::lines.next += c == '\n' ? 1 : 0;
    return c;
}

} // namespace

int in_animToken(std::FILE* stream) {
    int c = skipSeparators(stream);
    if (c == EOF) {
        return 0;
    }
    std::size_t length = 0;
    bool cut = false;
    for (; c != EOF && !separates(c); c = getc_unlocked(stream)) {
        cut = length == kAnimTokenSize - 1;
        animTokenLine[length] = static_cast<char>(c);
        length += cut ? 0 : 1;
    }
    notice::lines.next += c == '\n' ? 1 : 0;
    animTokenLine[length] = '\0';
    if (cut) {
        animNotify(AnimNoticeKind::Cut, animTokenLine, "at most 239 characters are kept");
    }
    return 1;
}

int in_animSValue(std::FILE* stream, std::int16_t* value) {
    const int found = in_animToken(stream);
    if (found != 0) {
        *value = text::toShort(animTokenLine);
    }
    return found;
}

int in_animSValue_na(std::FILE* stream) {
    return in_animSValue(stream, &animSValue);
}

int in_animFValue(std::FILE* stream, float* value) {
    const int found = in_animToken(stream);
    if (found != 0) {
        *value = text::toFloat(animTokenLine);
    }
    return found;
}

int in_animFValue_na(std::FILE* stream) {
    return in_animFValue(stream, &animFValue);
}

int in_animLValue(std::FILE* stream, std::int32_t* value) {
    using Limits = std::numeric_limits<std::int32_t>;
    const int found = in_animToken(stream);
    if (found != 0) {
        *value = text::toInt(animTokenLine, Limits::min(), Limits::max());
    }
    return found;
}

char* stringReadAsciiAnimation(std::FILE* stream) {
    const int opening = skipSeparators(stream);
    if (opening == EOF) {
        return nullptr;
    }
    constexpr std::size_t kMostContent = kAnimTokenSize - 3; // two quotes and the zero
    animTokenLine[0] = static_cast<char>(opening);
    std::size_t length = 1;
    bool cut = false;
    int c = readCharacter(stream);
    for (; c != EOF && c != '\''; c = readCharacter(stream)) {
        if (length > kMostContent) {
            cut = true;
        } else {
            animTokenLine[length++] = static_cast<char>(c);
        }
    }
    animTokenLine[length] = '\'';
    animTokenLine[length + 1] = '\0';
    if (cut) {
        animNotify(AnimNoticeKind::Cut, animTokenLine, "at most 237 characters are kept");
    }
    // Kept: An empty quoted string reads as no string.
    // A reader would expect "" for ''. Writers put '' where a name is absent, so that the two are
    // the same thing in a file, and records hold null for both.
    if (std::strcmp(animTokenLine, "''") == 0) {
        return nullptr;
    }
    char* content = strndup(animTokenLine + 1, length - 1);
    if (content == nullptr) {
        notice::Call::failForMemory();
    }
    return content;
}

// Kept: Setting the depth of indentation does not rebuild the text of a new line.
// A reader would expect both to change together. Writers set the depth and then call `incIndent`,
// with 0 where nothing else changes; until then lines begin as before.
void setIndentLength(std::int32_t depth) {
    animIndentLength = depth;
}

void incIndent(std::int32_t delta) {
    static char room[kMostLevels * kBlanksPerLevel + 2]; // so that it cannot fail
    const std::int64_t depth = std::int64_t{animIndentLength} + delta;
    animIndentLength =
        static_cast<std::int32_t>(std::clamp(depth, std::int64_t{0}, std::int64_t{kMostLevels}));
    const std::size_t blanks = static_cast<std::size_t>(animIndentLength) * kBlanksPerLevel;
    room[0] = '\n';
    std::memset(room + 1, ' ', blanks);
    room[blanks + 1] = '\0';
    animIndentString = room;
}

void animWriteNewLine(std::FILE* stream) {
    text::put(stream, animIndentString != nullptr ? animIndentString : "\n");
}

std::int64_t animTokenLineNumber() {
    return notice::lines.token;
}

void animSetLineNumber(std::int64_t line) {
    notice::lines = {.next = line, .token = line};
    notice::newFile();
}

void animReset() {
    animTokenLine[0] = '\0';
    animSValue = 0;
    animFValue = 0.0F;
    animFileVersion = RELEASE_NUMBER;
    animIndentLength = 0;
    animIndentString = nullptr;
    animSetObserver(nullptr, nullptr);
    animSetLineNumber(1);
}
