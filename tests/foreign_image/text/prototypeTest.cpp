// SPDX-License-Identifier: MIT
// Prototypes and their sections, as bytes.
#include "foreign_image/animText.h"
#include "tinyFile.h"

#include <array>
#include <vector>

namespace {

using namespace animtext;
using OwnedPrototype = std::unique_ptr<Prototype, PrototypeDisposer>;

class PrototypeTest : public AnimText {};

/// The numbers as big-endian 16-bit words.
std::string words(const std::vector<int>& numbers) {
    std::string bytes;
    for (const int number : numbers) {
        bytes += be16(number);
    }
    return bytes;
}

std::string bytesOf(const Prototype* prototype) {
    return written([prototype](std::FILE* f) { EXPECT_EQ(prototypeWrite(f, prototype), 1); });
}

OwnedPrototype readSection(const std::string& bytes) {
    const Input in(bytes);
    return OwnedPrototype(prototypeRead(in));
}

/// Every list by its initialiser: tag, length and slot, in the order of a section.
struct ListCase {
    const char* name;
    int (*init)(Prototype**, int);
    std::vector<std::array<int, 3>> lists;
};

const ListCase kLists[] = {
    {"model", prototypeInitModel, {{5, 21, 0}}},
    {"spline", prototypeInitSpline, {{3, 8, 8}, {18, 7, 9}}},
    {"patch", prototypeInitPatch, {{6, 17, 2}}},
    {"face", prototypeInitFace, {{7, 3, 1}}},
    {"mesh", prototypeInitMesh, {{8, 6, 3}, {12, 3, 7}, {10, 3, 4}, {11, 3, 5}, {9, 3, 6}}},
    {"material", prototypeInitMaterial, {{13, 14, 12}}},
    {"texture", prototypeInitTexture, {{14, 30, 14}}},
    {"3D texture", prototypeInitTexture3D, {{15, 28, 13}}},
    {"physical", prototypeInitPhysical, {{19, 8, 15}}},
    {"joint", prototypeInitJoint, {{20, 2, 16}}},
    {"envelope data", prototypeInitEnvelopeData, {{21, 21, 17}}},
    {"envelope vertex", prototypeInitEnvelopeVertex, {{22, 5, 18}}},
    {"cluster", prototypeInitCluster, {{23, 5, 19}}},
};

TEST_F(PrototypeTest, InitialisersFillTheirLists) {
    Prototype* all = prototypeAllocate();
    std::string everyList = "PROT";
    for (const ListCase& c : kLists) {
        SCOPED_TRACE(c.name);
        Prototype* alone = nullptr;
        EXPECT_EQ(c.init(&alone, 1), 1);
        const OwnedPrototype owned(alone);
        std::string lists;
        for (const auto& [tag, length, slot] : c.lists) {
            EXPECT_EQ(alone->lengths[slot], length);
            lists += words({tag, length});
            for (int i = 1; i < length; ++i) {
                lists += be16(i);
            }
            lists += be16(0);
        }
        EXPECT_EQ(bytesOf(alone), "PROT" + lists + be16(0));
        EXPECT_EQ(c.init(&all, 0), 1);
        EXPECT_EQ(c.init(&all, 0), 1) << "instead of the first";
        everyList += lists;
    }
    const std::string bytes = bytesOf(all);
    EXPECT_EQ(bytes, everyList + be16(0));
    EXPECT_EQ(bytesOf(readSection(bytes.substr(4)).get()), bytes);
    prototypeDispose(&all);
    EXPECT_EQ(all, nullptr);
}

TEST_F(PrototypeTest, WithoutARecordThereIsNothingToFill) {
    Prototype* none = nullptr;
    EXPECT_EQ(prototypeInitFace(&none, 0), 0);
    EXPECT_EQ(prototypeInitFace(nullptr, 1), 0);
    prototypeDispose(nullptr);
    prototypeDispose(&none);
    EXPECT_EQ(bytesOf(nullptr), "PROT" + be16(0));
}

struct SectionCase {
    const char* name;
    std::string section; ///< after its four letters
    std::string again;   ///< the section when it is written
    const char* messages;
};

TEST_F(PrototypeTest, SectionsAsBytes) {
    const SectionCase cases[] = {
        {"empty", be16(0), be16(0), ""},
        {"face", words({7, 3, 1, 2, 0, 0}), words({7, 3, 1, 2, 0, 0}), ""},
        {"the carried lists come last", words({16, 1, -2, 17, 1, 300, 23, 1, 0, 0}),
         words({23, 1, 0, 16, 1, -2, 17, 1, 300, 0}), ""},
        {"illegal tag", words({4, 2, 9, 9, 7, 1, 0, 0}), words({7, 1, 0, 0}),
         "Error: tinyFile 917): illegal token: 4\n"},
        {"other illegal tags", words({24, 0, -1, 1, 5, 0}), be16(0),
         "Error: tinyFile 917): illegal token: 24\nError: tinyFile 917): illegal token: -1\n"},
        {"a list twice", words({7, 1, 4, 7, 2, 5, 6, 0}), words({7, 2, 5, 6, 0}), ""},
        {"lengths below 1", words({7, 0, 6, -3, 20, 1, 8, 0}), words({20, 1, 8, 0}), ""},
        {"shorter than it says", words({7, 32767, 1, 2}), words({7, 2, 1, 2, 0}), ""},
        {"no end", words({7, 1, 2, 20, 1, 5}), words({7, 1, 2, 20, 1, 5, 0}), ""},
        {"skipping past the end", words({4, 32767, 1}), be16(0),
         "Error: tinyFile 917): illegal token: 4\n"},
        {"nothing", "", be16(0), ""},
    };
    for (const SectionCase& c : cases) {
        const OwnedPrototype prototype = readSection(c.section);
        ASSERT_NE(prototype, nullptr) << c.name;
        EXPECT_EQ(bytesOf(prototype.get()), "PROT" + c.again) << c.name;
        EXPECT_EQ(messages(), c.messages) << c.name;
        forEachTruncation(c.section, 0,
                          [](const std::string& cut) { EXPECT_NE(readSection(cut), nullptr); });
        messages();
    }
}

TEST_F(PrototypeTest, TheSectionEndsAfterItsLastTag) {
    const Input in(words({7, 1, 0, 0}) + "SPLN");
    const OwnedPrototype prototype(prototypeRead(in));
    EXPECT_EQ(in.rest(), "SPLN");
}

} // namespace
