// SPDX-License-Identifier: MIT
// The hierarchy file: its name, its header and its two flavours.
#include "tinyModel.h"

#include "file/tinyNotice.h"
#include "text/tinyTextFile.h"
#include "text/tinyUtilsText.h"
#include "tinyFile.h"
#include "tinyModelInner.h"

#include <iterator>
#include <memory>

namespace {

constexpr std::uint32_t kHierarchyType = typeWord("HRCH");
constexpr std::uint32_t kPrototypeType = typeWord("PROT");

std::uint32_t readTypeWord(std::FILE* stream) {
    std::uint32_t word = 0;
    return binary::read(stream, word) ? word : 0;
}

bool hasSplines(const Model* root) {
    const Model* node = root;
    while (node != nullptr && node->splineCount == 0) {
        node = modelNextBelow(node, root);
    }
    return node != nullptr;
}

/// The lists that the tree needs: the node's, and the spline's if a node has one.
UniquePrototype makePrototype(const Model* root) {
    Prototype* prototype = nullptr;
    if (prototypeInitModel(&prototype, 1) == 0 ||
        (hasSplines(root) && prototypeInitSpline(&prototype, 0) == 0)) {
        return nullptr;
    }
    return UniquePrototype(prototype);
}

int writeTextFile(std::FILE* stream, const Model* root) {
    const int header = headerWriteAscii(stream, "HRCH");
    return header != 0 ? modelWriteAscii(stream, root, "") : 0;
}

int writeBinaryFile(std::FILE* stream, const Model* root) {
    const UniquePrototype prototype = makePrototype(root);
    if (prototype == nullptr) {
        return 0;
    }
    headerWriteBinary(stream, nullptr);
    prototypeWrite(stream, prototype.get());
    text::put(stream, "HRCH");
    return modelWriteBinary(stream, root, prototype.get());
}

Model* readTextFile(std::FILE* stream) {
    text::Reader& in = text::Reader::on(stream, text::kFileStyle);
    if (!text::readHeader(stream, kHierarchyType) || !in.next()) {
        return nullptr;
    }
    if (in.word() != "model") {
        notice::Call::fail("no \"model\" after its header");
        return nullptr;
    }
    UniqueModel root(modelReadAscii(stream));
    return root != nullptr && text::reportSurplus(in) ? root.release() : nullptr;
}

Model* readBinaryFile(std::FILE* stream) {
    text::Reader::setWordLine(0); // no failure is on a line
    std::uint32_t type = binary::readHeader(stream);
    UniquePrototype prototype;
    if (type == kPrototypeType) {
        prototype.reset(prototypeRead(stream));
        type = readTypeWord(stream);
    } else {
        Prototype* ours = nullptr;
        prototypeInitModel(&ours, 1);
        prototype.reset(ours);
    }
    UniqueModel root(type == kHierarchyType && prototype != nullptr
                         ? modelReadBinary(stream, prototype.get())
                         : nullptr);
    return root != nullptr && binary::reportSurplus(stream) ? root.release() : nullptr;
}

/// One row for each flavour, in the order of the flavour numbers: the beginning of its files, its
/// reader and its writer.
struct Flavour {
    std::uint32_t firstWord;
    bool (*fits)(const Model*);
    int (*write)(std::FILE*, const Model*);
    Model* (*read)(std::FILE*);
};

constexpr Flavour kFlavours[] = {{kHierarchyType, modelFitsText, writeTextFile, readTextFile},
                                 {kFileMagic, modelFitsBinary, writeBinaryFile, readBinaryFile}};

} // namespace

int modelWriteFile(const char* baseName, const Model* root, int flavour) {
    if (baseName == nullptr || root == nullptr || flavour < 0 ||
        flavour >= static_cast<int>(std::size(kFlavours))) {
        return 0;
    }
    const MallocString fileName = fileNameOf(baseName, ".hrc");
    const notice::Call call("write", fileName.get());
    const Flavour& form = kFlavours[flavour];
    return form.fits(root) ? fileWrite(baseName, ".hrc",
                                       [&](std::FILE* stream) { return form.write(stream, root); })
                           : 0;
}

Model* modelReadFile(const char* baseName) {
    return fileRead(baseName, ".hrc", [](std::FILE* stream) -> Model* {
        const std::uint32_t firstWord = readTypeWord(stream);
        if (!notice::Call::good(stream)) {
            return nullptr;
        }
        std::rewind(stream);
        for (const Flavour& flavour : kFlavours) {
            if (flavour.firstWord == firstWord && firstWord != 0) {
                return flavour.read(stream);
            }
        }
        notice::Call::fail("not a hierarchy file");
        return nullptr;
    });
}
