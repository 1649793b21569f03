// SPDX-License-Identifier: MIT
// Keyword sets as tables: one row for each word, with its reader and its writer, one loop that
// reads any such table and one that writes it. A table's order is the order in which the words are
// written; they are read in any order.
#pragma once

#include "file/tinyNotice.h"
#include "file/tinyUtilsGrow.h"
#include "tinyReader.h"
#include "tinySoftType.h"
#include "tinyUtils.h"
#include "tinyUtilsText.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace table {

/// The state of the text after a row's reader.
enum class Outcome : std::uint8_t {
    Next,      ///< value consumed; the next token has not been read
    Again,     ///< the current token is the look-ahead
    Done,      ///< the current token is the look-ahead, and the record is complete
    EndOfFile, ///< the file ended inside the value, or reading failed
};

/// The destination of a table: a record, or a draft whose member `record` points to it, with other
/// data for the readers. Writers see only the record.
template <typename Draft>
[[nodiscard]] constexpr auto& recordOf(Draft& draft) {
    if constexpr (requires { draft.record; }) {
        return *draft.record;
    } else {
        return draft;
    }
}
template <typename Draft>
using RecordOf = std::remove_reference_t<decltype(recordOf(std::declval<Draft&>()))>;

/// The index of `word`, which a zero byte follows, among `names`, or -1.
[[nodiscard]] inline int indexOf(std::span<const char* const> names, std::string_view word) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (*names[i] == *word.data() && std::strcmp(names[i], word.data()) == 0) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

/// The name at `index`, or "" if there is none.
[[nodiscard]] constexpr std::string_view nameAt(std::span<const char* const> names, int index) {
    return index >= 0 && static_cast<std::size_t>(index) < names.size() ? names[std::size_t(index)]
                                                                        : "";
}

/// Words for 0, 1, 2 ... and the message about any other: "`reader`: error, unknown `what`
/// animToken '...'." Without a `reader` only the observer is told.
struct Choice {
    std::span<const char* const> names;
    const char* reader = nullptr;
    const char* what = "";
    bool orFirst = false; ///< a code without a word is written as the first word, else as nothing
};

/// One keyword. It is the current token when the reader is called. A row without a writer is only
/// read; a row with `present` is written only if that returns true.
template <typename Draft>
struct Row {
    std::string_view word;
    Outcome (*read)(std::FILE*, Draft&) = nullptr;
    void (*write)(std::FILE*, const RecordOf<Draft>&) = nullptr;
    bool (*present)(const RecordOf<Draft>&) = nullptr;
    bool goesOn = false;  ///< written on the line of the row before
    bool repeats = false; ///< an element of a list, or a word without a value
    /// Of a code: its words, and the code. A code without a word is reported when it is written.
    const Choice* words = nullptr;
    int (*code)(const RecordOf<Draft>&) = nullptr;
};

/// The row whose word is `word`, or null. The search begins at the row `from`, because most files
/// have the words of a table in its order.
template <typename Rows>
[[nodiscard]] constexpr auto find(const Rows& rows, std::string_view word, std::size_t from = 0)
    -> decltype(std::data(rows)) {
    const std::size_t count = std::size(rows);
    const char first = word.empty() ? '\0' : word.front();
    for (std::size_t looked = 0, i = from; looked < count; ++looked, ++i) {
        i = i < count ? i : 0;
        const auto* row = std::data(rows) + i;
        if (row->word.front() == first && text::equal(row->word, word)) {
            return row;
        }
    }
    return nullptr;
}

/// What `animWords` is given.
struct WordTaker {
    void (*take)(void* context, const char* word);
    void* context;
};

/// Passes on the words of a table and those of its codes.
template <typename Rows>
void listWords(const Rows& rows, const WordTaker& taker) {
    for (const auto& row : rows) {
        taker.take(taker.context, row.word.data());
        if (row.words != nullptr) {
            for (const char* name : row.words->names) {
                taker.take(taker.context, name);
            }
        }
    }
}

