// SPDX-License-Identifier: MIT
// Reading the text flavour of the hierarchy file, without recursion: the depth of a tree is the
// file's to choose.
#include "tinyFile.h"
#include "tinyModel.h"
#include "tinyModelInner.h"
#include "tinyOpaqueRead.h"
#include "tinySpline.h"
#include "tinyUtilsText.h"

#include <cctype>
#include <charconv>
#include <cstdlib>
#include <new>
#include <optional>
#include <string>
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
    explicit TextReader(std::FILE* stream) : stream_(stream) {}

    /// Reads the word in front of the root.
    ModelOwner readBody() { return next() && word_ == "model" ? read() : nullptr; }

    ModelOwner read() {
        bool more = enterNode();
        while (more && !open_.empty()) {
            more = readItem();
        }
        if (!open_.empty() && !failed_) {
            animNotify(AnimNoticeKind::Missing, "}");
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
    bool next();
    bool readItem();
    bool leaveNode();
    bool fail();
    bool readTriple(float (&values)[3], double unit);
    void countLinesSince(long position);
    [[nodiscard]] Model& node() { return *open_.back().node; }

    std::FILE* stream_;
    std::string word_;
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

/// The number that the whole of `word` is, or nothing; infinities and their like are none.
std::optional<double> wholeNumber(std::string_view word) {
    word.remove_prefix(word.starts_with('+') ? 1 : 0);
    const bool digits = word.find_first_not_of("+-.0123456789eE") == std::string_view::npos;
    const char* end = word.data() + word.size();
    double value = 0;
    const auto [rest, error] = std::from_chars(word.data(), end, value);
    if (!digits || error == std::errc::invalid_argument || rest != end) {
        return std::nullopt;
    }
    return value; // one out of range is 0
}

bool TextReader::fail() {
    failed_ = true;
    return false;
}

/// Reads a word as `isspace` separates them; a brace or a double quote is one of its own. What ends
/// a word stays in the stream.
bool TextReader::next() {
    word_.clear();
    int c = getc_unlocked(stream_);
    while (std::isspace(c) != 0) {
        text::lines.next += c == '\n' ? 1 : 0;
        c = getc_unlocked(stream_);
    }
    text::lines.token = text::lines.next;
    const auto stands = [](int x) { return x == '{' || x == '}' || x == '"'; };
    bool cut = false;
    for (; c != EOF && std::isspace(c) == 0; c = getc_unlocked(stream_)) {
        if (stands(c) && !word_.empty()) {
            break;
        }
        if (word_.size() < kFileStringSize) {
            word_.push_back(static_cast<char>(c));
        } else {
            cut = true;
        }
        if (stands(c)) {
            return true;
        }
    }
    std::ungetc(c, stream_);
    if (cut) {
        animNotify(AnimNoticeKind::Cut, word_.c_str());
    }
    return !word_.empty();
}

bool TextReader::readItem() {
    if (word_ == "}") {
        return leaveNode();
    }
    const NodeWord* row = findWord(word_);
    if (row == nullptr) {
        animNotify(AnimNoticeKind::UnknownWord, word_.c_str());
        return readOpaque();
    }
    return (this->*row->read)();
}

bool TextReader::enterNode() {
    Model* fresh = modelAllocate();
    if (fresh == nullptr || open_.size() >= kModelMaxDepth) {
        modelDispose(&fresh);
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
    return next() && (word_ != "{" || next());
}

bool TextReader::leaveNode() {
    open_.pop_back();
    return open_.empty() || next();
}

bool TextReader::readName() {
    if (!next()) {
        return false;
    }
    if (word_ != "\"") {
        animNotify(AnimNoticeKind::Missing, "name");
        return true;
    }
    std::ungetc('"', stream_);
    const long before = std::ftell(stream_);
    MallocString name(stringReadAscii(stream_));
    countLinesSince(before);
    std::free(node().name);
    node().name = name != nullptr && name.get()[0] != '\0' ? name.release() : nullptr;
    return next();
}

bool TextReader::readTriple(float (&values)[3], double unit) {
    for (float& value : values) {
        if (!next()) {
            return false;
        }
        const std::optional<double> number = wholeNumber(word_);
        if (!number) {
            animNotify(AnimNoticeKind::Missing, word_.c_str());
            return true;
        }
        value = static_cast<float>(modelClampNumber(*number / unit));
    }
    return next();
}

bool TextReader::readScaling() {
    return readTriple(node().scaling, 1.0);
}

bool TextReader::readRotation() {
    return readTriple(node().rotation, kModelDegrees);
}

bool TextReader::readTranslation() {
    Vector& fixed = node().translation.fixed;
    float values[3] = {fixed.x, fixed.y, fixed.z};
    const bool more = readTriple(values, 1.0);
    fixed = {values[0], values[1], values[2]};
    return more;
}

bool TextReader::readSpline() {
    Spline* spline = splineReadAscii(stream_, nullptr, nullptr);
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
    const long before = std::ftell(stream_);
    UserData* data = userDataReadAscii(stream_);
    countLinesSince(before);
    if (data == nullptr) {
        return false;
    }
    *open_.back().userDataEnd = data;
    open_.back().userDataEnd = &data->next;
    return next();
}

bool TextReader::readOpaque() {
    OpaqueResult result = opaqueRead(stream_, word_, kHierarchyStyle,
                                     [](std::string_view word) { return modelIsTextWord(word); });
    if (result.cut) {
        animNotify(AnimNoticeKind::Cut, word_.c_str());
    }
    opaqueAppend(open_.back().contentsEnd, std::move(result.block));
    word_ = std::move(result.lookAhead);
    return !word_.empty();
}

/// Counts the line ends that a reader of another module has consumed.
void TextReader::countLinesSince(long position) {
    const long here = std::ftell(stream_);
    if (position < 0 || here <= position || std::fseek(stream_, position, SEEK_SET) != 0) {
        return;
    }
    for (long at = position; at < here; ++at) {
        text::lines.next += getc_unlocked(stream_) == '\n' ? 1 : 0;
    }
}

} // namespace

bool modelIsTextWord(std::string_view word) {
    return findWord(word) != nullptr;
}

Model* modelReadAscii(std::FILE* stream) {
    if (stream == nullptr) {
        return nullptr;
    }
    try {
        return TextReader(stream).read().release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

Model* modelReadTextBody(std::FILE* stream) {
    constexpr std::int64_t kLineAfterHeader = 2;
    animSetLineNumber(kLineAfterHeader);
    try {
        return TextReader(stream).readBody().release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
