// SPDX-License-Identifier: MIT
// The body of the text flavour: docs/toolkit-formats.md.
#include "file/tinyNotice.h"
#include "text/tinyUtilsText.h"
#include "tinyFile.h"
#include "tinySplineInner.h"

#include <algorithm>
#include <charconv>

namespace {

using text::WordReader;

// ---------------------------------------------------------------------------------------- writing

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
        text::putDoubleQuoted(stream_, name);
        text::put(stream_, "\n");
    }

    void number(std::string_view head, float value) {
        begin(head);
        text::putFixed(stream_, value);
        text::put(stream_, "\n");
    }

    void number(std::string_view head, std::size_t value) {
        char digits[24];
        const auto end = std::to_chars(digits, digits + sizeof digits, value);
        line(head, {digits, end.ptr});
    }

    /// A code by its name; one without a name is written as the first.
    void code(std::string_view head, std::span<const char* const> names, int value) {
        line(head, splineNameOf(names, value));
    }

    void vector(std::string_view head, const Vector& value) {
        begin(head);
        text::putFixed(stream_, value.x);
        text::put(stream_, "  ");
        text::putFixed(stream_, value.y);
        text::put(stream_, "  ");
        text::putFixed(stream_, value.z);
        text::put(stream_, "\n");
    }

    void emptyLine() { text::put(stream_, "\n"); }

  private:
    void begin(std::string_view head) {
        text::put(stream_, prefix_);
        text::put(stream_, head);
    }

    std::FILE* stream_;
    std::string_view prefix_;
};