/// Reports a repeated word of a record. `seen` has a bit for each row, by its index.
template <typename Rows, typename Row>
void noteRepeated(const Rows& rows, const Row* row, std::uint64_t& seen) {
    const std::uint64_t bit = std::uint64_t{1} << (row - std::data(rows));
    if ((seen & bit) != 0 && !row->repeats) {
        animNotify(AnimNoticeKind::Dropped, row->word.data(),
                   "given before; one of the values is lost");
    }
    seen |= bit;
}

/// The row that follows `row` in most files: the next one that is always written.
template <typename Rows, typename Row>
[[nodiscard]] const Row* likelyAfter(const Rows& rows, const Row* row) {
    const Row* const end = std::data(rows) + std::size(rows);
    for (++row; row != end && row->present != nullptr;) {
        ++row;
    }
    return row != end ? row : std::data(rows);
}

/// Reads rows while the current token is a word of the table, starting with `row`, the row of the
/// current token, and reports repeated words. Again: it stopped at another token.
template <typename Rows, typename Row, typename Draft>
Outcome readFrom(text::Reader& in, const Rows& rows, const Row* row, Draft& draft) {
    std::uint64_t seen = 0;
    while (row != nullptr) {
        noteRepeated(rows, row, seen);
        const Outcome outcome = row->read(in.stream(), draft);
        if (outcome == Outcome::Done || outcome == Outcome::EndOfFile) {
            return outcome;
        }
        if (outcome == Outcome::Next) {
            const Row* const likely = likelyAfter(rows, row);
            if (in.nextIs(likely->word)) {
                row = likely;
                continue;
            }
            if (!in.next()) {
                return Outcome::EndOfFile;
            }
        }
        row = find(rows, in.word(), static_cast<std::size_t>(row - std::data(rows)) + 1);
    }
    return in.atEnd() ? Outcome::EndOfFile : Outcome::Again;
}

/// The same if the current token need not be a word of the table.
template <typename Rows, typename Draft>
Outcome read(text::Reader& in, const Rows& rows, Draft& draft) {
    return readFrom(in, rows, find(rows, in.word()), draft);
}

/// Reads the block of rows that begins with the next token, after the block's `keyword`. Reports an
/// empty one, unless `keyword` is null.
template <typename Rows, typename Draft>
Outcome readBlock(std::FILE* stream, const char* keyword, const Rows& rows, Draft& draft) {
    text::Reader& in = text::Reader::on(stream);
    const std::int64_t line = text::Reader::wordLine();
    const auto* first = in.next() ? find(rows, in.word()) : nullptr;
    if (first == nullptr && keyword != nullptr) {
        notice::atLine(AnimNoticeKind::Missing, keyword, line, "the block is empty");
    }
    return readFrom(in, rows, first, draft);
}

/// Reports a code without a word; 0 need not have one where it is not written.
template <typename Row, typename Record>
void reportCode(const Row& row, const Record& record, bool isWritten) {
    const int code = row.code(record);
    if (nameAt(row.words->names, code).empty() && (isWritten || code != 0)) {
        notice::written(AnimNoticeKind::Dropped, row.word.data(), "%d, which has no word", code);
    }
}

/// Begins a line with a keyword.
inline void putKeyword(std::FILE* stream, std::string_view word) {
    animWriteNewLine(stream);
    text::putWord(stream, word);
}

/// Writes the rows of a table in its order.
template <typename Rows, typename Record>
void write(std::FILE* stream, const Rows& rows, const Record& record) {
    for (const auto& row : rows) {
        const bool isWritten =
            row.write != nullptr && (row.present == nullptr || row.present(record));
        if (row.code != nullptr) {
            reportCode(row, record, isWritten);
        }
        if (!isWritten) {
            continue;
        }
        if (row.goesOn) {
            text::put(stream, "    ");
            text::putWord(stream, row.word);
        } else {
            putKeyword(stream, row.word);
        }
        row.write(stream, record);
    }
}

/// The same one level deeper. Always 1.
template <typename Rows, typename Record>
int writeDeeper(std::FILE* stream, const Rows& rows, const Record& record) {
    incIndent(1);
    write(stream, rows, record);
    incIndent(-1);
    return 1;
}

// --- Words ---------------------------------------------------------------------------------------

inline constexpr const char* kActive[] = {"INACTIVE", "ACTIVE"};
inline constexpr const char* kYes[] = {"NO", "YES"};
inline constexpr const char* kSelection[] = {"UNSELECTED", "NODE_SELECTED", "BRANCH_SELECTED",
                                             "INHERIT_SELECTED"};

