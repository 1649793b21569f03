// SPDX-License-Identifier: MIT
#include "tinyUtils.h"

#include "tinyFile.h"
#include "tinyReader.h"
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
int FM = 5;
int FD = 3;
std::int32_t animIndentLength = 0;
char* animIndentString = nullptr;

using text::Reader;

namespace {

/// Maximum indentation: writers nest far less, and the string stays small.
constexpr std::int32_t kMostLevels = 1000;
constexpr std::size_t kBlanksPerLevel = 3;

/// The text that begins a line, and its size. Static, so that it cannot fail.
char newLine[kMostLevels * kBlanksPerLevel + 2] = "\n";
std::size_t newLineSize = 1;

} // namespace

int in_animToken(std::FILE* stream) {
    return Reader::on(stream).next() ? 1 : 0;
}

int in_animSValue(std::FILE* stream, std::int16_t* value) {
    return Reader::on(stream).value(*value) ? 1 : 0;
}

int in_animSValue_na(std::FILE* stream) {
    return in_animSValue(stream, &animSValue);
}

int in_animFValue(std::FILE* stream, float* value) {
    return Reader::on(stream).value(*value) ? 1 : 0;
}

int in_animFValue_na(std::FILE* stream) {
    return in_animFValue(stream, &animFValue);
}

int in_animLValue(std::FILE* stream, std::int32_t* value) {
    using Limits = std::numeric_limits<std::int32_t>;
    Reader& in = Reader::on(stream);
    const bool found = in.value();
    if (found) {
        *value = text::toInt(in.word(), Limits::min(), Limits::max());
    }
    return found ? 1 : 0;
}

char* stringReadAsciiAnimation(std::FILE* stream) {
    MallocString content(Reader::on(stream).quoted());
    // Kept: An empty quoted string reads as no string.
    // A reader would expect "" for ''. Writers write '' for a missing name, and records hold null
    // for it.
    return std::strcmp(animTokenLine, "''") != 0 ? content.release() : nullptr;
}

// Kept: Setting the depth of indentation does not rebuild the text of a new line.
// A reader would expect both to change together. Lines begin as before until the next call of
// `incIndent`.
void setIndentLength(std::int32_t depth) {
    animIndentLength = depth;
}

void incIndent(std::int32_t delta) {
    const std::int64_t depth = std::int64_t{animIndentLength} + delta;
    animIndentLength =
        static_cast<std::int32_t>(std::clamp(depth, std::int64_t{0}, std::int64_t{kMostLevels}));
    const std::size_t size = 1 + static_cast<std::size_t>(animIndentLength) * kBlanksPerLevel;
    for (; newLineSize < size; ++newLineSize) {
        newLine[newLineSize] = ' ';
    }
    newLineSize = size;
    newLine[size] = '\0';
    animIndentString = newLine;
}

void animWriteNewLine(std::FILE* stream) {
    if (animIndentString == newLine) {
        text::put(stream, {newLine, newLineSize});
    } else {
        text::put(stream, animIndentString != nullptr ? animIndentString : "\n");
    }
}

std::int64_t animTokenLineNumber() {
    return Reader::wordLine();
}

void animSetLineNumber(std::int64_t line) {
    Reader::beginFile(line);
}

void animReset() {
    Reader::forget();
    animSValue = 0;
    animFValue = 0.0F;
    animFileVersion = RELEASE_NUMBER;
    animIndentLength = 0;
    animIndentString = nullptr;
    animSetObserver(nullptr, nullptr);
    animSetLineNumber(1);
}
