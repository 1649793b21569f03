// SPDX-License-Identifier: MIT
// Blocks of keyword lines as scene files hold them: a table of words, and one loop that writes and
// one that reads any such table. Inner: cameras, lights, models and scenes use it.
//
// A table works on a block, a small struct with a pointer `record` to what is read and whatever
// else the readers need while they read. Writers see the record only.
#pragma once

#include "file/tinyNotice.h"
#include "text/tinyUtilsTable.h"
#include "text/tinyUtilsText.h"
#include "tinyFcurve.h"
#include "tinySoftType.h"
#include "tinyUtils.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>
#include <type_traits>

namespace block {

using table::Outcome;

template <typename Block>
using RecordOf = std::remove_pointer_t<decltype(std::declval<Block>().record)>;

/// One word of a block. Without a writer it is only read; with `present` it is written only where
/// that says so.
template <typename Block>
struct Row {
    std::string_view word;
    Outcome (*read)(std::FILE*, Block&);
    void (*write)(std::FILE*, const RecordOf<Block>&) = nullptr;
    bool (*present)(const RecordOf<Block>&) = nullptr;
};

/// Words that stand for 0, 1, 2 ... and the complaint about any other: "`reader`: error, unknown
/// `what` animToken '...'." An empty `reader` complains to the observer only.
struct Choice {
    std::span<const char* const> names;
    const char* reader;
    const char* what;
};

inline constexpr const char* kActive[] = {"INACTIVE", "ACTIVE"};
inline constexpr const char* kYes[] = {"NO", "YES"};
inline constexpr const char* kSelection[] = {"UNSELECTED", "NODE_SELECTED", "BRANCH_SELECTED",
                                             "INHERIT_SELECTED"};

/// Begins a line with a keyword.
inline void putKeyword(std::FILE* stream, std::string_view word) {
    animWriteNewLine(stream);
    text::putWord(stream, word);
}

/// Writes the rows of a table in its order, each on a new line.
template <typename Rows, typename Record>
void write(std::FILE* stream, const Rows& rows, const Record& record) {
    for (const auto& row : rows) {
        if (row.write != nullptr && (row.present == nullptr || row.present(record))) {
            putKeyword(stream, row.word);
            row.write(stream, record);
        }
    }
}

/// Reports a word that the block has had before: the record keeps the later value. `seen` has a bit
/// for each row, by its index.
template <typename Rows, typename Row>
void noteRepeated(const Rows& rows, const Row* row, std::uint64_t& seen) {
    const std::uint64_t bit = std::uint64_t{1} << (row - std::data(rows));
    if ((seen & bit) != 0) {
        animNotify(AnimNoticeKind::Dropped, animToken, "given before; the later value counts");
    }
    seen |= bit;
}

/// Reads rows for as long as the current token is one of the table's words. True when it stopped at
/// another token, false at end of file.
template <typename Rows, typename Block>
bool readRows(std::FILE* stream, const Rows& rows, Block& block) {
    std::uint64_t seen = 0;
    for (const auto* row = table::find(rows, animToken); row != nullptr;
         row = table::find(rows, animToken)) {
        noteRepeated(rows, row, seen);
        const Outcome outcome = row->read(stream, block);
        if (outcome == Outcome::EndOfFile || (outcome == Outcome::Next && !in_animToken(stream))) {
            return false;
        }
    }
    return animToken[0] != '\0';
}

/// Reads a block of a camera or a light, whose first token is the current one. 1, or 0 at end of
/// file.
// Kept: An empty camera or light block also consumes the word after it.
// A reader would expect a block without lines to leave what follows alone; the first token examined
// is dropped when it is none of the block's words. Files rely on it where a stray word stands
// there.
template <typename Rows, typename Block>
int read(std::FILE* stream, const Rows& rows, Block& block) {
    if (animToken[0] != '\0' && table::find(rows, animToken) == nullptr) {
        animNotify(AnimNoticeKind::UnknownWord, animToken);
        static_cast<void>(in_animToken(stream));
        return 1;
    }
    return readRows(stream, rows, block) ? 1 : 0;
}

/// Reads a word of the choice into `code`, which another word leaves as it is. 0 at end of file.
template <typename Code>
bool readChoice(std::FILE* stream, const Choice& choice, Code& code) {
    if (!in_animToken(stream)) {
        return false;
    }
    const int index = table::indexOf(choice.names, animToken);
    if (index >= 0) {
        code = static_cast<Code>(index);
        return true;
    }
    if (*choice.reader != '\0') {
        optionPrint("%s: error, unknown %s animToken '%s'.\n", choice.reader, choice.what,
                    animToken);
    }
    animNotify(AnimNoticeKind::UnknownWord, animToken);
    return true;
}

/// Reads a number into a 16-bit member, or a curve. Fractions are dropped.
inline Outcome readWholeOrCurve(std::FILE* stream, std::int16_t& number, Fcurve*& curve) {
    if (in_animToken(stream) == 0) {
        return Outcome::EndOfFile;
    }
    if (std::string_view(animToken) == "CURVE_TYPE") {
        return fcurveReadAsciiAnimation(stream, &curve) != 0 ? Outcome::Again : Outcome::EndOfFile;
    }
    number = text::toShort(text::toFloat(animToken), animToken);
    return Outcome::Next;
}

/// Replaces an owned string by the quoted one that follows.
inline Outcome readQuoted(std::FILE* stream, char*& string) {
    std::free(string);
    string = stringReadAsciiAnimation(stream);
    return animToken[0] == '\0' ? Outcome::EndOfFile : Outcome::Next;
}

/// Places for curves where a form has only numbers: they are read, reported and dropped.
template <int Count>
class DroppedCurves {
  public:
    DroppedCurves() = default;
    ~DroppedCurves() {
        for (Fcurve*& curve : curves_) {
            if (curve != nullptr) {
                animNotify(AnimNoticeKind::ByFormat, "CURVE_TYPE", "where only a number is kept");
            }
            fcurveDispose(&curve);
        }
    }
    DroppedCurves(const DroppedCurves&) = delete;
    DroppedCurves& operator=(const DroppedCurves&) = delete;
    [[nodiscard]] Fcurve** place(int index) const { return &curves_[index]; }

