// SPDX-License-Identifier: MIT
// The binary flavour of the hierarchy file: for each node the fields that the prototype's model
// list names, in its order; a node's children follow behind all of its fields. Numbers are
// big-endian, counts unsigned 16-bit, strings end with a zero byte.
#include "base/byteOrder.h"
#include "tinyFile.h"
#include "tinyModel.h"
#include "tinyModelInner.h"
#include "tinyOpaqueRead.h"
#include "tinySpline.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr int kModelList = 0;  ///< slots of the prototype
constexpr int kSplineList = 8; ///
constexpr std::size_t kMaxCount = 0xFFFF;

// ----------------------------------------------------------------------------------------- bytes

class Writer {
  public:
    Writer(std::FILE* stream, const Prototype* prototype)
        : stream_(stream), prototype_(prototype) {}

    void number(std::uint16_t value) {
        std::uint8_t bytes[2];
        base::storeBe16(bytes, value);
        std::fwrite(bytes, 1, sizeof bytes, stream_);
    }
    void floats(std::span<const float> values) {
        for (const float value : values) {
            std::uint8_t bytes[4];
            base::storeBeFloat(bytes, value);
            std::fwrite(bytes, 1, sizeof bytes, stream_);
        }
    }
    void string(const char* value) { stringWriteBinary(stream_, value); }

    void userData(const UserData& block) {
        const std::int32_t size = block.data != nullptr ? std::max(block.size, 0) : 0;
        std::uint8_t bytes[4];
        base::storeBeS32(bytes, size);
        std::fwrite(block.tag, 1, sizeof block.tag, stream_);
        std::fwrite(bytes, 1, sizeof bytes, stream_);
        std::fwrite(block.data, 1, static_cast<std::size_t>(size), stream_);
    }
    void spline(const Spline* spline) { splineWriteBinary(stream_, spline, prototype_); }

    /// Writes a count; one that the form cannot hold makes the whole tree fail.
    void count(std::size_t value) {
        failed_ = failed_ || value > kMaxCount;
        number(static_cast<std::uint16_t>(value));
    }
    void fail() { failed_ = true; }
    [[nodiscard]] bool good() const { return !failed_ && std::ferror(stream_) == 0; }
    [[nodiscard]] bool hasSplineLists() const { return prototype_->lists[kSplineList] != nullptr; }

  private:
    std::FILE* stream_;
    const Prototype* prototype_;
    bool failed_ = false;
};

/// A node of which not everything has been read: its children are missing, and blocks that came
/// with their places wait to be put in order.
struct Pending {
    Model* node;
    std::size_t children = 0;
    Model* lastChild = nullptr;
};

class Reader {
  public:
    Reader(std::FILE* stream, const Prototype* prototype)
        : stream_(stream), prototype_(prototype) {}

    std::uint16_t number() {
        std::uint8_t bytes[2] = {};
        take(bytes);
        return base::loadBe16(bytes);
    }
    void floats(std::span<float> values) {
        for (float& value : values) {
            std::uint8_t bytes[4] = {};
            take(bytes);
            value = base::loadBeFloat(bytes);
        }
    }
    /// A string of at most `kOpaqueMaxBytes`; a longer one fails.
    std::string string() {
        std::string value;
        for (int c = getc_unlocked(stream_); c != 0; c = getc_unlocked(stream_)) {
            if (c == EOF || value.size() == kOpaqueMaxBytes) {
                failed_ = true;
                break;
            }
            value.push_back(static_cast<char>(c));
        }
        return value;
    }
    UserData* userData();
    Spline* spline() {
        Spline* spline = splineReadBinary(stream_, prototype_);
        failed_ = failed_ || spline == nullptr;
        return spline;
    }

    void take(std::span<std::uint8_t> bytes) {
        failed_ = failed_ || std::fread(bytes.data(), 1, bytes.size(), stream_) != bytes.size();
    }
    void fail() { failed_ = true; }
    [[nodiscard]] bool good() const { return !failed_; }

    /// Blocks of the node being read, each with its place among them.
    std::vector<std::pair<std::uint16_t, OpaqueOwner>> blocks;
    std::size_t children = 0; ///< of the node being read

  private:
    std::FILE* stream_;
    const Prototype* prototype_;
    bool failed_ = false;
};

/// Grows only as the file yields bytes, whatever size it claims.
UserData* Reader::userData() {
    std::unique_ptr<UserData, UserDataDisposer> block(
        static_cast<UserData*>(std::calloc(1, sizeof(UserData))));
    std::uint8_t head[8] = {};
    take(head);
    const std::int32_t size = base::loadBeS32(head + 4);
    if (block == nullptr || failed_ || size < 0) {
        fail();
        return nullptr;
    }
    std::memcpy(block->tag, head, sizeof block->tag);
    std::vector<std::uint8_t> bytes;
    for (auto left = static_cast<std::size_t>(size); left > 0 && !failed_;) {
        std::uint8_t chunk[4096];
        const std::span<std::uint8_t> part(chunk, std::min(left, sizeof chunk));
        take(part);
        bytes.insert(bytes.end(), part.begin(), part.end());
        left -= part.size();
    }
    block->data = static_cast<std::uint8_t*>(std::malloc(bytes.size()));
    if (failed_ || (block->data == nullptr && size > 0)) {
        fail();
        return nullptr;
    }
    std::copy(bytes.begin(), bytes.end(), block->data);
    block->size = size;
    return block.release();
}

