// SPDX-License-Identifier: MIT
// The body of the text flavour: docs/toolkit-formats.md.
#include "file/tinyNotice.h"
#include "file/tinyNumberText.h"
#include "text/tinyTable.h"
#include "tinyCurveWords.h"
#include "tinyFile.h"
#include "tinySplineInner.h"

#include <algorithm>
#include <string>

namespace {

using table::Outcome;

// --- Writing -------------------------------------------------------------------------------------

/// Writes lines that begin with the caller's prefix.
class LineWriter {
  public:
    LineWriter(std::FILE* stream, const char* prefix)
        : stream_(stream), prefix_(prefix != nullptr ? prefix : "") {}

    void line(std::string_view head, std::string_view value = "") {
        begin(head);
        text::put(stream_, value);
        text::put(stream_, "\n");
    }

    void name(std::string_view head, const char* name) {
        begin(head);
        text::putQuoted(stream_, name, text::kFileStyle);
        text::put(stream_, "\n");
    }

    void number(std::string_view head, float value) {
        begin(head);
        text::putFixed(stream_, value);
        text::put(stream_, "\n");
    }

    void count(std::string_view head, std::int64_t value) { line(head, NumberText(value).view()); }

    /// Writes a code as its name; one without a name is written as the first, and reported.
    void code(std::string_view head, std::span<const char* const> names, int value) {
        line(head, splineNameOf(names, value));
        if (table::nameAt(names, value).empty()) {
            const std::size_t begin = head.find_first_not_of(' ');
            const std::string word(head.substr(begin, head.find(' ', begin) - begin));
            notice::written(AnimNoticeKind::Dropped, word.c_str(), "%d, which has no name", value);
        }
    }

    /// Writes a word if the flag is set.
    void flag(const char* word, int value) {
        if (value != 0) {
            line("  ", word);
        }
        if (value != 0 && value != 1) {
            notice::written(AnimNoticeKind::Dropped, word, "%d becomes 1", value);
        }
    }

    /// Writes the index and the position of a point.
    void point(std::size_t index, const Vector& position) {
        begin("    [");
        text::put(stream_, NumberText(static_cast<std::int64_t>(index)).view());
        triple("]  position   ", position);
    }

    void vector(std::string_view head, const Vector& value) {
        text::put(stream_, prefix_);
        triple(head, value);
    }

    void emptyLine() { text::put(stream_, "\n"); }

  private:
    void triple(std::string_view head, const Vector& value) {
        text::put(stream_, head);
        text::putFixed(stream_, value.x);
        text::put(stream_, "  ");
        text::putFixed(stream_, value.y);
        text::put(stream_, "  ");
        text::putFixed(stream_, value.z);
        text::put(stream_, "\n");
    }

    void begin(std::string_view head) {
        text::put(stream_, prefix_);
        text::put(stream_, head);
    }