/// Reports the current token, which is not one of the choice's words.
inline void complain(const Choice& choice) {
    if (choice.reader != nullptr) {
        optionPrint("%s: error, unknown %s%sanimToken '%s'.\n", choice.reader, choice.what,
                    *choice.what != '\0' ? " " : "", animToken);
    }
    animNotify(AnimNoticeKind::UnknownWord, animToken);
}

/// Reads a word of the choice into `code`; another word leaves it unchanged.
template <typename Code>
Outcome readChoice(std::FILE* stream, const Choice& choice, Code& code) {
    text::Reader& in = text::Reader::on(stream);
    int index = in.nextOf(choice.names);
    if (index < 0 && !in.value()) {
        return Outcome::EndOfFile;
    }
    index = index >= 0 ? index : indexOf(choice.names, in.word());
    if (index >= 0) {
        code = static_cast<Code>(index);
    } else {
        complain(choice);
    }
    return Outcome::Next;
}

/// Replaces an owned string by the next quoted one.
inline Outcome readQuoted(std::FILE* stream, char*& string) {
    std::free(string);
    string = stringReadAsciiAnimation(stream);
    return text::Reader::on(stream).atEnd() ? Outcome::EndOfFile : Outcome::Next;
}

/// Convert a reader's 1 or 0 to a row's outcome: the look-ahead was read, or the file ended; or
/// only the value was consumed.
[[nodiscard]] constexpr Outcome again(int result) {
    return result != 0 ? Outcome::Again : Outcome::EndOfFile;
}
[[nodiscard]] constexpr Outcome next(int result) {
    return result != 0 ? Outcome::Next : Outcome::EndOfFile;
}

inline Outcome readNumber(std::FILE* stream, std::int16_t& value) {
    return next(text::Reader::on(stream).value(value) ? 1 : 0);
}
inline Outcome readNumber(std::FILE* stream, std::int32_t& value) {
    return next(in_animLValue(stream, &value));
}
inline Outcome readNumber(std::FILE* stream, float& value) {
    return next(text::Reader::on(stream).value(value) ? 1 : 0);
}
/// Bits, which files store with or without a sign.
inline Outcome readNumber(std::FILE* stream, std::uint32_t& value) {
    constexpr std::int64_t kLeast = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t kMost = std::numeric_limits<std::uint32_t>::max();
    text::Reader& in = text::Reader::on(stream);
    const bool found = in.value();
    if (found) {
        value = static_cast<std::uint32_t>(text::toInt(in.word(), kLeast, kMost));
    }
    return next(found ? 1 : 0);
}
inline Outcome readNumber(std::FILE* stream, Vector& value) {
    return next(vectorReadAsciiAnimation(stream, &value));
}
inline void putNumber(std::FILE* stream, std::uint32_t value) {
    text::putInt(stream, static_cast<std::int32_t>(value));
}
inline void putNumber(std::FILE* stream, const Vector& value) {
    for (const float number : {value.x, value.y, value.z}) {
        text::putFloat(stream, number);
    }
}
inline void putNumber(std::FILE* stream, std::int32_t value) {
    text::putInt(stream, value);
}
inline void putNumber(std::FILE* stream, float value) {
    text::putFloat(stream, value);
}

/// Makes rows of the usual kinds of values. `Path` leads from the record to the member.
template <typename Draft>
struct Rows {
    using Record = RecordOf<Draft>;
    using Present = bool (*)(const Record&);

    /// A number of the member's kind.
    template <auto... Path>
    static constexpr Row<Draft> number(std::string_view word, Present present = nullptr) {
        return {
            word,
            [](std::FILE* stream, Draft& draft) {
                return readNumber(stream, (recordOf(draft).*....*Path));
            },
            [](std::FILE* stream, const Record& record) { putNumber(stream, (record.*....*Path)); },
            present};
    }

