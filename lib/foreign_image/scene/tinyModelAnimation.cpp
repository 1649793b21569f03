// SPDX-License-Identifier: MIT
// The animation form of a tree inside a scene file: one entry for each node in walk order, with
// "MODEL", the node's name and its parent's in quotes, then the node's keyword lines. The parent is
// the last earlier node of that name; if that would be another one, its number among the entries
// (from 0) follows the name.
#include "curve/tinyCurveTable.h"
#include "file/tinyNotice.h"
#include "tinyFile.h"
#include "tinyModel.h"
#include "tinyModelInner.h"
#include "tinyOpaqueRead.h"
#include "tinySceneInner.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace {

using table::Outcome;

/// A node that has been read, with the end of its list of children.
struct Entry {
    Model* node;
    Model* lastChild = nullptr;
};

/// A tree while it is read. `record` is the node whose lines are being read.
struct Draft {
    Model* record = nullptr;
    UniqueModel root;
    Opaque** contentsEnd = nullptr;
    ModelShape** shapesEnd = nullptr;
    ModelShape* shape = nullptr; ///< the last shape of the node
    std::uint64_t seen = 0;      ///< words of the node so far
    std::vector<Entry> entries;  ///< nodes in the order of the file; the root first
    std::unordered_map<std::string, std::size_t> latest; ///< last entry of each name
};

using Row = table::Row<Draft>;
using Rows = table::CurveRows<Draft>;

// --- Values --------------------------------------------------------------------------------------

constexpr const char* kShapeTypes[] = {"", "LINEAR", "CARDINAL"};
constexpr table::Choice kShapeWords = {kShapeTypes};
constexpr table::Choice kBoxWords = {table::kActive};
constexpr table::Choice kSelectWords = {table::kSelection};

/// The file has degrees, the record radians; curves stay in degrees.
Outcome readRotation(std::FILE* stream, Draft& draft) {
    float* rotation = draft.record->rotation;
    float before[3];
    std::transform(rotation, rotation + 3, before,
                   [](float angle) { return text::fromUnit(angle, 1.0 / kModelDegrees); });
    float degrees[3] = {before[0], before[1], before[2]};
    const int result = tripleRead(stream, degrees, &draft.record->curves[kModelRotationX]);
    for (int i = 0; i < 3; ++i) {
        if (degrees[i] != before[i]) {
            rotation[i] = text::fromUnit(degrees[i], kModelDegrees);
        }
    }
    return table::again(result);
}

void writeRotation(std::FILE* stream, const Model& node) {
    if (node.curves[kModelRotationX] != nullptr) {
        tripleWrite(stream, node.rotation, &node.curves[kModelRotationX]);
        return;
    }
    for (const float angle : node.rotation) {
        text::putFloat(stream, angle, kModelDegrees);
    }
    reportHiddenCurves(&node.curves[kModelRotationX]);
}

/// A row that is written only if the member is set.
template <auto Member>
constexpr Row whereSet(Row row) {
    row.present = table::isSet<Member, Model>;
    return row;
}

template <int State>
constexpr Row selectionState(std::string_view word) {
    return Rows::repeated({word, [](std::FILE*, Draft& draft) {
                               draft.record->selection = State;
                               return Outcome::Next;
                           }});
}

// --- Shapes --------------------------------------------------------------------------------------

/// Begins a new shape of the node.
bool addShape(Draft& draft) {
    draft.shape = modelShapeAllocate();
    if (draft.shape == nullptr) {
        return false;
    }
    *draft.shapesEnd = draft.shape;
    draft.shapesEnd = &draft.shape->next;
    return true;
}

bool tokenIsCurve() {
    return std::string_view(animToken) == "CURVE_TYPE";
}

Outcome readShapeName(std::FILE* stream, Draft& draft) {
    return addShape(draft) ? table::readQuoted(stream, draft.shape->name) : Outcome::EndOfFile;
}

Outcome readInterpolation(std::FILE* stream, Draft& draft) {
    if ((draft.shape == nullptr && !addShape(draft)) || !text::Reader::on(stream).value()) {
        return Outcome::EndOfFile;
    }
    if (draft.shape->interpolation != nullptr) {
        animNotify(AnimNoticeKind::Dropped, "INTERP_FCURVE", "given before");
    }
    if (!tokenIsCurve() && text::parseFloat(animToken).exact) {
        animNotify(AnimNoticeKind::ByFormat, "INTERP_FCURVE", "a number without a curve");
    }
    return table::again(valueReadAsciiAnimation(stream, nullptr, &draft.shape->interpolation, 0));
}

