// SPDX-License-Identifier: MIT
// The form of a spline inside scene files: docs/toolkit-formats.md.
#include "file/tinyNotice.h"
#include "text/tinyTable.h"
#include "tinyCurveWords.h"
#include "tinySplineInner.h"

#include <array>
#include <cstring>

namespace {

using table::Outcome;

constexpr char kReader[] = "SplineReadAsciiAnimation";
constexpr table::Choice kTypeWords = {SplineTypeName, kReader, "spline type", true};
constexpr table::Choice kConstraintWords = {BezConstraintName, nullptr, "", true};
constexpr table::Choice kSegmentWords = {BezSegmentName, nullptr, "", true};
constexpr table::Choice kFlagWords = {table::kYes};
constexpr table::Choice kSelectionWords = {table::kSelection, kReader, "select", true};

/// Maximum length of the kept text of the numbers after KEYFRAME and KEYLIST.
constexpr std::size_t kMostNumberText = 1 << 20;

// --- Points --------------------------------------------------------------------------------------

using PointRows = table::Rows<SplineKey>;

/// In the order in which a point is written; the first word begins a point.
constexpr auto kPointRows = std::to_array<table::Row<SplineKey>>({
    PointRows::number<&SplineKey::position>("POSITION"),
    PointRows::number<&SplineKey::previous>("PREVIOUS", table::isSet<&SplineKey::previous>),
    PointRows::number<&SplineKey::next>("NEXT", table::isSet<&SplineKey::next>),
    PointRows::choice<kConstraintWords, &SplineKey::constraint>(
        "CONSTRAINT", table::isSet<&SplineKey::constraint>),
    PointRows::choice<kSegmentWords, &SplineKey::segment>("SEGMENT",
                                                          table::isSet<&SplineKey::segment>),
    PointRows::number<&SplineKey::flags>("FLAG"),
});

/// For points of Bezier splines every row is written.
constexpr auto kBezierRows = [] {
    auto rows = kPointRows;
    for (auto& row : rows) {
        row.present = nullptr;
    }
    return rows;
}();

/// Reads a record whose first word, that of the first row, is the current token. The first row
/// begins a record and cannot occur again inside it.
template <typename Rows, typename Draft>
Outcome readRecord(std::FILE* stream, const Rows& rows, Draft& draft) {
    const Outcome begun = rows[0].read(stream, draft);
    if (begun == Outcome::EndOfFile || (begun == Outcome::Next && in_animToken(stream) == 0)) {
        return Outcome::EndOfFile;
    }
    return table::read(text::Reader::on(stream), std::span(rows).subspan(1), draft);
}

/// Reads the point that begins with the current token. Again: the token does not begin a point.
Outcome readPoint(std::FILE* stream, SplineKey& key) {
    if (kPointRows[0].word != text::Reader::on(stream).word()) {
        return Outcome::Again;
    }
    const Outcome outcome = readRecord(stream, kPointRows, key);
    return outcome == Outcome::Again ? Outcome::Done : outcome;
}

void writePoints(std::FILE* stream, const Spline& spline) {
    const auto& rows = spline.type == kSplineBezier ? kBezierRows : kPointRows;
    text::putInt(stream, static_cast<std::int64_t>(splineKeys(spline).size()));
    for (const SplineKey& key : splineKeys(spline)) {
        table::writeDeeper(stream, rows, key);
    }
}

// --- Splines -------------------------------------------------------------------------------------

/// A spline while it is read.
struct Draft {
    Spline* record;
    bool endsAfterPoints; ///< after "PATH"
};
using Row = table::Row<Draft>;
using Rows = table::Rows<Draft>;

/// Reads points up to the announced count, as far as the text has them. By count, because cameras
/// and lights, which may follow, also have positions.
Outcome readPoints(std::FILE* stream, Draft& draft) {
    GrowingArray<SplineKey> keys;
    const Outcome outcome = table::readCounted(stream, "points", readPoint, keys);
    splineTakeKeys(*draft.record, keys);
    return outcome == Outcome::Done && !draft.endsAfterPoints ? Outcome::Again : outcome;
}

bool tokenIsKeyword();

/// Stores the current token as the type.
Outcome takeType(Spline& spline) {
    const int type = table::indexOf(SplineTypeName, animToken);
    if (type < 0) {
        table::complain(kTypeWords);
        return tokenIsKeyword() ? Outcome::Again : Outcome::Next;
    }
    spline.type = type;
    return Outcome::Next;
}

/// "SPLINE" and a type, or the type alone if the word before it has been consumed.
Outcome readType(std::FILE* stream, Draft& draft) {
    const bool more = std::strcmp(animToken, "SPLINE") != 0 || text::Reader::on(stream).value();
    return more ? takeType(*draft.record) : Outcome::EndOfFile;
}

Outcome readName(std::FILE* stream, Draft& draft) {
    splineTakeName(*draft.record, stringReadAsciiAnimation(stream));
    return text::Reader::on(stream).atEnd() ? Outcome::EndOfFile : Outcome::Next;
}

/// A row of a word without a value.
template <auto Member>
constexpr Row flag(std::string_view word) {
    return {word,
            [](std::FILE*, Draft& draft) {
                draft.record->*Member = 1;
                return Outcome::Next;
            },
            [](std::FILE*, const Spline&) {},
            table::isSet<Member, Spline>,
            false,
            true,
            &kFlagWords,
            [](const Spline& spline) { return int{spline.*Member}; }};
}

/// A row of one of the display fields, whose bit is set when it is read.
template <SplineDisplay Bit>
constexpr Row display(Row row, Outcome (*read)(std::FILE*, Draft&)) {
    row.read = read;
    row.present = [](const Spline& spline) { return (spline.display & Bit) != 0; };
    return row;
}

template <auto Member, SplineDisplay Bit>
constexpr Row displayNumber(std::string_view word) {
    return display<Bit>(Rows::number<Member>(word), [](std::FILE* stream, Draft& draft) {
        draft.record->display |= Bit;
        return table::readNumber(stream, draft.record->*Member);
    });
}

/// An older form: two numbers, which are ignored; all such splines get the same colour.
Outcome readWireColourIndex(std::FILE* stream, Draft& draft) {
    constexpr std::int16_t kColourOfIndexedWires = 490;
    in_animSValue_na(stream);
    if (in_animSValue_na(stream) == 0) {
        return Outcome::EndOfFile;
    }
    draft.record->display |= kSplineHasWireColour;
    draft.record->wireColour = kColourOfIndexedWires;
    return Outcome::Next;
}

Outcome readSelection(std::FILE* stream, Draft& draft) {
    std::int16_t state = -1;
    const Outcome outcome = table::readChoice(stream, kSelectionWords, state);
    if (state >= 0) {
        draft.record->display |= kSplineHasSelection;
        draft.record->selection = state;
    }
    return outcome;
}

Outcome dropFlag(std::FILE* stream, Draft&) {
    animNotify(AnimNoticeKind::ByFormat, "FLAG", "of a spline");
    return table::next(in_animSValue_na(stream));
}

bool tokenIsNumber() {
    return animToken[0] != '\0' && std::strchr("+-.0123456789", animToken[0]) != nullptr;
}

/// Keeps the numbers after a keyword as text, because their meaning is unknown.
template <auto Member>
Outcome readNumbers(std::FILE* stream, Draft& draft) {
    GrowingArray<char> kept;
    bool whole = true;
    int more = in_animToken(stream);
    for (; more != 0 && tokenIsNumber(); more = in_animToken(stream)) {
        whole = whole && kept.size() < kMostNumberText && (kept.empty() || kept.push(' '));
        for (const char* c = animToken; whole && *c != '\0'; ++c) {
            whole = kept.push(*c);
        }
    }
    if (!whole || !kept.push('\0')) {
        animNotify(AnimNoticeKind::Cut, animToken, "at most 1 MB of numbers is kept");
    }
    std::free(std::exchange(draft.record->*Member, kept.release()));
    return more != 0 ? Outcome::Again : Outcome::EndOfFile;
}

template <auto Member>
void writeText(std::FILE* stream, const Spline& spline) {
    if ((spline.*Member)[0] != '\0') {
        text::putWord(stream, spline.*Member);
    }
}

template <auto Member>
constexpr Row numbers(std::string_view word) {
    return {word, readNumbers<Member>, writeText<Member>, table::isSet<Member, Spline>};
}

/// In the order in which a spline is written; the first word begins the form.
constexpr Row kSplineRows[] = {
    Rows::readBy(readType, Rows::choice<kTypeWords, &Spline::type>("SPLINE")),
    {"NAME", readName, [](std::FILE* stream, const Spline& s) { text::putQuoted(stream, s.name); }},
    flag<&Spline::close>("CLOSE"),
    flag<&Spline::phantom>("PHANTOM"),
    Rows::number<&Spline::tension>("TENSION"),
    Rows::number<&Spline::step>("STEP"),
    Rows::choice<kConstraintWords, &Spline::constraint>("CONSTRAINT"),
    Rows::choice<kSegmentWords, &Spline::segment>("SEGMENT"),
    numbers<&Spline::keyframe>("KEYFRAME"),
    numbers<&Spline::keyList>("KEYLIST"),
    displayNumber<&Spline::wireColour, kSplineHasWireColour>("WIRE_COLOUR"),
    {"WIRE_COLOUR_INDEX", readWireColourIndex},
    displayNumber<&Spline::lineType, kSplineHasLineType>("LINE_TYPE"),
    display<kSplineHasSelection>(Rows::choice<kSelectionWords, &Spline::selection>("SELECTED"),
                                 readSelection),
    {"FLAG", dropFlag},
    {"POINTS", readPoints, writePoints},
};

/// FLAG in place of a type is not one: it follows the word SPLINE in a key of a damaged curve.
bool tokenIsKeyword() {
    return table::find(kSplineRows, animToken) != nullptr && std::strcmp(animToken, "FLAG") != 0;
}

/// Reports display fields that are not written because their bits are not set.
void reportHiddenFields(const Spline& spline) {
    const struct {
        const char* word;
        SplineDisplay bit;
        int value;
    } fields[] = {{"WIRE_COLOUR", kSplineHasWireColour, spline.wireColour},
                  {"LINE_TYPE", kSplineHasLineType, spline.lineType},
                  {"SELECTED", kSplineHasSelection, spline.selection}};
    for (const auto& field : fields) {
        if (field.value != 0 && (spline.display & field.bit) == 0) {
            notice::written(AnimNoticeKind::Dropped, field.word,
                            "%d of spline \"%.60s\", whose display does not have its bit",
                            field.value, spline.name != nullptr ? spline.name : "");
        }
    }
}

/// Reads the form from its first word or, if that has been consumed, from its type.
int readInto(std::FILE* stream, Spline* spline, bool endsAfterPoints) {
    const notice::Call call;
    const UniqueSpline dropped(spline == nullptr ? splineAllocate() : nullptr);
    Draft draft = {spline != nullptr ? spline : dropped.get(), endsAfterPoints};
    Outcome outcome = Outcome::EndOfFile;
    if (kSplineRows[0].word != animToken && table::indexOf(SplineTypeName, animToken) < 0) {
        animNotify(AnimNoticeKind::Missing, animToken, "a spline expected");
        outcome = Outcome::Again;
    } else if (draft.record != nullptr) {
        outcome = readRecord(stream, kSplineRows, draft);
    }
    const bool more = outcome != Outcome::EndOfFile && !text::Reader::on(stream).atEnd();
    return notice::Call::good(stream) && more ? 1 : 0;
}

} // namespace

void splineListWords(const table::WordTaker& taker) {
    table::listWords(kSplineRows, taker);
}

int splineWriteAsciiAnimation(std::FILE* stream, const Spline* spline) {
    if (spline == nullptr) {
        return 0;
    }
    reportHiddenFields(*spline);
    const std::span rows(kSplineRows);
    table::write(stream, rows.first(1), *spline);
    return table::writeDeeper(stream, rows.subspan(1), *spline);
}

int splineReadAsciiAnimation(std::FILE* stream, Spline* spline) {
    return readInto(stream, spline, false);
}

int splineReadPath(std::FILE* stream, Spline* spline) {
    return readInto(stream, spline, true);
}