  private:
    mutable Fcurve* curves_[Count] = {};
};

/// Makes rows of the usual value forms for one kind of block.
template <typename Block>
struct Rows {
    using Record = RecordOf<Block>;

    /// A number, or the curve `Curve` of the record's array.
    template <auto Member, int Curve>
    static constexpr Row<Block> scalar(std::string_view word,
                                       bool (*present)(const Record&) = nullptr) {
        return {word,
                [](std::FILE* stream, Block& b) {
                    return again(valueReadAsciiAnimation(stream, &(b.record->*Member),
                                                         &b.record->curves[Curve], 1));
                },
                [](std::FILE* stream, const Record& r) {
                    valueWriteAsciiAnimation(stream, r.*Member, r.curves[Curve]);
                },
                present};
    }

    /// A number that cannot be animated; a curve in its place is read and dropped.
    template <auto Member>
    static constexpr Row<Block> plain(std::string_view word) {
        return {word,
                [](std::FILE* stream, Block& b) {
                    const DroppedCurves<1> dropped;
                    return again(
                        valueReadAsciiAnimation(stream, &(b.record->*Member), dropped.place(0), 1));
                },
                [](std::FILE* stream, const Record& r) {
                    valueWriteAsciiAnimation(stream, r.*Member, nullptr);
                }};
    }

    /// A channel that is written only where it has a curve; a plain number is dropped.
    template <int Curve>
    static constexpr Row<Block> curveOnly(std::string_view word) {
        return {word,
                [](std::FILE* stream, Block& b) {
                    float dropped = 0.0F;
                    const int result =
                        valueReadAsciiAnimation(stream, &dropped, &b.record->curves[Curve], 1);
                    if (dropped != 0.0F) {
                        animNotify(AnimNoticeKind::ByFormat, "HIDDEN", "a number without a curve");
                    }
                    return again(result);
                },
                [](std::FILE* stream, const Record& r) {
                    valueWriteAsciiAnimation(stream, 0.0F, r.curves[Curve]);
                },
                [](const Record& r) { return r.curves[Curve] != nullptr; }};
    }

    /// An integer of the member's width.
    template <auto Member>
    static constexpr Row<Block> integer(std::string_view word) {
        return {word,
                [](std::FILE* stream, Block& b) {
                    return readInteger(stream, b.record->*Member) ? Outcome::Next
                                                                  : Outcome::EndOfFile;
                },
                [](std::FILE* stream, const Record& r) { text::putInt(stream, r.*Member); }};
    }

    /// A word of a choice.
    // Kept: A code without a word is written as its keyword alone.
    // A reader would expect a default or no line at all. Nothing stands behind the keyword, so that
    // the next keyword is read in the word's place; files hold such lines, and writers are compared
    // byte by byte.
    template <auto Member, const Choice& Words>
    static constexpr Row<Block> choice(std::string_view word) {
        return {word,
                [](std::FILE* stream, Block& b) {
                    return readChoice(stream, Words, b.record->*Member) ? Outcome::Next
                                                                        : Outcome::EndOfFile;
                },
                [](std::FILE* stream, const Record& r) {
                    putName(stream, table::nameAt(Words.names, r.*Member));
                }};
    }

    /// One of two words; every number but 0 counts as the second.
    template <auto Member, const Choice& Words>
    static constexpr Row<Block> flag(std::string_view word) {
        Row<Block> row = choice<Member, Words>(word);
        row.write = [](std::FILE* stream, const Record& r) {
            putName(stream, Words.names[r.*Member != 0 ? 1 : 0]);
        };
        return row;
    }

    /// A quoted string that the record owns.
    template <auto Member>
    static constexpr Row<Block> quoted(std::string_view word) {
        return {word,
                [](std::FILE* stream, Block& b) { return readQuoted(stream, b.record->*Member); },
                [](std::FILE* stream, const Record& r) { text::putQuoted(stream, r.*Member); }};
    }

    /// The result of a reader that leaves the look-ahead.
    static constexpr Outcome again(int result) {
        return result != 0 ? Outcome::Again : Outcome::EndOfFile;
    }

  private:
    static bool readInteger(std::FILE* stream, std::int16_t& value) {
        return in_animSValue(stream, &value) != 0;
    }
    static bool readInteger(std::FILE* stream, std::int32_t& value) {
        return in_animLValue(stream, &value) != 0;
    }
    static void putName(std::FILE* stream, std::string_view name) {
        if (!name.empty()) {
            text::putWord(stream, name);
        }
    }
};

} // namespace block