    /// A word of a choice.
    // Kept: A code without a word is written as its keyword alone.
    // A reader would expect a default or no line at all. The next keyword is then read in place of
    // the word.
    template <const Choice& Words, auto... Path>
    static constexpr Row<Draft> choice(std::string_view word, Present present = nullptr) {
        return {word,
                [](std::FILE* stream, Draft& draft) {
                    return readChoice(stream, Words, (recordOf(draft).*....*Path));
                },
                [](std::FILE* stream, const Record& record) {
                    putName(stream, nameAt(Words.names, (record.*....*Path)), Words);
                },
                present,
                false,
                false,
                &Words,
                [](const Record& record) { return int{(record.*....*Path)}; }};
    }

    /// One of two words; every number except 0 is written as the second.
    template <const Choice& Words, auto... Path>
    static constexpr Row<Draft> flag(std::string_view word, Present present = nullptr) {
        Row<Draft> row = choice<Words, Path...>(word, present);
        row.write = [](std::FILE* stream, const Record& record) {
            text::putWord(stream, Words.names[(record.*....*Path) != 0 ? 1 : 0]);
        };
        return row;
    }

    /// A quoted string that the record owns.
    template <auto... Path>
    static constexpr Row<Draft> quoted(std::string_view word) {
        return {word,
                [](std::FILE* stream, Draft& draft) {
                    return readQuoted(stream, (recordOf(draft).*....*Path));
                },
                [](std::FILE* stream, const Record& record) {
                    text::putQuoted(stream, (record.*....*Path));
                }};
    }

    /// A row that is read in another way.
    static constexpr Row<Draft> readBy(Outcome (*read)(std::FILE*, Draft&), Row<Draft> row) {
        row.read = read;
        return row;
    }

    /// A row that may stand several times in a record.
    static constexpr Row<Draft> repeated(Row<Draft> row) {
        row.repeats = true;
        return row;
    }

    /// A row that continues the line of the row before.
    static constexpr Row<Draft> onTheSameLine(Row<Draft> row) {
        row.goesOn = true;
        return row;
    }

  private:
    static void putName(std::FILE* stream, std::string_view name, const Choice& words) {
        if (!name.empty() || words.orFirst) {
            text::putWord(stream, name.empty() ? words.names[0] : name);
        }
    }
};

/// True for a value other than zero.
template <typename Value>
[[nodiscard]] constexpr bool isSet(const Value& value) {
    if constexpr (requires { value.x; }) {
        return value.x != 0.0F || value.y != 0.0F || value.z != 0.0F;
    } else {
        return static_cast<bool>(value);
    }
}
template <auto Member, typename Record>
[[nodiscard]] constexpr bool isSet(const Record& record) {
    return isSet(record.*Member);
}

/// Reads a number and that many records. Fewer are read if the text ends or continues with
/// something else, which is then reported. The keyword before the number is the current token;
/// `what` names the records. `readOne` starts with its record's first word as the current token and
/// returns Again if there is none.
template <typename Record>
Outcome readCounted(std::FILE* stream, const char* what, Outcome (*readOne)(std::FILE*, Record&),
                    GrowingArray<Record>& records) {
    const std::string keyword = animToken;
    std::int16_t count = 0;
    if (in_animSValue(stream, &count) == 0) {
        return Outcome::EndOfFile;
    }
    if (count < 0 && *animToken == '-') { // others are reported as too large
        animNotify(AnimNoticeKind::BadNumber, animToken, "number of at least 0");
    }
    const std::int64_t line = animTokenLineNumber();
    Outcome outcome = in_animToken(stream) != 0 ? Outcome::Done : Outcome::EndOfFile;
    for (int i = 0; i < count && outcome == Outcome::Done; ++i) {
        Record record{};
        outcome = readOne(stream, record);
        if (outcome != Outcome::Again && !records.push(record)) {
            outcome = Outcome::EndOfFile;
        }
        if (outcome == Outcome::Done && text::Reader::on(stream).atEnd() && i + 1 < count) {
            outcome = Outcome::EndOfFile; // the record is complete, the list is not
        }
    }
    if (std::cmp_less(records.size(), count)) {
        notice::atLine(AnimNoticeKind::Missing, keyword.c_str(), line, "%d %s announced, %zu found",
                       count, what, records.size());
    }
    return outcome == Outcome::EndOfFile ? Outcome::EndOfFile : Outcome::Done;
}

} // namespace table
