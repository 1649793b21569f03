// SPDX-License-Identifier: MIT
// User-data blocks: a quoted tag, a size, and the bytes as hexadecimal numbers in braces.
#include "file/tinyNotice.h"
#include "file/tinyUtilsGrow.h"
#include "tinyFile.h"
#include "tinyUtilsText.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <utility>

namespace {

constexpr std::int32_t kBytesPerRow = 24;

/// The bytes that a text holds, against the number that it states.
struct Draft {
    text::WordReader words;
    GrowingArray<std::uint8_t> bytes = {};
    notice::UnknownRun unknown = {};
    std::int32_t size = 0;
};

/// The number that the next word is, in that base; another word is reported, and its beginning
/// counts.
std::int64_t readNumber(Draft& draft, int base, std::int64_t most) {
    const bool more = draft.words.next();
    char* end = nullptr;
    const char* word = draft.words.c_str();
    const long long value = std::strtoll(word, &end, base);
    if (!more || *end != '\0' || value < 0 || value > most) {
        animNotify(AnimNoticeKind::BadNumber, word,
                   base == 16 ? "hexadecimal number from 0 to ff"
                              : "whole number from 0 to 2147483647");
    }
    return value;
}

void readSize(Draft& draft) {
    using Limits = std::numeric_limits<std::int32_t>;
    draft.size = static_cast<std::int32_t>(std::clamp<std::int64_t>(
        readNumber(draft, 10, Limits::max()), Limits::min(), Limits::max()));
}

/// Reads as many bytes as are stated, or up to the closing brace.
void readBytes(Draft& draft) {
    constexpr std::int64_t kMost = std::numeric_limits<std::uint8_t>::max();
    draft.bytes.clear();
    for (std::int32_t i = 0; i < draft.size; ++i) {
        const int next = draft.words.peek();
        if (std::isxdigit(next) == 0 && next != '-') {
            return;
        }
        if (!draft.bytes.push(static_cast<std::uint8_t>(readNumber(draft, 16, kMost)))) {
            return;
        }
    }
}

/// Reads the block's lines up to its closing brace.
void readLines(Draft& draft) {
    bool more = draft.words.next();
    for (; more && draft.words.word() != "}"; more = draft.words.next()) {
        if (draft.words.word() == "size") {
            readSize(draft);
        } else if (draft.words.word() == "{") {
            readBytes(draft);
        } else {
            draft.unknown.add(draft.words.c_str());
        }
    }
    draft.unknown.end();
    if (!more || std::cmp_less(draft.bytes.size(), draft.size)) {
        notice::atLine(AnimNoticeKind::Missing, "userData", notice::lines.token,
                       "%d bytes announced, %zu found", draft.size, draft.bytes.size());
    }
}

} // namespace

void userDataDispose(UserData** record) {
    if (record != nullptr && *record != nullptr) {
        std::free((*record)->data);
        std::free(*record);
        *record = nullptr;
    }
}

int userDataWriteAscii(std::FILE* stream, const UserData* record, const char* indent) {
    const std::int32_t size = record->data != nullptr ? std::max(record->size, 0) : 0;
    const char* tag = record->tag;
    std::fprintf(stream, "\n%suserData \"%c%c%c%c\"\n", indent, tag[0], tag[1], tag[2], tag[3]);
    std::fprintf(stream, "%ssize %d\n", indent, size);
    std::fprintf(stream, "%s{\n", indent);
    // Kept: The rows of bytes in a user-data block begin with a tab alone.
    // A reader would expect the indentation of the lines round them; it is not repeated there, and
    // files are compared byte by byte.
    for (std::int32_t i = 0; i < size; ++i) {
        const bool rowBegins = i % kBytesPerRow == 0;
        const bool rowEnds = i % kBytesPerRow == kBytesPerRow - 1 || i == size - 1;
        std::fprintf(stream, "%s%02x %s", rowBegins ? "\t" : "", record->data[i],
                     rowEnds ? "\n" : "");
    }
    return std::fprintf(stream, "%s}\n", indent);
}

UserData* userDataReadAscii(std::FILE* stream) {
    const notice::Call call;
    Draft draft = {text::WordReader(stream)};
    const MallocString tag(draft.words.quoted());
    std::unique_ptr<UserData, UserDataDisposer> record(newRecords<UserData>(1));
    if (tag == nullptr || record == nullptr) {
        return nullptr;
    }
    if (std::strlen(tag.get()) > sizeof record->tag) {
        animNotify(AnimNoticeKind::Cut, tag.get(), "a tag has 4 characters");
    }
    std::memcpy(record->tag, tag.get(), strnlen(tag.get(), sizeof record->tag));
    readLines(draft);
    record->size = static_cast<std::int32_t>(draft.bytes.size());
    record->data = draft.bytes.release();
    return notice::Call::good(stream) ? record.release() : nullptr;
}
