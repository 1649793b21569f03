// SPDX-License-Identifier: MIT
// Writing the text flavour of the hierarchy file, without recursion, because the caller determines
// the depth of a tree.
#include "file/tinyNotice.h"
#include "text/tinyUtilsText.h"
#include "tinyFile.h"
#include "tinyModel.h"
#include "tinyModelInner.h"
#include "tinySpline.h"

#include <initializer_list>
#include <new>
#include <string>
#include <string_view>

namespace {

void putAll(std::FILE* stream, std::initializer_list<std::string_view> pieces) {
    for (const std::string_view piece : pieces) {
        text::put(stream, piece);
    }
}

void writeTriple(std::FILE* stream, const std::string& prefix, std::string_view word,
                 const float (&values)[3], double unit) {
    putAll(stream, {prefix, word});
    for (int i = 0; i < 3; ++i) {
        text::putFixed(stream, values[i], unit);
        text::put(stream, i < 2 ? " " : "\n");
    }
}

void writeContents(std::FILE* stream, const Model& node, const std::string& prefix) {
    for (std::int32_t i = 0; i < node.splineCount; ++i) {
        splineWriteAscii(stream, node.splines[i], prefix.c_str());
    }
    for (const Opaque* block = node.contents; block != nullptr; block = block->next) {
        putAll(stream, {"\n", prefix, block->text, "\n"});
    }
    for (const UserData* data = node.userData; data != nullptr; data = data->next) {
        userDataWriteAscii(stream, data, prefix.c_str());
    }
}

void openNode(std::FILE* stream, const Model& node, const std::string& prefix) {
    const Vector& move = node.translation.fixed;
    if (notice::wanted()) {
        modelReportSceneMembers(node, true);
    }
    putAll(stream, {"\n", prefix, "model\n", prefix, "{\n", prefix, "name         "});
    text::putQuoted(stream, node.name, text::kFileStyle);
    text::put(stream, "\n");
    writeTriple(stream, prefix, "scaling      ", node.scaling, 1.0);
    writeTriple(stream, prefix, "rotation     ", node.rotation, kModelDegrees);
    writeTriple(stream, prefix, "translation  ", {move.x, move.y, move.z}, 1.0);
    writeContents(stream, node, prefix + "  ");
}

/// Writes the nodes in walk order and closes each after its children.
void writeTree(std::FILE* stream, const Model* root, std::string prefix) {
    int level = 1;
    int open = 0; // nodes without their closing brace
    for (const Model* node = root; open != 0 || node != nullptr;) {
        if (node == nullptr || open >= level) {
            putAll(stream, {prefix, "}\n"});
            prefix.resize(prefix.size() - (--open != 0 ? 2 : 0));
            continue;
        }
        prefix += open++ != 0 ? "  " : "";
        openNode(stream, *node, prefix);
        node = modelNextBelow(node, root, level);
    }
}

} // namespace

int modelWriteAscii(std::FILE* stream, const Model* root, const char* prefix) {
    if (stream == nullptr || root == nullptr || prefix == nullptr) {
        return 0;
    }
    const notice::Call call("write");
    if (!modelFitsText(root)) {
        return 0;
    }
    try {
        writeTree(stream, root, prefix);
    } catch (const std::bad_alloc&) {
        notice::Call::failForMemory();
    }
    return notice::Call::good(stream) ? 1 : 0;
}