// ---------------------------------------------------------------------------------------- fields

/// One row a field token, in ascending order from 1. `word` is what the field's blocks begin with,
/// for fields that hold blocks kept as text.
struct Field {
    std::string_view word;
    void (*write)(Writer&, const Model&, const Field&);
    void (*read)(Reader&, Model&);
};

void writeName(Writer& out, const Model& node, const Field&) {
    out.string(node.name);
}
void readName(Reader& in, Model& node) {
    const std::string name = in.string();
    std::free(node.name);
    node.name = name.empty() ? nullptr : strndup(name.data(), kFileStringSize - 1);
}

template <auto Member>
void writeTriple(Writer& out, const Model& node, const Field&) {
    out.floats(node.*Member);
}
template <auto Member>
void readTriple(Reader& in, Model& node) {
    in.floats(node.*Member);
}

void writeTranslation(Writer& out, const Model& node, const Field&) {
    const Vector& fixed = node.translation.fixed;
    out.floats(std::initializer_list<float>{fixed.x, fixed.y, fixed.z});
}
void readTranslation(Reader& in, Model& node) {
    float values[3];
    in.floats(values);
    node.translation.fixed = {values[0], values[1], values[2]};
}

template <auto Member>
void writeNumber(Writer& out, const Model& node, const Field&) {
    out.number(static_cast<std::uint16_t>(node.*Member));
}
template <auto Member>
void readNumber(Reader& in, Model& node) {
    node.*Member = static_cast<std::int16_t>(in.number());
}

/// The token of the field that a block kept as text belongs to.
std::string_view fieldWord(const Opaque& block);

void writeBlocks(Writer& out, const Model& node, const Field& field) {
    std::size_t count = 0;
    for (const Opaque* block = node.contents; block != nullptr; block = block->next) {
        count += fieldWord(*block) == field.word ? 1 : 0;
    }
    out.count(count);
    std::size_t place = 0;
    for (const Opaque* block = node.contents; block != nullptr; block = block->next, ++place) {
        if (fieldWord(*block) == field.word) {
            out.count(place);
            out.string(block->text);
        }
    }
}
void readBlocks(Reader& in, Model&) {
    const std::uint16_t count = in.number();
    for (int i = 0; i < count && in.good(); ++i) {
        const std::uint16_t place = in.number();
        const std::string text = in.string();
        if (in.good()) {
            in.blocks.emplace_back(place, opaqueAllocate(text));
        }
    }
}

void writeSplines(Writer& out, const Model& node, const Field&) {
    if (node.splineCount > 0 && !out.hasSplineLists()) {
        out.fail();
        return;
    }
    out.count(static_cast<std::size_t>(node.splineCount));
    for (std::int32_t i = 0; i < node.splineCount; ++i) {
        out.spline(node.splines[i]);
    }
}
void readSplines(Reader& in, Model& node) {
    const std::uint16_t count = in.number();
    for (int i = 0; i < count && in.good(); ++i) {
        Spline* spline = in.spline();
        if (spline != nullptr && !modelAppend(node.splines, node.splineCount, spline)) {
            splineDispose(&spline);
            in.fail();
        }
    }
}

void writeUserData(Writer& out, const Model& node, const Field&) {
    std::size_t count = 0;
    for (const UserData* block = node.userData; block != nullptr; block = block->next) {
        ++count;
    }
    out.count(count);
    for (const UserData* block = node.userData; block != nullptr; block = block->next) {
        out.userData(*block);
    }
}
void readUserData(Reader& in, Model& node) {
    const std::uint16_t count = in.number();
    UserData** end = &node.userData;
    while (*end != nullptr) {
        end = &(*end)->next;
    }
    for (int i = 0; i < count && in.good(); ++i) {
        *end = in.userData();
        end = *end != nullptr ? &(*end)->next : end;
    }
}

void writeChildren(Writer& out, const Model& node, const Field&) {
    std::size_t count = 0;
    for (const Model* child = node.child; child != nullptr; child = child->next) {
        ++count;
    }
    out.count(count);
}
void readChildren(Reader& in, Model&) {
    in.children = in.number();
}

