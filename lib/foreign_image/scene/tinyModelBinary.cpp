// SPDX-License-Identifier: MIT
// The binary flavour of the hierarchy file: for each node the fields of the prototype's model list,
// in its order; a node's children follow all of its fields.
#include "curve/tinySplineInner.h"
#include "file/tinyFileBinary.h"
#include "file/tinyNotice.h"
#include "tinyFile.h"
#include "tinyModel.h"
#include "tinyModelFields.h"
#include "tinyModelInner.h"

#include <algorithm>
#include <new>
#include <span>
#include <vector>

namespace {

using modelbinary::Field;
using modelbinary::findField;
using modelbinary::kModelList;
using modelbinary::Reader;
using modelbinary::Writer;

/// The line numbers of this module in the two messages about a token.
constexpr int kReaderLine = 156;
constexpr std::int16_t kWriterLine = 129;

/// A partly read node: its children are missing, and its blocks have not been sorted by their
/// positions.
struct Pending {
    Model* node;
    std::size_t children = 0;
    Model* lastChild = nullptr;
};

/// The tokens of the prototype's model list up to its closing 0.
std::span<const std::int16_t> fieldTokens(const Prototype* prototype) {
    const std::int16_t* tokens = prototype->lists[kModelList];
    const auto length = static_cast<std::size_t>(
        tokens != nullptr ? std::max<int>(prototype->lengths[kModelList], 0) : 0);
    const auto* end = std::find(tokens, tokens + length, std::int16_t{0});
    return {tokens, end};
}

void writeNode(Writer& out, const Model& node, std::span<const std::int16_t> tokens) {
    for (const std::int16_t token : tokens) {
        if (const Field* field = findField(token)) {
            field->write(out, node, *field);
        }
    }
}

/// Reads the fields of one node.
UniqueModel readNode(Reader& in, std::span<const std::int16_t> tokens) {
    UniqueModel node(modelAllocate());
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

/// Nodes or splines of a few bytes each would let a small file fill memory; with a plausible list
/// of fields they have more. Returns which of them are too small.
const char* smallRecords(const Prototype& prototype, std::span<const std::int16_t> tokens) {
    constexpr std::size_t kFewestBytes = 8;
    std::size_t bytes = 0;
    bool hasChildren = false;
    for (const std::int16_t token : tokens) {
        const Field* field = findField(token);
        bytes += field != nullptr ? field->fewestBytes : 0;
        hasChildren = hasChildren || (field != nullptr && field->countsChildren);
    }
    if (hasChildren && bytes < kFewestBytes) {
        return "nodes have fewer than 8 bytes";
    }
    return splineIsOnlyAName(prototype) ? "splines have fewer than 2 bytes" : nullptr;
}

UniqueModel readTree(Reader& in, std::span<const std::int16_t> tokens) {
    UniqueModel root = readNode(in, tokens);
    std::size_t nodes = 1;
    std::vector<Pending> open = {{root.get(), in.children}};
    while (in.good() && !open.empty()) {
        Pending& parent = open.back();
        if (parent.children == 0) {
            open.pop_back();
            continue;
        }
        --parent.children;
        if (!modelCountFits(++nodes)) {
            in.fail();
            break;
        }
        Model* child = readNode(in, tokens).release();
        if (child == nullptr) {
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
    if (stream == nullptr || root == nullptr || prototype == nullptr) {
        return 0;
    }
    const notice::Call call("write");
    const std::span<const std::int16_t> tokens = fieldTokens(prototype);
    for (const std::int16_t token : tokens) {
        if (findField(token) == nullptr) {
            optionPrint("Error: %s: %hd: illegal token: %hd\n", "tinyModel", kWriterLine, token);
        }
    }
    Writer out(stream, prototype);
    if (!modelFitsBinary(root)) {
        return 0;
    }
    for (const Model* node = root; node != nullptr; node = modelNextBelow(node, root)) {
        if (notice::wanted()) {
            binary::reportLongName(node->name);
            modelReportSceneMembers(*node, false);
        }
        writeNode(out, *node, tokens);
    }
    return out.good() && notice::Call::good(stream) ? 1 : 0;
}

Model* modelReadBinary(std::FILE* stream, const Prototype* prototype) {
    if (stream == nullptr || prototype == nullptr) {
        return nullptr;
    }
    const notice::Call call;
    const std::span<const std::int16_t> tokens = fieldTokens(prototype);
    // An unknown token means a field of unknown size: it is reported, once for the file, and
    // treated as a field without bytes.
    for (const std::int16_t token : tokens) {
        if (findField(token) == nullptr) {
            optionPrint("Error: %s %d): illegal token: %hd\n", "tinyModel", kReaderLine, token);
            binary::reportToken(stream, token);
        }
    }
    if (const char* which = smallRecords(*prototype, tokens)) {
        notice::Call::fail("a tree whose %s each", which);
        return nullptr;
    }
    UniqueModel root;
    try {
        Reader in(stream, prototype);
        root = readTree(in, tokens);
    } catch (const std::bad_alloc&) {
        notice::Call::failForMemory();
    }
    return notice::Call::good(stream) ? root.release() : nullptr;
}
