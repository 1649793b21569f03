// SPDX-License-Identifier: MIT
// Keyword sets as tables: one row a word, with its reader and its writer. A table's order is the
// order in which the words are written; they are read in any order.
#pragma once

#include "file/tinyUtilsGrow.h"
#include "tinyUtils.h"

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace table {

/// How a row's reader leaves the text.
enum class Outcome : std::uint8_t {
    Next,      ///< value consumed; the next token is still to be read
    Again,     ///< the current token is the look-ahead
    Done,      ///< the current token is the look-ahead, and the record is complete
    EndOfFile, ///< the file ended inside the value
};

/// One keyword of a record. The reader finds the keyword as the current token. A row without writer
/// is only read.
template <typename Record>
struct Row {
    std::string_view word;
    Outcome (*read)(std::FILE*, Record&);
    void (*write)(std::FILE*, const Record&);
};

/// The row whose word is `word`, or null.
template <typename Rows>
[[nodiscard]] constexpr auto find(const Rows& rows, std::string_view word)
    -> decltype(std::data(rows)) {
    for (const auto& row : rows) {
        if (row.word == word) {
            return &row;
        }
    }
    return nullptr;
}

/// The index of `word` among `names`, or -1.
[[nodiscard]] constexpr int indexOf(std::span<const char* const> names, std::string_view word) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] == word) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

/// The name at `index`, or "" where there is none.
[[nodiscard]] constexpr std::string_view nameAt(std::span<const char* const> names, int index) {
    return index >= 0 && static_cast<std::size_t>(index) < names.size() ? names[std::size_t(index)]
                                                                        : "";
}

/// Readers of one number into a member.
template <auto Member, typename Record>
Outcome readShort(std::FILE* stream, Record& record) {
    return in_animSValue(stream, &(record.*Member)) != 0 ? Outcome::Next : Outcome::EndOfFile;
}

template <auto Member, typename Record>
Outcome readFloat(std::FILE* stream, Record& record) {
    return in_animFValue(stream, &(record.*Member)) != 0 ? Outcome::Next : Outcome::EndOfFile;
}

/// Reads a number, and as many records one after the other or fewer when the text ends or goes on
/// with something else, which is then reported. The keyword in front of the number is the current
/// token, and `what` the records are called. `readOne` finds its record's first word as the current
/// token and says Again when there is none.
template <typename Record>
Outcome readCounted(std::FILE* stream, const char* what, Outcome (*readOne)(std::FILE*, Record&),
                    GrowingArray<Record>& records) {
    const std::string keyword = animToken;
    std::int16_t count = 0;
    if (in_animSValue(stream, &count) == 0) {
        return Outcome::EndOfFile;
    }
    const std::int64_t line = animTokenLineNumber();
    Outcome outcome = in_animToken(stream) != 0 ? Outcome::Done : Outcome::EndOfFile;
    for (int i = 0; i < count && outcome == Outcome::Done; ++i) {
        Record record{};
        outcome = readOne(stream, record);
        if (outcome != Outcome::Again && !records.push(record)) {
            outcome = Outcome::EndOfFile;
        }
        if (outcome == Outcome::Done && animToken[0] == '\0' && i + 1 < count) {
            outcome = Outcome::EndOfFile; // the record is whole, the list is not
        }
    }
    if (std::cmp_less(records.size(), count)) {
        notice::atLine(AnimNoticeKind::Missing, keyword.c_str(), line, "%d %s announced, %zu found",
                       count, what, records.size());
    }
    return outcome == Outcome::EndOfFile ? Outcome::EndOfFile : Outcome::Done;
}

} // namespace table
