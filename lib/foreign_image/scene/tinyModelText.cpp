// SPDX-License-Identifier: MIT
// Reading the text flavour of the hierarchy file, without recursion: the depth of a tree is the
// file's to choose.
#include "file/tinyNotice.h"
#include "text/tinyUtilsText.h"
#include "tinyFile.h"
#include "tinyModel.h"
#include "tinyModelInner.h"
#include "tinyOpaqueRead.h"
#include "tinySpline.h"

#include <cstdlib>
#include <new>
#include <string_view>
#include <vector>

namespace {

/// A node whose closing brace has not been read, and the ends of its lists.
struct OpenNode {
    Model* node;
    Model* lastChild = nullptr;
    Opaque** contentsEnd = &node->contents;
    UserData** userDataEnd = &node->userData;
};

class TextReader;

/// A word of a node and what reads its value; the reader leaves the word after it as the current
/// one and returns false at end of file.
struct NodeWord {
    std::string_view word;
    bool (TextReader::*read)();
};

class TextReader {
  public:
    explicit TextReader(std::FILE* stream) : words_(stream) {}

    ModelOwner read() {
        bool more = enterNode();
        while (more && !open_.empty()) {
            more = readItem();
        }
        if (!open_.empty() && !failed_) {
            animNotify(AnimNoticeKind::Missing, "}", "the file ends inside a node");
        }
        return failed_ ? nullptr : std::move(root_);
    }

    bool readName();
    bool readScaling();
    bool readRotation();
    bool readTranslation();
    bool readSpline();
    bool readUserData();
    bool readOpaque();
    bool enterNode();

  private:
    bool next() { return words_.next(); }
    bool readItem();
    bool leaveNode();
    bool fail();
    bool readTriple(float (&values)[3], double unit, const char* word);
    [[nodiscard]] Model& node() { return *open_.back().node; }

    text::WordReader words_;
    std::size_t nodes_ = 0;
    std::vector<OpenNode> open_; ///< from the root to the node being read
    ModelOwner root_;
    bool failed_ = false;
};

constexpr NodeWord kNodeWords[] = {
    {"name", &TextReader::readName},         {"scaling", &TextReader::readScaling},
    {"rotation", &TextReader::readRotation}, {"translation", &TextReader::readTranslation},
    {"mesh", &TextReader::readOpaque},       {"patch", &TextReader::readOpaque},
    {"face", &TextReader::readOpaque},       {"spline", &TextReader::readSpline},
    {"clusters", &TextReader::readOpaque},   {"material", &TextReader::readOpaque},
    {"texture", &TextReader::readOpaque},    {"texture3D", &TextReader::readOpaque},
    {"actor_data", &TextReader::readOpaque}, {"userData", &TextReader::readUserData},
    {"model", &TextReader::enterNode},
};

const NodeWord* findWord(std::string_view word) {
    for (const NodeWord& row : kNodeWords) {
        if (row.word == word) {
            return &row;
        }
    }
    return nullptr;
}

bool TextReader::fail() {
    failed_ = true;
    return false;
}

bool TextReader::readItem() {
    if (words_.word() == "}") {
        return leaveNode();
    }
    const NodeWord* row = findWord(words_.word());
    if (row == nullptr) {
        animNotify(AnimNoticeKind::Kept, words_.c_str());
        return readOpaque();
    }
    return (this->*row->read)();
}

bool TextReader::enterNode() {
    if (!modelCountFits(++nodes_)) {
        return fail();
    }
    Model* fresh = modelAllocate();
    if (fresh == nullptr) {
        return fail();
    }
    if (open_.empty()) {
        root_.reset(fresh);
    } else {
        modelLinkChild(open_.back().node, open_.back().lastChild, fresh);
        open_.back().lastChild = fresh;
    }
    for (float& factor : fresh->scaling) {
        factor = 1.0F;
    }
    open_.push_back({fresh});
    return next() && (words_.word() != "{" || next());
}

bool TextReader::leaveNode() {
    open_.pop_back();
    return open_.empty() || next();
}

bool TextReader::readName() {
    if (words_.peek() != '"') {
        animNotify(AnimNoticeKind::Missing, "name", "a name in quotes expected");
        return next();
    }
    MallocString name(words_.quoted());
    std::free(node().name);
    node().name = name != nullptr && name.get()[0] != '\0' ? name.release() : nullptr;
    return next();
}

bool TextReader::readTriple(float (&values)[3], double unit, const char* word) {
    Vector read = {};
    const bool whole = words_.numbers(read, word);
    if (whole) {
        values[0] = text::fromUnit(read.x, unit);
        values[1] = text::fromUnit(read.y, unit);
        values[2] = text::fromUnit(read.z, unit);
    }
    return next();
}

bool TextReader::readScaling() {
    return readTriple(node().scaling, 1.0, "scaling");
}

bool TextReader::readRotation() {
    return readTriple(node().rotation, kModelDegrees, "rotation");
}

bool TextReader::readTranslation() {
    Vector& fixed = node().translation.fixed;
    float values[3] = {fixed.x, fixed.y, fixed.z};
    const bool more = readTriple(values, 1.0, "translation");
    fixed = {values[0], values[1], values[2]};
    return more;
}

bool TextReader::readSpline() {
    Spline* spline = splineReadAscii(words_.stream(), nullptr, nullptr);
    if (spline == nullptr) {
        return false;
    }
    if (!modelAppend(node().splines, node().splineCount, spline)) {
        splineDispose(&spline);
        return fail();
    }
    return next();
}

bool TextReader::readUserData() {
    UserData* data = userDataReadAscii(words_.stream());
    if (data == nullptr) {
        return false;
    }
    *open_.back().userDataEnd = data;
    open_.back().userDataEnd = &data->next;
    return next();
}

bool TextReader::readOpaque() {
    OpaqueResult result = opaqueRead(words_.stream(), words_.word(), kHierarchyStyle,
                                     [](std::string_view word) { return modelIsTextWord(word); });
    if (result.cut) {
        animNotify(AnimNoticeKind::Cut, words_.c_str(), kOpaqueCut);
    }
    opaqueAppend(open_.back().contentsEnd, std::move(result.block));
    words_.set(result.lookAhead);
    return !result.lookAhead.empty();
}

} // namespace

bool modelIsTextWord(std::string_view word) {
    return findWord(word) != nullptr;
}

Model* modelReadAscii(std::FILE* stream) {
    if (stream == nullptr) {
        return nullptr;
    }
    const notice::Call call;
    ModelOwner root;
    try {
        root = TextReader(stream).read();
    } catch (const std::bad_alloc&) {
        notice::Call::failForMemory();
    }
    return notice::Call::good(stream) ? root.release() : nullptr;
}
