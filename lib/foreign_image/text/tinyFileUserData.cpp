// SPDX-License-Identifier: MIT
// Quoted strings, and user-data blocks: a quoted tag, a size, and the bytes as hexadecimal numbers
// in braces.
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

/// A block while it is read.
struct Draft {
    text::Reader& in;
    GrowingArray<std::uint8_t> bytes = {};
    std::int32_t size = 0; ///< as stated
    bool sized = false;
};

/// Reports the last word if its value replaces an earlier one of the block.
void reportRepeated(const Draft& draft, bool repeated) {
    if (repeated) {
        animNotify(AnimNoticeKind::Dropped, draft.in.c_str(),
                   "of user data, given before; one of the values is lost");
    }
}

/// Reads the stated number of bytes, or up to the closing brace.
void readBytes(Draft& draft) {
    constexpr std::int64_t kMost = std::numeric_limits<std::uint8_t>::max();
    reportRepeated(draft, !draft.bytes.empty());
    draft.bytes.clear();
    for (std::int32_t i = 0; i < draft.size; ++i) {
        const int next = draft.in.peek();
        if ((std::isxdigit(next) == 0 && next != '-') || !draft.in.next()) {
            return;
        }
        const std::int64_t byte = text::toWhole(draft.in.c_str(), 0, kMost, 16);
        if (!draft.bytes.push(static_cast<std::uint8_t>(byte))) {
            return;
        }
    }
}

/// Reads the block's lines up to its closing brace.
void readLines(Draft& draft) {
    using Limits = std::numeric_limits<std::int32_t>;
    notice::UnknownRun unknown;
    bool more = draft.in.next();
    for (; more && draft.in.word() != "}"; more = draft.in.next()) {
        if (draft.in.word() == "size") {
            reportRepeated(draft, std::exchange(draft.sized, true));
            static_cast<void>(draft.in.next());
            const std::int64_t size = text::toWhole(draft.in.c_str(), 0, Limits::max());
            draft.size = static_cast<std::int32_t>(
                std::clamp<std::int64_t>(size, Limits::min(), Limits::max()));
        } else if (draft.in.word() == "{") {
            readBytes(draft);
        } else {
            unknown.add(draft.in.c_str());
        }
    }
    if (!more || std::cmp_less(draft.bytes.size(), draft.size)) {
        notice::atLine(AnimNoticeKind::Missing, "userData", text::Reader::wordLine(),
                       "%d byte%s announced, %zu found", draft.size, notice::plural(draft.size),
                       draft.bytes.size());
    }
}

} // namespace

char* stringReadAscii(std::FILE* stream) {
    char* string = text::Reader::on(stream, text::kFileStyle).quoted();
    if (std::ferror(stream) != 0) {
        std::free(std::exchange(string, nullptr));
    }
    return string;
}

void userDataDispose(UserData** record) {
    if (record != nullptr && *record != nullptr) {
        std::free((*record)->data);
        std::free(*record);
        *record = nullptr;
    }
}

int userDataWriteAscii(std::FILE* stream, const UserData* record, const char* indent) {
    const std::int32_t size = record->data != nullptr ? std::max(record->size, 0) : 0;
    char tag[sizeof record->tag];
    std::replace_copy(std::begin(record->tag), std::end(record->tag), tag, '"', '\'');
    if (std::memcmp(tag, record->tag, sizeof tag) != 0) {
        notice::written(AnimNoticeKind::Dropped, "userData", "a quote inside a tag becomes '");
    }
    std::fprintf(stream, "\n%suserData \"%c%c%c%c\"\n", indent, tag[0], tag[1], tag[2], tag[3]);
    std::fprintf(stream, "%ssize %d\n", indent, size);
    std::fprintf(stream, "%s{\n", indent);
    // Kept: The rows of bytes in a user-data block begin with a tab alone.
    // A reader would expect the indentation of the lines around them.
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
    Draft draft = {text::Reader::on(stream, text::kFileStyle)};
    std::size_t size = 0;
    const MallocString tag(draft.in.quoted(&size));
    std::unique_ptr<UserData, UserDataDisposer> record(newRecords<UserData>(1));
    if (tag == nullptr || record == nullptr) {
        return nullptr;
    }
    if (size > sizeof record->tag) {
        animNotify(AnimNoticeKind::Cut, tag.get(), "a tag has 4 characters");
    }
    std::memcpy(record->tag, tag.get(), std::min(size, sizeof record->tag));
    readLines(draft);
    record->size = static_cast<std::int32_t>(draft.bytes.size());
    record->data = draft.bytes.release();
    return notice::Call::good(stream) ? record.release() : nullptr;
}
