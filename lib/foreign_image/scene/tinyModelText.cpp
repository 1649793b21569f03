// SPDX-License-Identifier: MIT
// Reading the text flavour of the hierarchy file, without recursion, because the file determines
// the depth of a tree.
#include "file/tinyNotice.h"
#include "text/tinyTable.h"
#include "tinyFile.h"
#include "tinyModel.h"
#include "tinyModelInner.h"
#include "tinyOpaqueRead.h"
#include "tinySceneInner.h"
#include "tinySpline.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string_view>
#include <vector>

namespace {

using table::Outcome;

/// A node whose closing brace has not been read, with the ends of its lists.
struct OpenNode {
    Model* node;
    Model* lastChild = nullptr;
    Opaque** contentsEnd = &node->contents;
    UserData** userDataEnd = &node->userData;
    std::uint64_t seen = 0; ///< its words so far
};

/// A tree while it is read.
struct Draft {
    text::Reader& in;
    UniqueModel root = nullptr;
    std::size_t nodes = 0;
    std::vector<OpenNode> open = {}; ///< from the root to the node being read

    [[nodiscard]] Model& node() const { return *open.back().node; }
};

/// Begins a node after its word.
Outcome enterNode(std::FILE*, Draft& draft) {
    Model* fresh = modelCountFits(++draft.nodes) ? modelAllocate() : nullptr;
    if (fresh == nullptr) {
        return Outcome::EndOfFile;
    }
    if (draft.open.empty()) {
        draft.root.reset(fresh);
    } else {
        modelLinkChild(draft.open.back().node, draft.open.back().lastChild, fresh);
        draft.open.back().lastChild = fresh;
    }
    std::ranges::fill(fresh->scaling, 1.0F);
    draft.open.push_back({fresh});
    const bool more = draft.in.next();
    return !more ? Outcome::EndOfFile : draft.in.word() == "{" ? Outcome::Next : Outcome::Again;
}

Outcome leaveNode(std::FILE*, Draft& draft) {
    draft.open.pop_back();
    return draft.open.empty() ? Outcome::Done : Outcome::Next;
}

Outcome readName(std::FILE*, Draft& draft) {
    if (draft.in.peek() != '"') {
        animNotify(AnimNoticeKind::Missing, "name", "a name in quotes expected");
        return Outcome::Next;
    }
    MallocString name(draft.in.quoted());
    std::free(draft.node().name);
    draft.node().name = name != nullptr && name.get()[0] != '\0' ? name.release() : nullptr;
    return Outcome::Next;
}

Outcome readTriple(Draft& draft, float (&values)[3], double unit, const char* word) {
    Vector read = {};
    const int found = draft.in.numbers(read, word);
    const float numbers[] = {read.x, read.y, read.z};
    std::transform(numbers, numbers + found, values,
                   [&](float number) { return text::fromUnit(number, unit); });
    return Outcome::Next;
}

Outcome readScaling(std::FILE*, Draft& draft) {
    return readTriple(draft, draft.node().scaling, 1.0, "scaling");
}

Outcome readRotation(std::FILE*, Draft& draft) {
    return readTriple(draft, draft.node().rotation, kModelDegrees, "rotation");
}

Outcome readTranslation(std::FILE*, Draft& draft) {
    Vector& fixed = draft.node().translation.fixed;
    float values[3] = {fixed.x, fixed.y, fixed.z};
    const Outcome outcome = readTriple(draft, values, 1.0, "translation");
    fixed = {values[0], values[1], values[2]};
    return outcome;
}

Outcome readSpline(std::FILE* stream, Draft& draft) {
    Spline* spline = splineReadAscii(stream, nullptr, nullptr);
    if (spline != nullptr && !modelAppend(draft.node().splines, draft.node().splineCount, spline)) {
        splineDispose(&spline);
    }
    return table::next(spline != nullptr ? 1 : 0);
}

/// Without a tag only the word is lost; what follows it is kept as a block.
Outcome readUserData(std::FILE* stream, Draft& draft) {
    if (draft.in.peek() != '"') {
        animNotify(AnimNoticeKind::Missing, "userData", "a tag in quotes expected");
        return Outcome::Next;
    }
    UserData* data = userDataReadAscii(stream);
    if (data == nullptr) {
        return Outcome::EndOfFile;
    }
    *draft.open.back().userDataEnd = data;
    draft.open.back().userDataEnd = &data->next;
    return Outcome::Next;
}

Outcome readContents(std::FILE*, Draft& draft) {
    return opaqueRead(draft.in, draft.in.word(), modelIsTextWord, draft.open.back().contentsEnd);
}

using Row = table::Row<Draft>;

constexpr Row several(std::string_view word, Outcome (*read)(std::FILE*, Draft&)) {
    return table::Rows<Draft>::repeated({word, read});
}

constexpr Row kNodeRows[] = {
    {"}", leaveNode},
    {"name", readName},
    {"scaling", readScaling},
    {"rotation", readRotation},
    {"translation", readTranslation},
    several("mesh", readContents),
    several("patch", readContents),
    several("face", readContents),
    several("spline", readSpline),
    several("clusters", readContents),
    several("material", readContents),
    several("texture", readContents),
    several("texture3D", readContents),
    several("actor_data", readContents),
    several("userData", readUserData),
    several("model", enterNode),
};

/// Reads the item that begins with the current word.
Outcome readItem(std::FILE* stream, Draft& draft) {
    const Row* row = table::find(kNodeRows, draft.in.word());
    if (row == nullptr) {
        animNotify(AnimNoticeKind::Kept, draft.in.c_str());
        return readContents(stream, draft);
    }
    table::noteRepeated(kNodeRows, row, draft.open.back().seen);
    return row->read(stream, draft);
}

/// Reads a tree after the word of its root, and reports if the file ends inside it.
UniqueModel readTree(std::FILE* stream) {
    Draft draft = {text::Reader::on(stream, text::kFileStyle)};
    Outcome outcome = enterNode(stream, draft);
    while (outcome == Outcome::Again || (outcome == Outcome::Next && draft.in.next())) {
        outcome = readItem(stream, draft);
    }
    if (outcome != Outcome::Done && !notice::Call::failed()) {
        animNotify(AnimNoticeKind::Missing, "}", "the file ends inside a node");
    }
    return std::move(draft.root);
}

} // namespace

void modelListFileWords(const table::WordTaker& taker) {
    table::listWords(kNodeRows, taker);
}

bool modelIsTextWord(std::string_view word) {
    return table::find(kNodeRows, word) != nullptr;
}

bool modelHasValue(std::string_view word) {
    const auto* row = table::find(kNodeRows, word);
    return row != nullptr && row->read != readContents;
}

Model* modelReadAscii(std::FILE* stream) {
    if (stream == nullptr) {
        return nullptr;
    }
    const notice::Call call;
    UniqueModel root;
    try {
        root = readTree(stream);
    } catch (const std::bad_alloc&) {
        notice::Call::failForMemory();
    }
    return notice::Call::good(stream) ? root.release() : nullptr;
}