/// Reads the count and at most that many curves.
Outcome readWeights(std::FILE* stream, Draft& draft) {
    std::int32_t count = 0;
    if ((draft.shape == nullptr && !addShape(draft)) || in_animLValue(stream, &count) == 0) {
        return Outcome::EndOfFile;
    }
    const std::int64_t line = animTokenLineNumber();
    int result = in_animToken(stream);
    int found = 0;
    for (; result != 0 && found < count && tokenIsCurve(); ++found) {
        Fcurve* curve = nullptr;
        result = fcurveReadAsciiAnimation(stream, &curve);
        if (curve != nullptr &&
            !modelAppend(draft.shape->weights, draft.shape->weightCount, curve)) {
            fcurveDispose(&curve);
            return Outcome::EndOfFile;
        }
    }
    if (found < count) {
        notice::atLine(AnimNoticeKind::Missing, "WEIGHT_FCURVES", line,
                       "%d curve%s announced, %d found", count, notice::plural(count), found);
    }
    return table::again(result);
}

void writeShapes(std::FILE* stream, const Model& node) {
    incIndent(1);
    for (const ModelShape* shape = node.shapes; shape != nullptr; shape = shape->next) {
        table::putKeyword(stream, "SHAPE_NAME");
        text::putQuoted(stream, shape->name);
        if (shape->interpolation != nullptr) {
            table::putKeyword(stream, "INTERP_FCURVE");
            fcurveWriteAsciiAnimation(stream, shape->interpolation);
        }
        if (shape->weightCount > 0) {
            table::putKeyword(stream, "WEIGHT_FCURVES");
            text::putInt(stream, shape->weightCount);
            std::for_each(shape->weights, shape->weights + shape->weightCount,
                          [&](const Fcurve* c) { fcurveWriteAsciiAnimation(stream, c); });
        }
    }
    incIndent(-1);
}

// --- Words ---------------------------------------------------------------------------------------

bool endsContents(std::string_view word);

Outcome readContents(std::FILE* stream, Draft& draft) {
    return opaqueRead(text::Reader::on(stream), animToken, endsContents, draft.contentsEnd);
}

constexpr Row kept(std::string_view word) {
    return Rows::repeated({word, readContents});
}

bool isShapeWord(std::string_view word) {
    return word == "SHAPE_NAME" || word == "INTERP_FCURVE" || word == "WEIGHT_FCURVES";
}

/// "SHAPE" precedes the shapes; if anything else follows it, it is kept as text with the rest of
/// its line.
Outcome readShapes(std::FILE* stream, Draft& draft) {
    const std::int64_t line = animTokenLineNumber();
    if (!in_animToken(stream)) {
        opaqueAppend(draft.contentsEnd, opaqueAllocate("SHAPE"));
        return Outcome::EndOfFile;
    }
    if (isShapeWord(animToken)) {
        return Outcome::Again;
    }
    if (endsContents(animToken) || animTokenLineNumber() != line) {
        opaqueAppend(draft.contentsEnd, opaqueAllocate("SHAPE"));
        return Outcome::Again;
    }
    return opaqueRead(text::Reader::on(stream), std::string("SHAPE ") + animToken, endsContents,
                      draft.contentsEnd);
}

constexpr Row kRows[] = {
    Rows::triple<&Model::scaling, kModelScalingX>("SCALING"),
    {"ROTATION", readRotation, writeRotation},
    // Before the translation, because they are also words of a path's spline.
    whereSet<&Model::wireColour>(Rows::number<&Model::wireColour>("WIRE_COLOUR")),
    whereSet<&Model::lineType>(Rows::number<&Model::lineType>("LINE_TYPE")),
    whereSet<&Model::selection>(Rows::choice<kSelectWords, &Model::selection>("SELECTED")),
    Rows::position<&Model::translation, kModelTranslationPath, kModelTranslationX>("TRANSLATION"),
    Rows::wholeOrCurve<&Model::hidden, kModelHidden>("HIDDEN"),
    Rows::wholeOrCurve<&Model::algorithm, kModelAlgorithm>("ALGORITHM_TYPE"),
    whereSet<&Model::boundingBox>(Rows::flag<kBoxWords, &Model::boundingBox>("BOUNDING_BOX")),
    whereSet<&Model::shapeInterpolation>(
        Rows::choice<kShapeWords, &Model::shapeInterpolation>("SHAPE_INTERP_TYPE")),
    Rows::repeated({"SHAPE", readShapes, writeShapes,
                    [](const Model& node) { return node.shapes != nullptr; }}),
    Rows::repeated({"SHAPE_NAME", readShapeName}),
    Rows::repeated({"INTERP_FCURVE", readInterpolation}),
    Rows::repeated({"WEIGHT_FCURVES", readWeights}),
    selectionState<0>("UNSELECTED"),
    selectionState<1>("NODE_SELECTED"),
    selectionState<2>("BRANCH_SELECTED"),
    selectionState<3>("INHERIT_SELECTED"),
    kept("NODE_LATTICE"),
    kept("TREE_LATTICE"),
    kept("MATERIAL_INDEX"),
    kept("MATERIAL"),
    kept("LTEXTURE"),
    kept("LTEXTURE_3D"),
    kept("TEXTURE"),
    kept("TEXTURE_3D"),
    kept("CLUSTER"),
    kept("SPLINE_NODE"),
    kept("SPLINE_TREE"),
    kept("PATCH_NODE"),
    kept("PATCH_TREE"),
    kept("WEIGHT"),
    kept("DYNA_SETUP"),
    kept("DYNA_CONST"),
};