    std::FILE* stream_;
    std::string_view prefix_;
};

void writeKey(LineWriter& out, std::size_t index, const SplineKey& key, bool bezier) {
    out.point(index, key.position);
    if (bezier) {
        out.vector("         previous   ", key.previous);
        out.vector("         next       ", key.next);
        out.code("         constraint ", BezConstraintName, key.constraint);
        out.code("         segment    ", BezSegmentName, key.segment);
    }
    if ((key.flags & kSplineKeySelected) != 0) {
        out.line("         flag    ( SELECTED )");
    }
}

/// A member of points that the text of a spline cannot hold: only Bezier splines have handles,
/// constraints and kinds of segments, and only the selection flag is written.
struct PointMember {
    const char* word;
    bool bezierHasIt;
    bool (*set)(const SplineKey&);
};

constexpr PointMember kPointMembers[] = {
    {"previous", true, table::isSet<&SplineKey::previous>},
    {"next", true, table::isSet<&SplineKey::next>},
    {"constraint", true, table::isSet<&SplineKey::constraint>},
    {"segment", true, table::isSet<&SplineKey::segment>},
    {"flag", false, [](const SplineKey& key) { return (key.flags & ~kSplineKeySelected) != 0; }},
};

/// Reports each member once for all the points that have it.
void reportDropped(const Spline& spline) {
    const auto keys = splineKeys(spline);
    const bool bezier = spline.type == kSplineBezier;
    const char* name = spline.name != nullptr ? spline.name : "";
    for (const PointMember& member : kPointMembers) {
        const auto first = std::ranges::find_if(keys, member.set);
        if (first != keys.end() && !(bezier && member.bezierHasIt)) {
            notice::written(AnimNoticeKind::Dropped, member.word,
                            "of %td points of spline \"%.60s\", the first is point %td; a %s "
                            "spline has no room for it in a text file",
                            std::ranges::count_if(keys, member.set), name, first - keys.begin(),
                            splineNameOf(SplineTypeName, spline.type).data());
        }
    }
    if (!bezier && (spline.constraint != 0 || spline.segment != 0)) {
        notice::written(AnimNoticeKind::Dropped, spline.constraint != 0 ? "constraint" : "segment",
                        "of spline \"%.60s\", which is not a Bezier spline", name);
    }
}

// --- Reading -------------------------------------------------------------------------------------

/// A spline while it is read, with the points so far.
struct Draft {
    text::Reader& in;
    Spline* record;
    GrowingArray<SplineKey> keys = {};
    notice::UnknownRun unknown = {};
    bool begun = false; ///< the last point has its index, but no position yet
    bool full = false;  ///< the text has more points than the record can count
    std::int32_t found = 0;
    std::int16_t announced = -1;
    std::int64_t announcedOn = 0; ///< line
    std::uint64_t keySeen = 0;    ///< words of the last point
    SplineKey surplus = {};       ///< receives the values of points beyond the record's count
};

void beginKey(Draft& draft) {
    const bool wasFull = std::exchange(draft.full, draft.keys.size() == kMostSplineKeys);
    if (draft.full && !wasFull) {
        animNotify(AnimNoticeKind::Cut, draft.in.c_str(), "at most 32767 points are kept");
    }
    draft.full = draft.full || !draft.keys.push({});
    draft.begun = true;
    draft.keySeen = 0;
    ++draft.found;
}

SplineKey& lastKey(Draft& draft) {
    if (draft.keys.empty()) {
        beginKey(draft);
    }
    return draft.full ? draft.surplus : draft.keys.back();
}

// Readers of one value, after its word.

Outcome takeVector(Draft& draft, Vector& vector, const char* what) {
    if (draft.in.numbers(vector, what) < 3) {
        draft.unknown.reported();
    }
    return Outcome::Next;
}

/// A name of the table; another word is reported and means the first.
template <typename Code>
Outcome takeCode(Draft& draft, std::span<const char* const> names, Code& code) {
    const bool more = draft.in.next();
    const int index = table::indexOf(names, draft.in.word());
    if (index < 0) {
        animNotify(AnimNoticeKind::UnknownWord, draft.in.c_str());
    }
    code = static_cast<Code>(index < 0 ? 0 : index);
    return table::next(more ? 1 : 0);
}

/// A number; a word in its place is reported and dropped.
template <typename Number>
Outcome takeNumber(Draft& draft, Number& number) {
    if (!draft.in.number(number)) {
        animNotify(AnimNoticeKind::BadNumber, draft.in.next() ? draft.in.c_str() : "", "number");
    }
    return Outcome::Next;
}

// --- Points --------------------------------------------------------------------------------------

Outcome readPosition(std::FILE*, Draft& draft) {
    if (!draft.begun) {
        beginKey(draft);
    }
    draft.begun = false;
    return takeVector(draft, lastKey(draft).position, "position");
}

/// "( SELECTED )": words between brackets, with or without blanks around the brackets.
Outcome readKeyFlag(std::FILE*, Draft& draft) {
    if (draft.in.peek() != '(') {
        return Outcome::Next;
    }
    for (bool closed = false; !closed;) {
        if (!draft.in.next()) {
            return Outcome::EndOfFile;
        }
        std::string_view word = draft.in.word();
        word.remove_prefix(word.starts_with('(') ? 1 : 0);
        closed = word.ends_with(')');
        word.remove_suffix(closed ? 1 : 0);
        if (word == "SELECTED") {
            lastKey(draft).flags |= kSplineKeySelected;
        } else if (!word.empty()) {
            animNotify(AnimNoticeKind::UnknownWord, draft.in.c_str());
        }
    }
    return Outcome::Next;
}

using Row = table::Row<Draft>;
using Rows = table::Rows<Draft>;

constexpr Row kKeyRows[] = {
    Rows::repeated({"position", readPosition}), // a further one begins a point
    {"previous",
     [](std::FILE*, Draft& d) { return takeVector(d, lastKey(d).previous, "previous"); }},
    {"next", [](std::FILE*, Draft& d) { return takeVector(d, lastKey(d).next, "next"); }},
    {"constraint",
     [](std::FILE*, Draft& d) { return takeCode(d, BezConstraintName, lastKey(d).constraint); }},
    {"segment",
     [](std::FILE*, Draft& d) { return takeCode(d, BezSegmentName, lastKey(d).segment); }},
    Rows::repeated({"flag", readKeyFlag}),
};

/// Reads a block from its opening brace to the closing one. Unknown words are skipped together with
/// their blocks.
Outcome readBlock(Draft& draft, std::span<const Row> rows) {
    text::Reader& in = draft.in;
    const bool points = rows.data() == kKeyRows;
    std::uint64_t seen = 0;
    std::size_t depth = 0;
    while (in.next()) {
        const Row* row = depth <= 1 ? table::find(rows, in.word()) : nullptr;
        if (in.word() == "{") {
            ++depth;
        } else if (in.word() == "}") {
            if (depth <= 1) {
                return Outcome::Next;
            }
            --depth;
        } else if (row != nullptr) {
            draft.unknown.end();
            table::noteRepeated(rows, row, points ? draft.keySeen : seen);
            if (row->read(in.stream(), draft) == Outcome::EndOfFile) {
                return Outcome::EndOfFile;
            }
        } else if (points && depth <= 1 && in.word().starts_with('[')) {
            draft.unknown.end();
            beginKey(draft);
        } else {
            draft.unknown.add(in.c_str());
        }
    }
    return Outcome::EndOfFile;
}

// --- Splines -------------------------------------------------------------------------------------

template <auto Member>
Outcome readNumber(std::FILE*, Draft& draft) {
    return takeNumber(draft, draft.record->*Member);
}

template <auto Member, const auto& Names>
Outcome readCode(std::FILE*, Draft& draft) {
    return takeCode(draft, Names, draft.record->*Member);
}

template <auto Member>
Outcome setFlag(std::FILE*, Draft& draft) {
    draft.record->*Member = 1;
    return Outcome::Next;
}

Outcome readName(std::FILE*, Draft& draft) {
    if (draft.in.peek() != '"') {
        animNotify(AnimNoticeKind::Missing, "name", "a name in quotes expected");
        draft.unknown.reported();
        return Outcome::Next;
    }
    splineTakeName(*draft.record, draft.in.quoted());
    return Outcome::Next;
}

Outcome readCount(std::FILE*, Draft& draft) {
    const Outcome outcome = takeNumber(draft, draft.announced);
    if (draft.announced < 0 && draft.in.word().starts_with('-')) { // others are too large
        animNotify(AnimNoticeKind::BadNumber, draft.in.c_str(), "number of at least 0");
    }
    draft.announcedOn = text::Reader::wordLine();
    return outcome;
}

constexpr Row kSplineRows[] = {
    {"name", readName},
    {"type", readCode<&Spline::type, SplineTypeName>},
    {"nbKeys", readCount},
    {"tension", readNumber<&Spline::tension>},
    {"step", readNumber<&Spline::step>},
    Rows::repeated({"close", setFlag<&Spline::close>}),
    Rows::repeated({"phantom", setFlag<&Spline::phantom>}),
    {"constraint", readCode<&Spline::constraint, BezConstraintName>},
    {"segment", readCode<&Spline::segment, BezSegmentName>},
    Rows::repeated(
        {"controlPoints", [](std::FILE*, Draft& draft) { return readBlock(draft, kKeyRows); }}),
    Rows::repeated({"hole", [](std::FILE*, Draft&) { return Outcome::Next; }}),
};

} // namespace