void writeKey(LineWriter& out, std::size_t index, const SplineKey& key, bool bezier) {
    char head[64];
    std::snprintf(head, sizeof head, "    [%zu]  position   ", index);
    out.vector(head, key.position);
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

/// What the text of a spline has no room for, in its points: only Bezier splines have handles,
/// constraints and kinds of segments there, and of the flags only the selection is written.
struct PointMember {
    const char* word;
    bool bezierHasIt;
    bool (*set)(const SplineKey&);
};

bool isSet(const Vector& vector) {
    return vector.x != 0.0F || vector.y != 0.0F || vector.z != 0.0F;
}

constexpr PointMember kPointMembers[] = {
    {"previous", true, [](const SplineKey& key) { return isSet(key.previous); }},
    {"next", true, [](const SplineKey& key) { return isSet(key.next); }},
    {"constraint", true, [](const SplineKey& key) { return key.constraint != 0; }},
    {"segment", true, [](const SplineKey& key) { return key.segment != 0; }},
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

// ---------------------------------------------------------------------------------------- reading

/// A spline while it is read: its points are collected as they come.
struct Draft {
    WordReader words;
    SplinePointer spline;
    GrowingArray<SplineKey> keys;
    notice::UnknownRun unknown = {};
    bool begun = false; ///< the last point has its index, but no position yet
    bool full = false;  ///< the text has more points than the record can count
    std::int32_t found = 0;
    std::int16_t announced = -1;
    std::int64_t announcedOn = 0; ///< line
    SplineKey surplus = {};       ///< takes what belongs to points that the record cannot count
};

/// How a word was taken: whether to go on, or the file ended inside.
enum class Taken : std::uint8_t { Yes, EndOfFile };

Taken took(bool whole) {
    return whole ? Taken::Yes : Taken::EndOfFile;
}

void beginKey(Draft& draft) {
    const bool wasFull = std::exchange(draft.full, draft.keys.size() == kMostSplineKeys);
    if (draft.full && !wasFull) {
        animNotify(AnimNoticeKind::Cut, draft.words.c_str(), "at most 32767 points are kept");
    }
    draft.full = draft.full || !draft.keys.push({});
    draft.begun = true;
    ++draft.found;
}

SplineKey& lastKey(Draft& draft) {
    if (draft.keys.empty()) {
        beginKey(draft);
    }
    return draft.full ? draft.surplus : draft.keys.back();
}

void readVector(Draft& draft, Vector& vector, const char* what) {
    if (!draft.words.numbers(vector, what)) {
        draft.unknown.reported();
    }
}

Taken readKeyPosition(Draft& draft) {
    if (!draft.begun) {
        beginKey(draft);
    }
    draft.begun = false;
    readVector(draft, lastKey(draft).position, "position");
    return Taken::Yes;
}

template <auto Member>
Taken readKeyVector(Draft& draft) {
    readVector(draft, lastKey(draft).*Member, Member == &SplineKey::next ? "next" : "previous");
    return Taken::Yes;
}

template <auto Member, const auto& Names>
Taken readKeyName(Draft& draft) {
    const bool whole = draft.words.next();
    lastKey(draft).*Member = splineCodeOf(Names, draft.words.c_str());
    return took(whole);
}

/// "( SELECTED )": words between brackets, which need no blanks beside them.
Taken readKeyFlag(Draft& draft) {
    if (draft.words.peek() != '(') {
        return Taken::Yes;
    }
    for (bool closed = false; !closed;) {
        if (!draft.words.next()) {
            return Taken::EndOfFile;
        }
        std::string_view word = draft.words.word();
        word.remove_prefix(word.starts_with('(') ? 1 : 0);
        closed = word.ends_with(')');
        word.remove_suffix(closed ? 1 : 0);
        if (word == "SELECTED") {
            lastKey(draft).flags |= kSplineKeySelected;
        } else if (!word.empty()) {
            animNotify(AnimNoticeKind::UnknownWord, draft.words.c_str());
        }
    }
    return Taken::Yes;
}

struct Row {
    std::string_view word;
    Taken (*read)(Draft&);
};

constexpr Row kKeyRows[] = {
    {"position", readKeyPosition},
    {"previous", readKeyVector<&SplineKey::previous>},
    {"next", readKeyVector<&SplineKey::next>},
    {"constraint", readKeyName<&SplineKey::constraint, BezConstraintName>},
    {"segment", readKeyName<&SplineKey::segment, BezSegmentName>},
    {"flag", readKeyFlag},
};

/// Reads words up to the closing brace of the block whose opening one is still to come. Unknown
/// words are skipped, with whole blocks of their own.
Taken readBlock(Draft& draft, std::span<const Row> rows) {
    WordReader& words = draft.words;
    std::size_t depth = 0;
    while (words.next()) {
        const Row* row = depth <= 1 ? table::find(rows, words.word()) : nullptr;
        if (row == nullptr && words.word() != "{" && words.word() != "}" &&
            !words.word().starts_with('[')) {
            draft.unknown.add(words.c_str());
            continue;
        }
        if (words.word() == "{") {
            ++depth;
            continue;
        }
        if (words.word() == "}") {
            if (depth <= 1) {
                return Taken::Yes;
            }
            --depth;
            continue;
        }
        draft.unknown.end();
        if (row == nullptr) {
            beginKey(draft);
        } else if (row->read(draft) == Taken::EndOfFile) {
            return Taken::EndOfFile;
        }
    }
    return Taken::EndOfFile;
}

Taken readName(Draft& draft) {
    splineTakeName(*draft.spline, draft.words.quoted());
    return Taken::Yes;
}

Taken readType(Draft& draft) {
    const bool whole = draft.words.next();
    draft.spline->type = splineCodeOf(SplineTypeName, draft.words.c_str());
    return took(whole);
}

/// A number; where there is none, the word that stands there is reported and dropped.
template <typename Number>
void takeNumber(Draft& draft, Number& number) {
    if (!draft.words.number(number)) {
        animNotify(AnimNoticeKind::BadNumber, draft.words.next() ? draft.words.c_str() : "",
                   "number");
    }
}

template <auto Member>
Taken readNumber(Draft& draft) {
    takeNumber(draft, (*draft.spline).*Member);
    return Taken::Yes;
}

Taken readCount(Draft& draft) {
    takeNumber(draft, draft.announced);
    draft.announcedOn = notice::lines.token;
    return Taken::Yes;
}

template <auto Member, const auto& Names>
Taken readCode(Draft& draft) {
    const bool whole = draft.words.next();
    (*draft.spline).*Member = splineCodeOf(Names, draft.words.c_str());
    return took(whole);
}

template <auto Member>
Taken setFlag(Draft& draft) {
    (*draft.spline).*Member = 1;
    return Taken::Yes;
}

Taken readPoints(Draft& draft) {
    return readBlock(draft, kKeyRows);
}

constexpr Row kSplineRows[] = {
    {"name", readName},
    {"type", readType},
    {"nbKeys", readCount},
    {"tension", readNumber<&Spline::tension>},
    {"step", readNumber<&Spline::step>},
    {"close", setFlag<&Spline::close>},
    {"phantom", setFlag<&Spline::phantom>},
    {"constraint", readCode<&Spline::constraint, BezConstraintName>},
    {"segment", readCode<&Spline::segment, BezSegmentName>},
    {"controlPoints", readPoints},
    {"hole", [](Draft&) { return Taken::Yes; }},
};

} // namespace

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
    out.number("  nbKeys     ", keys.size());
    out.number("  tension    ", spline->tension);
    char step[8];
    out.line("  step       ", {step, std::to_chars(step, step + sizeof step, spline->step).ptr});
    if (spline->close != 0) {
        out.line("  close");
    }
    if (spline->phantom != 0) {
        out.line("  phantom");
    }
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
    Draft draft = {
        .words = WordReader(stream), .spline = SplinePointer(splineAllocate()), .keys = {}};
    if (draft.spline == nullptr) {
        return nullptr;
    }
    const bool whole = readBlock(draft, kSplineRows) == Taken::Yes;
    draft.unknown.end();
    if (!whole) {
        animNotify(AnimNoticeKind::Missing, "}", "the file ends inside the spline");
    } else if (draft.announced >= 0 && draft.found != draft.announced) {
        notice::atLine(AnimNoticeKind::Missing, "nbKeys", draft.announcedOn,
                       "%d points announced, %d found", draft.announced, draft.found);
    }
    splineTakeKeys(*draft.spline, draft.keys);
    return notice::Call::good(stream) && whole ? draft.spline.release() : nullptr;
}
