// SPDX-License-Identifier: MIT
// The form that a spline has inside scene files: docs/toolkit-formats.md.
#include "file/tinyNotice.h"
#include "text/tinyUtilsText.h"
#include "tinySoftType.h"
#include "tinySplineInner.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

namespace {

using table::Outcome;

constexpr const char* kSelections[] = {"UNSELECTED", "NODE_SELECTED", "BRANCH_SELECTED",
                                       "INHERIT_SELECTED"};

constexpr char kUnknownType[] =
    "SplineReadAsciiAnimation: error, unknown spline type animToken '%s'.\n";
constexpr char kUnknownSelection[] =
    "SplineReadAsciiAnimation: error, unknown select animToken '%s'.\n";

/// Longest text kept of the numbers after KEYFRAME and KEYLIST.
constexpr std::size_t kMostNumberText = 1 << 20;

void putLine(std::FILE* stream, std::string_view word) {
    animWriteNewLine(stream);
    text::putWord(stream, word);
}

void complain(const char* format) {
    optionPrint(format, animToken); // NOLINT(clang-diagnostic-format-nonliteral)
    animNotify(AnimNoticeKind::UnknownWord, animToken);
}

template <auto Member, const auto& Names, typename Record>
Outcome readName(std::FILE* stream, Record& record) {
    if (in_animToken(stream) == 0) {
        return Outcome::EndOfFile;
    }
    record.*Member = splineCodeOf(Names, animToken);
    return Outcome::Next;
}

template <auto Member, const auto& Names, typename Record>
void writeName(std::FILE* stream, const Record& record) {
    text::putWord(stream, splineNameOf(Names, record.*Member));
}

template <auto Member, typename Record>
void writeInt(std::FILE* stream, const Record& record) {
    text::putInt(stream, record.*Member);
}

// ---------------------------------------------------------------------------------------- points

template <auto Member>
Outcome readVector(std::FILE* stream, SplineKey& key) {
    return vectorReadAsciiAnimation(stream, &(key.*Member)) != 0 ? Outcome::Next
                                                                 : Outcome::EndOfFile;
}

template <auto Member>
void writeVector(std::FILE* stream, const SplineKey& key) {
    const Vector& vector = key.*Member;
    for (const float value : {vector.x, vector.y, vector.z}) {
        text::putFloat(stream, value);
    }
}

Outcome readFlag(std::FILE* stream, SplineKey& key) {
    if (in_animToken(stream) == 0) {
        return Outcome::EndOfFile;
    }
    constexpr std::int64_t kLeast = std::numeric_limits<std::int32_t>::min();
    constexpr std::int64_t kMost = std::numeric_limits<std::uint32_t>::max();
    key.flags = static_cast<std::uint32_t>(text::toInt(animToken, kLeast, kMost));
    return Outcome::Next;
}

void writeFlag(std::FILE* stream, const SplineKey& key) {
    text::putInt(stream, static_cast<std::int32_t>(key.flags));
}

bool always(const SplineKey& /*key*/) {
    return true;
}

template <auto Member>
bool isSet(const SplineKey& key) {
    if constexpr (std::is_same_v<decltype(Member), Vector SplineKey::*>) {
        const Vector& vector = key.*Member;
        return vector.x != 0.0F || vector.y != 0.0F || vector.z != 0.0F;
    } else {
        return key.*Member != 0;
    }
}

struct PointRow {
    std::string_view word;
    bool (*present)(const SplineKey&); ///< Bezier splines write every row
    Outcome (*read)(std::FILE*, SplineKey&);
    void (*write)(std::FILE*, const SplineKey&);
};

/// In the order in which a point is written; the first word begins a point.
constexpr PointRow kPointRows[] = {
    {"POSITION", always, readVector<&SplineKey::position>, writeVector<&SplineKey::position>},
    {"PREVIOUS", isSet<&SplineKey::previous>, readVector<&SplineKey::previous>,
     writeVector<&SplineKey::previous>},
    {"NEXT", isSet<&SplineKey::next>, readVector<&SplineKey::next>, writeVector<&SplineKey::next>},
    {"CONSTRAINT", isSet<&SplineKey::constraint>,
     readName<&SplineKey::constraint, BezConstraintName>,
     writeName<&SplineKey::constraint, BezConstraintName>},
    {"SEGMENT", isSet<&SplineKey::segment>, readName<&SplineKey::segment, BezSegmentName>,
     writeName<&SplineKey::segment, BezSegmentName>},
    {"FLAG", always, readFlag, writeFlag},
};

/// Reads the point that begins with the current token. Again: the token begins none.
Outcome readPoint(std::FILE* stream, SplineKey& key) {
    const PointRow* row = table::find(std::span(kPointRows).first(1), animToken);
    if (row == nullptr) {
        return Outcome::Again;
    }
    while (row != nullptr) {
        if (row->read(stream, key) == Outcome::EndOfFile) {
            return Outcome::EndOfFile;
        }
        in_animToken(stream);
        row = table::find(std::span(kPointRows).subspan(1), animToken);
    }
    return Outcome::Done;
}

void writePoints(std::FILE* stream, const Spline& spline) {
    text::putInt(stream, static_cast<std::int64_t>(splineKeys(spline).size()));
    incIndent(1);
    for (const SplineKey& key : splineKeys(spline)) {
        for (const PointRow& row : kPointRows) {
            if (spline.type == kSplineBezier || row.present(key)) {
                putLine(stream, row.word);
                row.write(stream, key);
            }
        }
    }
    incIndent(-1);
}

/// Reads as many points as are announced and there: by count, since cameras and lights, which may
/// follow, have positions of their own.
Outcome readPoints(std::FILE* stream, Spline& spline) {
    GrowingArray<SplineKey> keys;
    const Outcome outcome = table::readCounted(stream, "points", readPoint, keys);
    splineTakeKeys(spline, keys);
    return outcome == Outcome::EndOfFile ? Outcome::EndOfFile : Outcome::Again;
}

// --------------------------------------------------------------------------------------- splines

bool tokenIsKeyword();

Outcome readType(std::FILE* /*stream*/, Spline& spline) {
    const int type = table::indexOf(SplineTypeName, animToken);
    if (type >= 0) {
        spline.type = type;
        return Outcome::Next;
    }
    complain(kUnknownType);
    return tokenIsKeyword() ? Outcome::Again : Outcome::Next;
}

Outcome readSpline(std::FILE* stream, Spline& spline) {
    return in_animToken(stream) != 0 ? readType(stream, spline) : Outcome::EndOfFile;
}

Outcome readQuotedName(std::FILE* stream, Spline& spline) {
    splineTakeName(spline, stringReadAsciiAnimation(stream));
    return animToken[0] != '\0' ? Outcome::Next : Outcome::EndOfFile;
}

template <auto Member>
Outcome setFlag(std::FILE* /*stream*/, Spline& spline) {
    spline.*Member = 1;
    return Outcome::Next;
}

template <auto Member, SplineDisplay Bit>
Outcome readDisplay(std::FILE* stream, Spline& spline) {
    spline.display |= Bit;
    return table::readShort<Member>(stream, spline);
}

/// An older form: two numbers that say nothing any more, for a colour that all such splines get.
Outcome readWireColourIndex(std::FILE* stream, Spline& spline) {
    constexpr std::int16_t kColourOfIndexedWires = 490;
    in_animSValue_na(stream);
    if (in_animSValue_na(stream) == 0) {
        return Outcome::EndOfFile;
    }
    spline.display |= kSplineHasWireColour;
    spline.wireColour = kColourOfIndexedWires;
    return Outcome::Next;
}

Outcome readSelection(std::FILE* stream, Spline& spline) {
    if (in_animToken(stream) == 0) {
        return Outcome::EndOfFile;
    }
    const int state = table::indexOf(kSelections, animToken);
    if (state < 0) {
        complain(kUnknownSelection);
        return Outcome::Next;
    }
    spline.display |= kSplineHasSelection;
    spline.selection = static_cast<std::int16_t>(state);
    return Outcome::Next;
}

bool tokenIsNumber() {
    return animToken[0] != '\0' && std::strchr("+-.0123456789", animToken[0]) != nullptr;
}

/// Keeps the numbers after a keyword as text: what they stand for is not known here.
template <auto Member>
Outcome readNumbers(std::FILE* stream, Spline& spline) {
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
    std::free(std::exchange(spline.*Member, kept.release()));
    return more != 0 ? Outcome::Again : Outcome::EndOfFile;
}

template <auto Member>
void writeText(std::FILE* stream, const Spline& spline) {
    if ((spline.*Member)[0] != '\0') {
        text::putWord(stream, spline.*Member);
    }
}

template <auto Member>
bool isGiven(const Spline& spline) {
    return static_cast<bool>(spline.*Member);
}

template <SplineDisplay Bit>
bool has(const Spline& spline) {
    return (spline.display & Bit) != 0;
}

bool alwaysWritten(const Spline& /*spline*/) {
    return true;
}

bool never(const Spline& /*spline*/) {
    return false;
}

void writeNothing(std::FILE* /*stream*/, const Spline& /*spline*/) {}

struct SplineRow {
    std::string_view word;
    bool (*written)(const Spline&);
    Outcome (*read)(std::FILE*, Spline&);
    void (*write)(std::FILE*, const Spline&);
};

/// In the order in which a spline is written; the first word begins the form.
constexpr SplineRow kSplineRows[] = {
    {"SPLINE", alwaysWritten, readSpline, writeName<&Spline::type, SplineTypeName>},
    {"NAME", alwaysWritten, readQuotedName,
     [](std::FILE* stream, const Spline& s) { text::putQuoted(stream, s.name); }},
    {"CLOSE", isGiven<&Spline::close>, setFlag<&Spline::close>, writeNothing},
    {"PHANTOM", isGiven<&Spline::phantom>, setFlag<&Spline::phantom>, writeNothing},
    {"TENSION", alwaysWritten, table::readFloat<&Spline::tension>,
     [](std::FILE* stream, const Spline& s) { text::putFloat(stream, s.tension); }},
    {"STEP", alwaysWritten, table::readShort<&Spline::step>, writeInt<&Spline::step>},
    {"CONSTRAINT", alwaysWritten, readName<&Spline::constraint, BezConstraintName>,
     writeName<&Spline::constraint, BezConstraintName>},
    {"SEGMENT", alwaysWritten, readName<&Spline::segment, BezSegmentName>,
     writeName<&Spline::segment, BezSegmentName>},
    {"KEYFRAME", isGiven<&Spline::keyframe>, readNumbers<&Spline::keyframe>,
     writeText<&Spline::keyframe>},
    {"KEYLIST", isGiven<&Spline::keyList>, readNumbers<&Spline::keyList>,
     writeText<&Spline::keyList>},
    {"WIRE_COLOUR", has<kSplineHasWireColour>,
     readDisplay<&Spline::wireColour, kSplineHasWireColour>, writeInt<&Spline::wireColour>},
    {"WIRE_COLOUR_INDEX", never, readWireColourIndex, writeNothing},
    {"LINE_TYPE", has<kSplineHasLineType>, readDisplay<&Spline::lineType, kSplineHasLineType>,
     writeInt<&Spline::lineType>},
    {"SELECTED", has<kSplineHasSelection>, readSelection,
     writeName<&Spline::selection, kSelections>},
    {"POINTS", alwaysWritten, readPoints, writePoints}, // ends the form behind "PATH"
};

bool tokenIsKeyword() {
    return table::find(kSplineRows, animToken) != nullptr;
}

/// What ends the form besides a word that is none of its own.
enum class Ends : std::uint8_t { Never, AfterPoints };

/// Reads the form into `spline`, from its first word or, where that is gone, from its type.
int readForm(std::FILE* stream, Spline& spline, Ends ends) {
    const SplineRow* row = table::find(std::span(kSplineRows).first(1), animToken);
    if (row == nullptr && table::indexOf(SplineTypeName, animToken) < 0) {
        animNotify(AnimNoticeKind::Missing, animToken, "a spline expected");
        return 1;
    }
    Outcome outcome = row != nullptr ? row->read(stream, spline) : readType(stream, spline);
    while (outcome != Outcome::EndOfFile) {
        if (outcome == Outcome::Next && in_animToken(stream) == 0) {
            return 0;
        }
        const bool complete =
            ends == Ends::AfterPoints && row != nullptr && row->read == readPoints;
        row = complete ? nullptr : table::find(std::span(kSplineRows).subspan(1), animToken);
        if (row == nullptr) {
            return animToken[0] != '\0' ? 1 : 0;
        }
        outcome = row->read(stream, spline);
    }
    return 0;
}

int readInto(std::FILE* stream, Spline* spline, Ends ends) {
    const notice::Call call;
    const SplinePointer dropped(spline == nullptr ? splineAllocate() : nullptr);
    Spline* record = spline != nullptr ? spline : dropped.get();
    const int more = record != nullptr ? readForm(stream, *record, ends) : 0;
    return notice::Call::good(stream) ? more : 0;
}

} // namespace

int splineWriteAsciiAnimation(std::FILE* stream, const Spline* spline) {
    if (spline == nullptr) {
        return 0;
    }
    const auto writeRow = [&](const SplineRow& row) {
        if (row.written(*spline)) {
            putLine(stream, row.word);
            row.write(stream, *spline);
        }
    };
    writeRow(kSplineRows[0]);
    incIndent(1);
    std::ranges::for_each(std::span(kSplineRows).subspan(1), writeRow);
    incIndent(-1);
    return 1;
}

int splineReadAsciiAnimation(std::FILE* stream, Spline* spline) {
    return readInto(stream, spline, Ends::Never);
}

int splineReadPath(std::FILE* stream, Spline* spline) {
    return readInto(stream, spline, Ends::AfterPoints);
}
