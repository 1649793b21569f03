// SPDX-License-Identifier: MIT
// Prototypes and their section "PROT": docs/toolkit-formats.md.
#include "file/tinyFileBinary.h"
#include "file/tinyUtilsGrow.h"
#include "tinyFile.h"
#include "tinySoftType.h"
#include "tinyUtilsText.h"

#include <algorithm>
#include <cstdlib>
#include <initializer_list>
#include <numeric>
#include <span>
#include <utility>

namespace {

/// The line number of this module in the message about a tag.
constexpr int kReaderLine = 917;

/// One list of the record.
struct List {
    std::int16_t tag;    ///< identifies the list in a section
    std::int16_t length; ///< tokens from its initialiser, including the closing 0
};

/// By slot. If records of several releases differ, the length is that of the longest.
constexpr List kLists[kPrototypeLists] = {
    {5, 21},  // model node
    {7, 3},   // face
    {6, 17},  // patch
    {8, 6},   // mesh
    {10, 3},  // first part of a mesh
    {11, 3},  // second part of a mesh
    {9, 3},   // third part of a mesh
    {12, 3},  // fourth part of a mesh
    {3, 8},   // spline
    {18, 7},  // spline point
    {16, 0},  // carried
    {17, 0},  // carried
    {13, 14}, // material
    {15, 28}, // 3D texture
    {14, 30}, // 2D texture
    {19, 8},  // physical data
    {20, 2},  // joint
    {21, 21}, // envelope data
    {22, 5},  // envelope vertex
    {23, 5},  // cluster
};

/// The slots in the order in which a section has their lists.
constexpr int kSectionOrder[kPrototypeLists] = {0,  8,  9,  2,  1,  3,  7,  4,  5,  6,
                                                12, 14, 13, 15, 16, 17, 18, 19, 10, 11};

/// Fills one list with its field numbers: 1, 2, 3 ... and the closing 0.
bool fill(Prototype& prototype, int slot) {
    const std::int16_t length = kLists[slot].length;
    std::free(std::exchange(prototype.lists[slot], nullptr));
    prototype.lengths[slot] = 0;
    auto* tokens = newRecords<std::int16_t>(static_cast<std::size_t>(length));
    if (tokens == nullptr) {
        return false;
    }
    std::iota(tokens, tokens + length - 1, std::int16_t{1});
    prototype.lists[slot] = tokens;
    prototype.lengths[slot] = length;
    return true;
}

int initialise(Prototype** prototype, int allocateFirst, std::initializer_list<int> slots) {
    if (prototype == nullptr) {
        return 0;
    }
    if (allocateFirst != 0) {
        *prototype = prototypeAllocate();
    }
    const bool filled = *prototype != nullptr && std::ranges::all_of(slots, [&](int slot) {
        return fill(**prototype, slot);
    });
    if (!filled) {
        prototypeDispose(prototype);
    }
    return filled ? 1 : 0;
}

/// Reads `length` tokens, fewer when the file ends, and stores them in `list` unless it is null.
/// False at end of file.
bool readTokens(std::FILE* stream, std::int16_t length, GrowingArray<std::int16_t>* list) {
    for (int i = 0; i < length; ++i) {
        std::int16_t token = 0;
        if (!binary::read(stream, token) || (list != nullptr && !list->push(token))) {
            return false;
        }
    }
    return true;
}

/// Reads one list, whose tag has been read. False at end of file.
bool readList(std::FILE* stream, Prototype& prototype, std::int16_t tag) {
    const auto row = std::ranges::find(kLists, tag, &List::tag);
    std::int16_t length = 0;
    const bool whole = binary::read(stream, length);
    if (row == std::end(kLists)) {
        // Kept: The message about an illegal token has a closing bracket without an opening one.
        // A reader would expect "(line 917)" or the like. The text is common to all binary readers
        // of the toolkit.
        optionPrint("Error: %s %d): illegal token: %hd\n", "tinyFile", kReaderLine, tag);
        binary::reportToken(stream, tag);
        return whole && readTokens(stream, length, nullptr);
    }
    const auto slot = row - std::begin(kLists);
    GrowingArray<std::int16_t> tokens;
    const bool complete = whole && readTokens(stream, length, &tokens);
    std::free(prototype.lists[slot]);
    prototype.lengths[slot] = static_cast<std::int16_t>(tokens.size());
    prototype.lists[slot] = tokens.release();
    return complete;
}

} // namespace

Prototype* prototypeAllocate() {
    return newRecords<Prototype>(1);
}

void prototypeDispose(Prototype** prototype) {
    if (prototype == nullptr || *prototype == nullptr) {
        return;
    }
    std::ranges::for_each((*prototype)->lists, std::free);
    std::free(std::exchange(*prototype, nullptr));
}

int prototypeInitModel(Prototype** prototype, int allocateFirst) {
    return initialise(prototype, allocateFirst, {0});
}

int prototypeInitFace(Prototype** prototype, int allocateFirst) {
    return initialise(prototype, allocateFirst, {1});
}

int prototypeInitPatch(Prototype** prototype, int allocateFirst) {
    return initialise(prototype, allocateFirst, {2});
}

int prototypeInitMesh(Prototype** prototype, int allocateFirst) {
    return initialise(prototype, allocateFirst, {3, 4, 5, 6, 7});
}

int prototypeInitSpline(Prototype** prototype, int allocateFirst) {
    return initialise(prototype, allocateFirst, {8, 9});
}

int prototypeInitMaterial(Prototype** prototype, int allocateFirst) {
    return initialise(prototype, allocateFirst, {12});
}

int prototypeInitTexture3D(Prototype** prototype, int allocateFirst) {
    return initialise(prototype, allocateFirst, {13});
}

int prototypeInitTexture(Prototype** prototype, int allocateFirst) {
    return initialise(prototype, allocateFirst, {14});
}

int prototypeInitPhysical(Prototype** prototype, int allocateFirst) {
    return initialise(prototype, allocateFirst, {15});
}

int prototypeInitJoint(Prototype** prototype, int allocateFirst) {
    return initialise(prototype, allocateFirst, {16});
}

int prototypeInitEnvelopeData(Prototype** prototype, int allocateFirst) {
    return initialise(prototype, allocateFirst, {17});
}

int prototypeInitEnvelopeVertex(Prototype** prototype, int allocateFirst) {
    return initialise(prototype, allocateFirst, {18});
}

int prototypeInitCluster(Prototype** prototype, int allocateFirst) {
    return initialise(prototype, allocateFirst, {19});
}

int prototypeWrite(std::FILE* stream, const Prototype* prototype) {
    text::put(stream, "PROT");
    for (const int slot : kSectionOrder) {
        const std::int16_t length =
            prototype == nullptr ? std::int16_t{0} : prototype->lengths[slot];
        if (length < 1 || prototype->lists[slot] == nullptr) {
            continue;
        }
        binary::write(stream, kLists[slot].tag);
        binary::write(stream, length);
        for (int i = 0; i < length; ++i) {
            binary::write(stream, prototype->lists[slot][i]);
        }
    }
    binary::write(stream, std::int16_t{0});
    return 1;
}

Prototype* prototypeRead(std::FILE* stream) {
    const notice::Call call;
    Prototype* prototype = prototypeAllocate();
    std::int16_t tag = 0;
    while (prototype != nullptr && binary::read(stream, tag) && tag != 0 &&
           readList(stream, *prototype, tag)) {
    }
    if (!notice::Call::good(stream)) {
        prototypeDispose(&prototype);
    }
    return prototype;
}
