// SPDX-License-Identifier: MIT
// The hierarchy file: its name, its header and which of the two flavours it is.
#include "tinyModel.h"

#include "base/byteOrder.h"
#include "base/uniqueFile.h"
#include "tinyFile.h"
#include "tinyModelInner.h"

#include <iterator>
#include <memory>
#include <string>

namespace {

constexpr std::uint32_t kHierarchyType = typeWord("HRCH");
constexpr std::uint32_t kPrototypeType = typeWord("PROT");
constexpr std::size_t kTypeSize = 4;

using PrototypeOwner = std::unique_ptr<Prototype, PrototypeDisposer>;

base::UniqueFile openModel(const char* baseName, char mode) {
    return base::openFile((std::string(baseName) + ".hrc").c_str(), mode);
}

std::uint32_t readTypeWord(std::FILE* stream) {
    std::uint8_t bytes[kTypeSize] = {};
    return std::fread(bytes, 1, sizeof bytes, stream) == sizeof bytes ? base::loadBe32(bytes) : 0;
}

bool hasSplines(const Model* root) {
    const Model* node = root;
    while (node != nullptr && node->splineCount == 0) {
        node = modelNextBelow(node, root);
    }
    return node != nullptr;
}

/// The lists that the tree needs: the node's, and the spline's when a node has one.
PrototypeOwner makePrototype(const Model* root) {
    Prototype* prototype = nullptr;
    if (prototypeInitModel(&prototype, 1) == 0 ||
        (hasSplines(root) && prototypeInitSpline(&prototype, 0) == 0)) {
        return nullptr;
    }
    return PrototypeOwner(prototype);
}

int writeTextFile(std::FILE* stream, const Model* root) {
    const int header = headerWriteAscii(stream, "HRCH");
    return header != 0 ? modelWriteAscii(stream, root, "") : 0;
}

int writeBinaryFile(std::FILE* stream, const Model* root) {
    const PrototypeOwner prototype = makePrototype(root);
    if (prototype == nullptr) {
        return 0;
    }
    headerWriteBinary(stream, nullptr);
    prototypeWrite(stream, prototype.get());
    std::fwrite("HRCH", 1, kTypeSize, stream);
    return modelWriteBinary(stream, root, prototype.get());
}

Model* readTextFile(std::FILE* stream) {
    float version = 0.0F;
    if (headerReadAscii(stream, &version) != kHierarchyType) {
        return nullptr;
    }
    return modelReadTextBody(stream);
}

Model* readBinaryFile(std::FILE* stream) {
    std::uint32_t type = headerReadBinary(stream, nullptr, nullptr);
    PrototypeOwner prototype;
    if (type == kPrototypeType) {
        prototype.reset(prototypeRead(stream));
        type = readTypeWord(stream);
    } else {
        Prototype* ours = nullptr;
        prototypeInitModel(&ours, 1);
        prototype.reset(ours);
    }
    return type == kHierarchyType && prototype != nullptr ? modelReadBinary(stream, prototype.get())
                                                          : nullptr;
}

/// One row a flavour, in the order of the flavour numbers: how its files begin, and what reads and
/// writes them.
struct Flavour {
    std::uint32_t firstWord;
    int (*write)(std::FILE*, const Model*);
    Model* (*read)(std::FILE*);
};

constexpr Flavour kFlavours[] = {{kHierarchyType, writeTextFile, readTextFile},
                                 {kFileMagic, writeBinaryFile, readBinaryFile}};

} // namespace

int modelWriteFile(const char* baseName, const Model* root, int flavour) {
    if (baseName == nullptr || root == nullptr || flavour < 0 ||
        flavour >= static_cast<int>(std::size(kFlavours)) || modelDepth(root) > kModelMaxDepth) {
        return 0;
    }
    base::UniqueFile file = openModel(baseName, 'w');
    if (file == nullptr) {
        return 0;
    }
    const int written = kFlavours[flavour].write(file.get(), root);
    const bool clean = std::ferror(file.get()) == 0;
    return std::fclose(file.release()) == 0 && clean ? written : 0;
}

Model* modelReadFile(const char* baseName) {
    const base::UniqueFile file = baseName != nullptr ? openModel(baseName, 'r') : nullptr;
    if (file == nullptr) {
        return nullptr;
    }
    const std::uint32_t firstWord = readTypeWord(file.get());
    std::rewind(file.get());
    for (const Flavour& flavour : kFlavours) {
        if (flavour.firstWord == firstWord) {
            return flavour.read(file.get());
        }
    }
    return nullptr;
}
