// SPDX-License-Identifier: MIT
// Checks that a tree can be written, before a file is touched, and reports the parts that are left
// out.
#include "file/tinyNotice.h"
#include "text/tinyKinds.h"
#include "tinyFile.h"
#include "tinyModelFields.h"
#include "tinyModelInner.h"
#include "tinyOpaque.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <string_view>

namespace {

template <typename Element>
std::size_t lengthOf(const Element* list) {
    std::size_t length = 0;
    for (; list != nullptr; list = list->next) {
        ++length;
    }
    return length;
}

bool splinesFit(const Model& node) {
    const bool whole = node.splineCount < 1 ||
                       (node.splines != nullptr &&
                        std::all_of(node.splines, node.splines + node.splineCount,
                                    [](const Spline* spline) { return spline != nullptr; }));
    if (!whole) {
        notice::Call::fail("a node lacks a spline that its count tells of");
    }
    return whole;
}

/// Removes the first word, string in quotes or brace of `text`; a string without its end is "".
std::string_view takeWord(std::string_view& text) {
    const std::uint8_t* const kinds = text::kFileKinds.data() - EOF;
    const char* const last = text.data() + text.size();
    const bool quoted = text.front() == '"';
    const char* const end = text::endOfOrdinary(text.data(), last, kinds);
    const auto size = static_cast<std::size_t>(end - text.data());
    const std::string_view word =
        text.substr(0, quoted ? text.find('"', 1) + 1 : std::max<std::size_t>(size, 1));
    const char* rest = text.data() + word.size();
    while (rest != last && kinds[static_cast<unsigned char>(*rest)] == text::kBlank) {
        ++rest;
    }
    text = {rest, static_cast<std::size_t>(last - rest)};
    return word;
}

/// True when a reader of text ends the kept block at its end: braces and quotes are closed, and
/// outside them there is no word of a node besides the block's own.
bool endsItself(std::string_view block) {
    int depth = 0;
    for (bool first = true; !block.empty(); first = false) {
        const std::string_view word = takeWord(block);
        depth += word == "{" ? 1 : word == "}" ? -1 : 0;
        if (word.empty() || depth < 0 || depth > kOpaqueMaxNesting) {
            return false;
        }
        if (depth == 0 && (first ? modelHasValue(word) : word != "}" && modelIsTextWord(word))) {
            return false;
        }
    }
    return depth == 0;
}

bool textFits(const Model& node) {
    for (const Opaque* block = node.contents; block != nullptr; block = block->next) {
        if (!endsItself(block->text)) {
            notice::Call::fail("a node's block \"%.60s\" would not read back from text",
                               block->text);
            return false;
        }
    }
    return splinesFit(node);
}

/// The counts of a binary file have 16 bits.
bool countsFit(const Model& node) {
    const struct {
        const char* what;
        std::size_t count;
    } counts[] = {{"blocks", lengthOf(node.contents)},
                  {"splines", static_cast<std::size_t>(std::max(node.splineCount, 0))},
                  {"user-data blocks", lengthOf(node.userData)},
                  {"children", lengthOf(node.child)}};
    for (const auto& [what, count] : counts) {
        if (count > modelbinary::kMaxCount) {
            notice::Call::fail("%zu %s in one node, a binary file counts up to %zu", count, what,
                               modelbinary::kMaxCount);
            return false;
        }
    }
    return splinesFit(node);
}

constexpr int kAnyLevels = std::numeric_limits<int>::max();

/// Checks every node of the subtree, its level (from 1) and the number of nodes.
bool fits(const Model* root, int mostLevels, bool (*nodeFits)(const Model&)) {
    std::size_t nodes = 0;
    int level = 1;
    for (const Model* node = root; node != nullptr; node = modelNextBelow(node, root, level)) {
        if (level > mostLevels) {
            notice::Call::fail("a tree of more than %d levels has no text form", mostLevels);
        }
        if (notice::Call::failed() || !modelCountFits(++nodes) || !nodeFits(*node)) {
            return false;
        }
    }
    return true;
}

} // namespace

bool modelFitsScene(const Model* root) {
    return fits(root, kAnyLevels, splinesFit);
}

bool modelFitsText(const Model* root) {
    return fits(root, kModelMaxTextDepth, textFits);
}

bool modelFitsBinary(const Model* root) {
    return fits(root, kAnyLevels, countsFit);
}

bool modelCountFits(std::size_t nodes) {
    if (nodes > kModelMaxNodes) {
        notice::Call::fail("a tree of more than %zu nodes", kModelMaxNodes);
    }
    return nodes <= kModelMaxNodes;
}

void modelReportSceneMembers(const Model& node, bool text) {
    const AnimatedPosition& move = node.translation;
    const struct {
        const char* word;
        bool set;
    } members[] = {
        {"HIDDEN", text && node.hidden != 0},
        {"WIRE_COLOUR", text && node.wireColour != 0},
        {"LINE_TYPE", text && node.lineType != 0},
        {"SELECTED", text && node.selection != 0},
        {"BOUNDING_BOX", node.boundingBox != 0},
        {"ALGORITHM_TYPE", node.algorithm != 0},
        {"SHAPE_INTERP_TYPE", node.shapeInterpolation != 0},
        {"SHAPE", node.shapes != nullptr},
        {"TRANSLATION", move.path != nullptr || move.constraintName != nullptr ||
                            move.constraintType != 0 || move.pathModelName != nullptr},
        {"CURVE_TYPE", std::any_of(std::begin(node.curves), std::end(node.curves),
                                   [](const Fcurve* curve) { return curve != nullptr; })},
        {"MATERIAL", node.animationContents != nullptr},
    };
    for (const auto& member : members) {
        if (member.set) {
            notice::written(AnimNoticeKind::ByFormat, member.word, "of node \"%.60s\"",
                            node.name != nullptr ? node.name : "");
        }
    }
}
