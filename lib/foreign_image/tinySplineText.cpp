// SPDX-License-Identifier: MIT
// The body of the text flavour: docs/toolkit-formats.md.
#include "tinyFile.h"
#include "tinySplineInner.h"
#include "tinyUtilsText.h"

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
        text::put(stream_, "\"");
        // The form has no escape: a double quote inside a name would end it.
        for (const char* c = name != nullptr ? name : ""; *c != '\0'; ++c) {
            putc_unlocked(*c == '"' ? '\'' : *c, stream_);
        }
        text::put(stream_, "\"\n");
    }

    void number(std::string_view head, float value) {
        begin(head);
        text::putFixed(stream_, value);
        text::put(stream_, "\n");
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
        out.line("         constraint ", splineNameOf(BezConstraintName, key.constraint));
        out.line("         segment    ", splineNameOf(BezSegmentName, key.segment));
    }
    if ((key.flags & kSplineKeySelected) != 0) {
        out.line("         flag    ( SELECTED )");
    }
}

// ---------------------------------------------------------------------------------------- reading

/// A spline while it is read: its points are collected as they come.
struct Draft {
    std::FILE* stream;
    WordReader words;
    SplinePointer spline;
    GrowingArray<SplineKey> keys;
    bool begun = false; ///< the last point has its index, but no position yet
    std::int16_t announced = -1;
    SplineKey surplus = {}; ///< takes what belongs to points that the record cannot count
};

/// How a word was taken: whether to go on, or the file ended inside.
enum class Taken : std::uint8_t { Yes, EndOfFile };

Taken took(bool whole) {
    return whole ? Taken::Yes : Taken::EndOfFile;
}

void beginKey(Draft& draft) {
    if (draft.keys.size() == kMostSplineKeys || !draft.keys.push({})) {
        animNotify(AnimNoticeKind::Cut, draft.words.c_str());
    }
    draft.begun = true;
}

SplineKey& lastKey(Draft& draft) {
    if (draft.keys.empty()) {
        beginKey(draft);
    }
    return draft.keys.empty() ? draft.surplus : draft.keys.back();
}

Taken readKeyPosition(Draft& draft) {
    if (!draft.begun) {
        beginKey(draft);
    }
    draft.begun = false;
    draft.words.numbers(lastKey(draft).position);
    return Taken::Yes;
}

template <auto Member>
Taken readKeyVector(Draft& draft) {
    draft.words.numbers(lastKey(draft).*Member);
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
        if (words.word() == "{") {
            ++depth;
        } else if (words.word() == "}") {
            if (depth <= 1) {
                return Taken::Yes;
            }
            --depth;
        } else if (const Row* row = table::find(rows, words.word()); row != nullptr && depth <= 1) {
            if (row->read(draft) == Taken::EndOfFile) {
                return Taken::EndOfFile;
            }
        } else if (words.word().starts_with('[')) {
            beginKey(draft);
        } else {
            animNotify(AnimNoticeKind::UnknownWord, words.c_str());
        }
    }
    return Taken::EndOfFile;
}

Taken readName(Draft& draft) {
    splineTakeName(*draft.spline, stringReadAscii(draft.stream));
    return Taken::Yes;
}

Taken readType(Draft& draft) {
    const bool whole = draft.words.next();
    draft.spline->type = splineCodeOf(SplineTypeName, draft.words.c_str());
    return took(whole);
}

template <auto Member>
Taken readNumber(Draft& draft) {
    draft.words.number((*draft.spline).*Member);
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
    {"nbKeys",
     [](Draft& draft) {
         draft.words.number(draft.announced);
         return Taken::Yes;
     }},
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
    LineWriter out(stream, prefix);
    out.emptyLine();
    out.line("spline");
    out.line("{");
    out.name("  name       ", spline->name);
    out.line("  type       ", splineNameOf(SplineTypeName, spline->type));
    out.line("  nbKeys     ", std::to_string(keys.size()));
    out.number("  tension    ", spline->tension);
    out.line("  step       ", std::to_string(spline->step));
    if (spline->close != 0) {
        out.line("  close");
    }
    if (spline->phantom != 0) {
        out.line("  phantom");
    }
    if (bezier) {
        out.line("  constraint ", splineNameOf(BezConstraintName, spline->constraint));
        out.line("  segment    ", splineNameOf(BezSegmentName, spline->segment));
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
    Draft draft = {.stream = stream,
                   .words = WordReader(stream),
                   .spline = SplinePointer(splineAllocate()),
                   .keys = {}};
    if (draft.spline == nullptr) {
        return nullptr;
    }
    const bool whole = readBlock(draft, kSplineRows) == Taken::Yes;
    const bool asAnnounced =
        draft.announced < 0 || draft.keys.size() == static_cast<std::size_t>(draft.announced);
    if (!whole || !asAnnounced) {
        animNotify(AnimNoticeKind::Missing, whole ? "nbKeys" : draft.words.c_str());
    }
    splineTakeKeys(*draft.spline, draft.keys);
    return whole ? draft.spline.release() : nullptr;
}
