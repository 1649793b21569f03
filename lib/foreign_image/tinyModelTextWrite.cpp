// SPDX-License-Identifier: MIT
// Writing the text flavour of the hierarchy file, without recursion: the depth of a tree is its
// maker's to choose.
#include "tinyFile.h"
#include "tinyModel.h"
#include "tinyModelInner.h"
#include "tinySpline.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <new>
#include <string>

namespace {

/// Most digits after the point and widest field that anybody can ask for.
constexpr int kMaxPrecision = 20;

void writeQuotedName(std::FILE* stream, const char* name) {
    // The form has no escape: a double quote inside a name would end it.
    for (const char* c = name != nullptr ? name : ""; *c != '\0'; ++c) {
        std::fputc(*c == '"' ? '\'' : *c, stream);
    }
}

/// A number in the width and precision of the text files, whatever the locale. Formatted from the
/// double, so that degrees read, held as radians and written again come out as they were.
std::string fixedNumber(double value) {
    char digits[64 + std::numeric_limits<float>::max_exponent10];
    const auto result = std::to_chars(digits, digits + sizeof digits, modelClampNumber(value),
                                      std::chars_format::fixed, std::clamp(FD, 0, kMaxPrecision));
    std::string number(digits, result.ptr);
    const auto width = static_cast<std::size_t>(std::clamp(FM, 0, kMaxPrecision));
    return number.size() < width ? number.insert(0, width - number.size(), ' ') : number;
}

void writeTriple(std::FILE* stream, const std::string& prefix, const char* word,
                 const float (&values)[3], double unit) {
    std::fprintf(stream, "%s%-13s", prefix.c_str(), word);
    for (int i = 0; i < 3; ++i) {
        const std::string number = fixedNumber(static_cast<double>(values[i]) * unit);
        std::fprintf(stream, "%s%s", number.c_str(), i < 2 ? " " : "\n");
    }
}

void writeContents(std::FILE* stream, const Model& node, const std::string& prefix) {
    for (std::int32_t i = 0; i < node.splineCount; ++i) {
        splineWriteAscii(stream, node.splines[i], prefix.c_str());
    }
    for (const Opaque* block = node.contents; block != nullptr; block = block->next) {
        std::fprintf(stream, "\n%s%s\n", prefix.c_str(), block->text);
    }
    for (const UserData* data = node.userData; data != nullptr; data = data->next) {
        userDataWriteAscii(stream, data, prefix.c_str());
    }
}

void openNode(std::FILE* stream, const Model& node, const std::string& prefix) {
    const Vector& move = node.translation.fixed;
    std::fprintf(stream, "\n%smodel\n%s{\n%sname         \"", prefix.c_str(), prefix.c_str(),
                 prefix.c_str());
    writeQuotedName(stream, node.name);
    std::fputs("\"\n", stream);
    writeTriple(stream, prefix, "scaling", node.scaling, 1.0);
    writeTriple(stream, prefix, "rotation", node.rotation, kModelDegrees);
    writeTriple(stream, prefix, "translation", {move.x, move.y, move.z}, 1.0);
    writeContents(stream, node, prefix + "  ");
}

/// Writes the nodes in walk order and closes each behind its children.
void writeTree(std::FILE* stream, const Model* root, std::string prefix) {
    const Model* node = root;
    for (;;) {
        openNode(stream, *node, prefix);
        if (node->child != nullptr) {
            prefix += "  ";
            node = node->child;
            continue;
        }
        std::fprintf(stream, "%s}\n", prefix.c_str());
        while (node != root && node->next == nullptr) {
            node = node->parent;
            prefix.resize(prefix.size() - 2);
            std::fprintf(stream, "%s}\n", prefix.c_str());
        }
        if (node == root) {
            return;
        }
        node = node->next;
    }
}

} // namespace

int modelWriteAscii(std::FILE* stream, const Model* root, const char* prefix) {
    if (stream == nullptr || root == nullptr || prefix == nullptr ||
        modelDepth(root) > kModelMaxDepth) {
        return 0;
    }
    try {
        writeTree(stream, root, prefix);
        return std::ferror(stream) == 0 ? 1 : 0;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}