constexpr Field kFields[] = {
    {"", writeName, readName},
    {"", writeTriple<&Model::scaling>, readTriple<&Model::scaling>},
    {"", writeTriple<&Model::rotation>, readTriple<&Model::rotation>},
    {"", writeTranslation, readTranslation},
    {"mesh", writeBlocks, readBlocks},
    {"patch", writeBlocks, readBlocks},
    {"face", writeBlocks, readBlocks},
    {"", writeSplines, readSplines},
    {"clusters", writeBlocks, readBlocks},
    {"material", writeBlocks, readBlocks},
    {"texture", writeBlocks, readBlocks},
    {"texture3D", writeBlocks, readBlocks},
    {"actor_data", writeBlocks, readBlocks},
    {"", writeUserData, readUserData},
    {"*", writeBlocks, readBlocks}, // blocks of every other word
    {"", writeChildren, readChildren},
    {"", writeNumber<&Model::hidden>, readNumber<&Model::hidden>},
    {"", writeNumber<&Model::wireColour>, readNumber<&Model::wireColour>},
    {"", writeNumber<&Model::lineType>, readNumber<&Model::lineType>},
    {"", writeNumber<&Model::selection>, readNumber<&Model::selection>},
};

std::string_view fieldWord(const Opaque& block) {
    const std::string_view word(block.text, opaqueWordLength(&block));
    const bool known = std::any_of(std::begin(kFields), std::end(kFields), [&](const Field& field) {
        return !word.empty() && field.word == word;
    });
    return known ? word : "*";
}

const Field* findField(std::int16_t token) {
    return token >= 1 && token <= std::ssize(kFields) ? &kFields[token - 1] : nullptr;
}

/// The tokens of the prototype's model list up to its closing 0.
std::span<const std::int16_t> fieldTokens(const Prototype* prototype) {
    const std::int16_t* tokens = prototype->lists[kModelList];
    const auto length = static_cast<std::size_t>(
        tokens != nullptr ? std::max<int>(prototype->lengths[kModelList], 0) : 0);
    const auto* end = std::find(tokens, tokens + length, std::int16_t{0});
    return {tokens, end};
}

// ------------------------------------------------------------------------------------------ tree

void writeNode(Writer& out, const Model& node, std::span<const std::int16_t> tokens) {
    for (const std::int16_t token : tokens) {
        if (const Field* field = findField(token)) {
            field->write(out, node, *field);
        }
    }
}

/// Reads the fields of one node.
ModelOwner readNode(Reader& in, std::span<const std::int16_t> tokens) {
    ModelOwner node(modelAllocate());
    if (node == nullptr) {
        in.fail();
        return nullptr;
    }
    std::fill(std::begin(node->scaling), std::end(node->scaling), 1.0F);
    in.children = 0;
    in.blocks.clear();
    for (const std::int16_t token : tokens) {
        const Field* field = findField(token);
        if (field != nullptr && in.good()) {
            field->read(in, *node);
        }
    }
    std::stable_sort(in.blocks.begin(), in.blocks.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    Opaque** end = &node->contents;
    for (auto& [place, block] : in.blocks) {
        opaqueAppend(end, std::move(block));
    }
    return node;
}

ModelOwner readTree(Reader& in, std::span<const std::int16_t> tokens) {
    ModelOwner root = readNode(in, tokens);
    std::vector<Pending> open = {{root.get(), in.children}};
    while (in.good() && !open.empty()) {
        Pending& parent = open.back();
        if (parent.children == 0) {
            open.pop_back();
            continue;
        }
        --parent.children;
        Model* child = readNode(in, tokens).release();
        if (child == nullptr || open.size() >= kModelMaxDepth) {
            modelDispose(&child);
            in.fail();
            break;
        }
        modelLinkChild(parent.node, parent.lastChild, child);
        parent.lastChild = child;
        open.push_back({child, in.children});
    }
    return in.good() ? std::move(root) : nullptr;
}

} // namespace

int modelWriteBinary(std::FILE* stream, const Model* root, const Prototype* prototype) {
    if (stream == nullptr || root == nullptr || prototype == nullptr ||
        modelDepth(root) > kModelMaxDepth) {
        return 0;
    }
    const std::span<const std::int16_t> tokens = fieldTokens(prototype);
    for (const std::int16_t token : tokens) {
        if (findField(token) == nullptr) {
            optionPrint("Error: %s: %hd: illegal token: %hd\n", "tinyModel",
                        static_cast<std::int16_t>(__LINE__), token);
        }
    }
    Writer out(stream, prototype);
    for (const Model* node = root; node != nullptr; node = modelNextBelow(node, root)) {
        writeNode(out, *node, tokens);
    }
    return out.good() ? 1 : 0;
}

Model* modelReadBinary(std::FILE* stream, const Prototype* prototype) {
    if (stream == nullptr || prototype == nullptr) {
        return nullptr;
    }
    const std::span<const std::int16_t> tokens = fieldTokens(prototype);
    // A token of which nothing is known stands for a field of unknown size: it can be reported,
    // once for the file, and is taken as a field without bytes.
    for (const std::int16_t token : tokens) {
        if (findField(token) == nullptr) {
            optionPrint("Error: %s %d): illegal token: %hd\n", "tinyModel", __LINE__, token);
        }
    }
    try {
        Reader in(stream, prototype);
        return readTree(in, tokens).release();
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
