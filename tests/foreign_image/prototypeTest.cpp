// SPDX-License-Identifier: MIT
// Prototypes and their sections, as bytes.
#include "animText.h"
#include "tinyFile.h"

#include <vector>

namespace {

using namespace animtext;
using OwnedPrototype = std::unique_ptr<Prototype, PrototypeDisposer>;

class PrototypeTest : public AnimText {};

/// The numbers as big-endian 16-bit words.
std::string words(const std::vector<int>& numbers) {
    std::string bytes;
    for (const int number : numbers) {
        bytes += static_cast<char>(number >> 8);
        bytes += static_cast<char>(number);
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

struct KindCase {
    const char* name;
    int (*init)(Prototype**, int);
    std::vector<std::pair<int, int>> lists; ///< slot and length
};

const KindCase kKinds[] = {
    {"model", prototypeInitModel, {{0, 21}}},
    {"face", prototypeInitFace, {{1, 3}}},
    {"patch", prototypeInitPatch, {{2, 17}}},
    {"mesh", prototypeInitMesh, {{3, 6}, {4, 3}, {5, 3}, {6, 3}, {7, 3}}},
    {"spline", prototypeInitSpline, {{8, 8}, {9, 7}}},
    {"material", prototypeInitMaterial, {{12, 14}}},
    {"3D texture", prototypeInitTexture3D, {{13, 28}}},
    {"texture", prototypeInitTexture, {{14, 30}}},
    {"physical", prototypeInitPhysical, {{15, 8}}},
    {"joint", prototypeInitJoint, {{16, 2}}},
    {"envelope data", prototypeInitEnvelopeData, {{17, 21}}},
    {"envelope vertex", prototypeInitEnvelopeVertex, {{18, 5}}},
    {"cluster", prototypeInitCluster, {{19, 5}}},
};

TEST_F(PrototypeTest, InitialisersFillTheirLists) {
    Prototype* all = prototypeAllocate();
    for (const KindCase& c : kKinds) {
        Prototype* alone = nullptr;
        EXPECT_EQ(c.init(&alone, 1), 1) << c.name;
        const OwnedPrototype owned(alone);
        EXPECT_EQ(c.init(&all, 0), 1) << c.name;
        EXPECT_EQ(c.init(&all, 0), 1) << c.name << ", instead of the first";
        int used = 0;
        for (const std::int16_t length : alone->lengths) {
            used += length != 0 ? 1 : 0;
        }
        EXPECT_EQ(used, static_cast<int>(c.lists.size())) << c.name;
        for (const auto& [slot, length] : c.lists) {
            ASSERT_EQ(alone->lengths[slot], length) << c.name;
            for (int i = 0; i < length; ++i) {
                EXPECT_EQ(alone->lists[slot][i], i == length - 1 ? 0 : i + 1) << c.name;
            }
        }
    }
    // Every list with its tag, in the order of a section, and nothing else.
    const std::string bytes = bytesOf(all);
    const std::pair<int, int> order[] = {{5, 21},  {3, 8},  {18, 7}, {6, 17},  {7, 3},   {8, 6},
                                         {12, 3},  {10, 3}, {11, 3}, {9, 3},   {13, 14}, {14, 30},
                                         {15, 28}, {19, 8}, {20, 2}, {21, 21}, {22, 5},  {23, 5}};
    std::string expected = "PROT";
    for (const auto& [tag, length] : order) {
        expected += words({tag, length});
        for (int i = 1; i < length; ++i) {
            expected += words({i});
        }
        expected += words({0});
    }
    EXPECT_EQ(bytes, expected + words({0}));
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
    EXPECT_EQ(bytesOf(nullptr), "PROT" + words({0}));
}

struct SectionCase {
    const char* name;
    std::string section; ///< after its four letters
    std::string again;   ///< what is written of it
    const char* messages;
};

TEST_F(PrototypeTest, SectionsAsBytes) {
    const SectionCase cases[] = {
        {"empty", words({0}), words({0}), ""},
        {"face", words({7, 3, 1, 2, 0, 0}), words({7, 3, 1, 2, 0, 0}), ""},
        {"the carried lists come last", words({16, 1, -2, 17, 1, 300, 23, 1, 0, 0}),
         words({23, 1, 0, 16, 1, -2, 17, 1, 300, 0}), ""},
        {"illegal tag", words({4, 2, 9, 9, 7, 1, 0, 0}), words({7, 1, 0, 0}),
         "Error: tinyFile 917): illegal token: 4\n"},
        {"other illegal tags", words({24, 0, -1, 1, 5, 0}), words({0}),
         "Error: tinyFile 917): illegal token: 24\nError: tinyFile 917): illegal token: -1\n"},
        {"a list twice", words({7, 1, 4, 7, 2, 5, 6, 0}), words({7, 2, 5, 6, 0}), ""},
        {"lengths below 1", words({7, 0, 6, -3, 20, 1, 8, 0}), words({20, 1, 8, 0}), ""},
        {"shorter than it says", words({7, 32767, 1, 2}), words({7, 2, 1, 2, 0}), ""},
        {"no end", words({7, 1, 2, 20, 1, 5}), words({7, 1, 2, 20, 1, 5, 0}), ""},
        {"skipping past the end", words({4, 32767, 1}), words({0}),
         "Error: tinyFile 917): illegal token: 4\n"},
        {"nothing", "", words({0}), ""},
    };
    for (const SectionCase& c : cases) {
        const OwnedPrototype prototype = readSection(c.section);
        ASSERT_NE(prototype, nullptr) << c.name;
        EXPECT_EQ(bytesOf(prototype.get()), "PROT" + c.again) << c.name;
        EXPECT_EQ(messages(), c.messages) << c.name;
        for (std::size_t length = 0; length < c.section.size(); ++length) {
            EXPECT_NE(readSection(c.section.substr(0, length)), nullptr) << c.name;
        }
        messages();
    }
}

TEST_F(PrototypeTest, TheSectionEndsAfterItsLastTag) {
    const Input in(words({7, 1, 0, 0}) + "SPLN");
    const OwnedPrototype prototype(prototypeRead(in));
    EXPECT_EQ(in.rest(), "SPLN");
}

} // namespace