/// True for the scene's words that end a block kept as text: only those that open an element,
/// because a block may hold words of the rendering settings, PICTURE for example.
bool endsContents(std::string_view word) {
    return word == "MODEL" || table::find(kRows, word) != nullptr || sceneOpensElement(word);
}

// --- Entries -------------------------------------------------------------------------------------

/// Makes a node the current one and attaches it to the entry `parent`; the first is the root.
bool addNode(Draft& draft, std::size_t parent, char* name) {
    Model* node = modelCountFits(draft.entries.size() + 1) ? modelAllocate() : nullptr;
    if (node == nullptr) {
        std::free(name);
        return false;
    }
    node->name = name;
    std::fill(std::begin(node->scaling), std::end(node->scaling), 1.0F);
    if (!draft.entries.empty()) {
        Entry& above = draft.entries[parent];
        modelLinkChild(above.node, above.lastChild, node);
        above.lastChild = node;
    } else {
        draft.root.reset(node);
    }
    draft.entries.push_back({node});
    if (name != nullptr) {
        draft.latest[name] = draft.entries.size() - 1;
    }
    draft.record = node;
    draft.contentsEnd = &node->animationContents;
    draft.shapesEnd = &node->shapes;
    draft.shape = nullptr;
    draft.seen = 0;
    return true;
}

/// Reports a name of the parent that is not that of the entry whose number follows.
void reportOtherName(const char* ofEntry, const char* name) {
    const std::string_view given = name != nullptr ? name : "";
    if (given != (ofEntry != nullptr ? ofEntry : "")) {
        animNotify(AnimNoticeKind::Dropped, given.data(), "the number after it counts");
    }
}

/// The entry for the parent's name, or for the number after it; the root, with a message, if there
/// is none.
std::size_t findParent(const Draft& draft, const char* name, const char* number) {
    if (*number != '\0') {
        const auto index = static_cast<std::size_t>(std::strtoul(number, nullptr, 10));
        if (index < draft.entries.size()) {
            reportOtherName(draft.entries[index].node->name, name);
            return index;
        }
    } else if (name != nullptr) {
        const auto found = draft.latest.find(name);
        if (found != draft.latest.end()) {
            return found->second;
        }
    }
    if (name != nullptr || !draft.entries.empty()) {
        const char* shown = name != nullptr ? name : "";
        optionPrint("ModelReadAsciiAnimation: error, cannot find model '%s'.\n", shown);
        animNotify(AnimNoticeKind::UnknownWord, shown, "a model of that name");
    }
    return 0;
}

bool isWholeNumber(std::string_view word) {
    return !word.empty() && word.find_first_not_of("0123456789") == std::string_view::npos;
}

Outcome readModel(std::FILE* stream, Draft& draft) {
    MallocString name(stringReadAsciiAnimation(stream));
    const MallocString parent(stringReadAsciiAnimation(stream));
    const bool more = in_animToken(stream) != 0;
    const bool numbered = isWholeNumber(animToken);
    const std::size_t above = findParent(draft, parent.get(), numbered ? animToken : "");
    if (!addNode(draft, above, name.release()) || !more) {
        return Outcome::EndOfFile;
    }
    return numbered ? Outcome::Next : Outcome::Again;
}