void splineListFileWords(const table::WordTaker& taker) {
    table::listWords(kSplineRows, taker);
    table::listWords(kKeyRows, taker);
}

int splineWriteAscii(std::FILE* stream, const Spline* spline, const char* prefix) {
    if (spline == nullptr) {
        return 0;
    }
    const auto keys = splineKeys(*spline);
    const bool bezier = spline->type == kSplineBezier;
    if (notice::wanted()) {
        reportDropped(*spline);
        splineReportSceneMembers(*spline);
    }
    LineWriter out(stream, prefix);
    out.emptyLine();
    out.line("spline");
    out.line("{");
    out.name("  name       ", spline->name);
    out.code("  type       ", SplineTypeName, spline->type);
    out.count("  nbKeys     ", std::ssize(keys));
    out.number("  tension    ", spline->tension);
    out.count("  step       ", spline->step);
    out.flag("close", spline->close);
    out.flag("phantom", spline->phantom);
    if (bezier) {
        out.code("  constraint ", BezConstraintName, spline->constraint);
        out.code("  segment    ", BezSegmentName, spline->segment);
    }
    out.emptyLine();
    out.line("  controlPoints");
    out.line("  {");
    for (std::size_t i = 0; i < keys.size(); ++i) {
        writeKey(out, i, keys[i], bezier);
    }
    out.line("  }");
    out.line("}");
    return 1;
}

Spline* splineReadAscii(std::FILE* stream, const void* /*unused*/, const void* /*unusedToo*/) {
    const notice::Call call;
    UniqueSpline spline(splineAllocate());
    if (spline == nullptr) {
        return nullptr;
    }
    Draft draft = {text::Reader::on(stream, text::kFileStyle), spline.get()};
    const bool whole = readBlock(draft, kSplineRows) != Outcome::EndOfFile;
    draft.unknown.end();
    if (!whole) {
        animNotify(AnimNoticeKind::Missing, "}", "the file ends inside the spline");
    } else if (draft.announced >= 0 && draft.found != draft.announced) {
        notice::atLine(AnimNoticeKind::Missing, "nbKeys", draft.announcedOn,
                       "%d point%s announced, %d found", draft.announced,
                       notice::plural(draft.announced), draft.found);
    }
    splineTakeKeys(*spline, draft.keys);
    return notice::Call::good(stream) && whole ? spline.release() : nullptr;
}