/// Reads the item that begins with the current token. Nullopt if it does not belong to the tree.
std::optional<Outcome> readItem(std::FILE* stream, Draft& draft) {
    const std::string_view word = animToken;
    if (word == "MODEL") {
        return readModel(stream, draft);
    }
    const Row* row = table::find(kRows, word);
    if (row == nullptr && sceneIsWord(word)) {
        return std::nullopt;
    }
    if (draft.record == nullptr && !addNode(draft, 0, nullptr)) { // lines without an entry
        return Outcome::EndOfFile;
    }
    if (row == nullptr) {
        animNotify(AnimNoticeKind::Kept, animToken);
        return readContents(stream, draft);
    }
    table::noteRepeated(kRows, row, draft.seen);
    return row->read(stream, draft);
}

/// Reads entries up to a word that does not belong to the tree; 0 at end of file.
int readTree(std::FILE* stream, Draft& draft) {
    bool more = in_animToken(stream) != 0;
    while (more && !text::Reader::on(stream).atEnd()) {
        const std::optional<Outcome> outcome = readItem(stream, draft);
        if (!outcome) {
            return 1;
        }
        more = outcome == Outcome::Again || (outcome == Outcome::Next && in_animToken(stream));
    }
    return 0;
}

/// Writes the entries, and knows which of them a name refers to when the file is read back.
class TreeWriter {
  public:
    explicit TreeWriter(std::FILE* stream) : stream_(stream) {}

    void write(const Model* root) {
        for (const Model* node = root; node != nullptr; node = modelNextBelow(node, root)) {
            table::putKeyword(stream_, "MODEL");
            text::putQuoted(stream_, node->name);
            writeParent(node == root ? nullptr : node->parent);
            if (notice::wanted()) {
                reportFileMembers(*node);
            }
            remember(node); // first: if it throws, the indentation is unchanged
            incIndent(1);
            table::write(stream_, kRows, *node);
            for (const Opaque* kept = node->animationContents; kept != nullptr; kept = kept->next) {
                table::putKeyword(stream_, kept->text);
            }
            incIndent(-1);
        }
    }

  private:
    /// Reports the members of a node that only hierarchy files hold.
    static void reportFileMembers(const Model& node) {
        const char* name = node.name != nullptr ? node.name : "";
        for (const Opaque* block = node.contents; block != nullptr; block = block->next) {
            const std::string word(block->text, opaqueWordLength(block));
            notice::written(AnimNoticeKind::ByFormat, word.c_str(), "of node \"%.60s\"", name);
        }
        if (node.splineCount > 0) {
            notice::written(AnimNoticeKind::ByFormat, "spline", "of node \"%.60s\"", name);
        }
        if (node.userData != nullptr) {
            notice::written(AnimNoticeKind::ByFormat, "userData", "of node \"%.60s\"", name);
        }
    }

    /// A name as it reads back: cut to the limit, without single quotes.
    static std::string readBack(const char* name) {
        const std::string_view whole = name != nullptr ? name : "";
        std::string kept(whole.substr(0, kAnimTokenSize - 3));
        std::replace(kept.begin(), kept.end(), '\'', '"');
        return kept;
    }

    void writeParent(const Model* parent) {
        text::putQuoted(stream_, parent != nullptr ? parent->name : nullptr);
        if (parent == nullptr) {
            return;
        }
        const auto named = latest_.find(readBack(parent->name));
        if (named == latest_.end() || named->second != parent) {
            text::putInt(stream_, static_cast<std::int64_t>(entry_.at(parent)));
        }
    }

    void remember(const Model* node) {
        entry_.emplace(node, entry_.size());
        if (node->name != nullptr && node->name[0] != '\0') {
            latest_[readBack(node->name)] = node;
        }
    }

    std::FILE* stream_;
    std::unordered_map<const Model*, std::size_t> entry_;
    std::unordered_map<std::string, const Model*> latest_;
};

} // namespace

void modelListWords(const table::WordTaker& taker) {
    table::listWords(kRows, taker);
}

int objectWriteAsciiAnimation(std::FILE* stream, const Model* root) {
    if (root == nullptr) {
        return 0;
    }
    const notice::Call call("write");
    if (!modelFitsScene(root)) {
        return 0;
    }
    incIndent(1);
    try {
        TreeWriter(stream).write(root);
    } catch (const std::bad_alloc&) {
        notice::Call::failForMemory();
    }
    incIndent(-1);
    return notice::Call::failed() ? 0 : 1;
}

int objectReadAsciiAnimation(std::FILE* stream, Model** root) {
    const notice::Call call;
    Draft draft;
    int result = 0;
    try {
        result = readTree(stream, draft);
    } catch (const std::bad_alloc&) {
        notice::Call::failForMemory();
    }
    const bool good = notice::Call::good(stream);
    if (!good) {
        draft.root.reset();
    }
    if (root != nullptr) {
        *root = draft.root.release();
    }
    return good ? result : 0;
}
