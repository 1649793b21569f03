// SPDX-License-Identifier: MIT
// Prototypes and their sections, as bytes.
#include "foreign_image/animText.h"
#include "tinyFile.h"

#include <array>
#include <numeric>

namespace {

using namespace animtext;
using OwnedPrototype = std::unique_ptr<Prototype, PrototypeDisposer>;

class PrototypeTest : public AnimText {};

std::string bytesOf(const Prototype* prototype) {
    return written([prototype](std::FILE* f) { EXPECT_EQ(prototypeWrite(f, prototype), 1); });
}

OwnedPrototype readSection(std::string_view bytes) {
    return OwnedPrototype(prototypeRead(Input(bytes)));
}

/// The lists of each initialiser: tag, length and slot, in the order of a section.
const std::pair<int (*)(Prototype**, int), std::vector<std::array<int, 3>>> kLists[] = {
    {prototypeInitModel, {{5, 21, 0}}},
    {prototypeInitSpline, {{3, 8, 8}, {18, 7, 9}}},
    {prototypeInitPatch, {{6, 17, 2}}},
    {prototypeInitFace, {{7, 3, 1}}},
    {prototypeInitMesh, {{8, 6, 3}, {12, 3, 7}, {10, 3, 4}, {11, 3, 5}, {9, 3, 6}}},
    {prototypeInitMaterial, {{13, 14, 12}}},
    {prototypeInitTexture, {{14, 30, 14}}},
    {prototypeInitTexture3D, {{15, 28, 13}}},
    {prototypeInitPhysical, {{19, 8, 15}}},
    {prototypeInitJoint, {{20, 2, 16}}},
    {prototypeInitEnvelopeData, {{21, 21, 17}}},
    {prototypeInitEnvelopeVertex, {{22, 5, 18}}},
    {prototypeInitCluster, {{23, 5, 19}}},
};

TEST_F(PrototypeTest, InitialisersFillTheirLists) {
    Prototype* all = prototypeAllocate();
    std::string everyList = "PROT";
    for (const auto& [init, lists] : kLists) {
        SCOPED_TRACE(lists[0][0]);
        Prototype* alone = nullptr;
        EXPECT_EQ(init(&alone, 1), 1);
        const OwnedPrototype owned(alone);
        std::string bytes;
        for (const auto& [tag, length, slot] : lists) {
            EXPECT_EQ(alone->lengths[slot], length);
            std::vector<int> tokens(static_cast<std::size_t>(length));
            std::iota(tokens.begin(), tokens.end() - 1, 1);
            bytes += words({tag, length}) + words(tokens);
        }
        EXPECT_EQ(bytesOf(alone), "PROT" + bytes + be16(0));
        EXPECT_EQ(init(&all, 0), 1);
        EXPECT_EQ(init(&all, 0), 1) << "instead of the first";
        everyList += bytes;
    }
    const OwnedPrototype owned(all);
    EXPECT_EQ(bytesOf(all), everyList + be16(0));
    EXPECT_EQ(bytesOf(readSection(bytesOf(all).substr(4)).get()), bytesOf(all));
    Prototype* none = nullptr;
    EXPECT_EQ(prototypeInitFace(&none, 0), 0);
    EXPECT_EQ(prototypeInitFace(nullptr, 1), 0);
    prototypeDispose(nullptr);
    prototypeDispose(&none);
    EXPECT_EQ(bytesOf(nullptr), "PROT" + be16(0));
}

TEST_F(PrototypeTest, SectionsAsBytes) {
    const struct {
        std::vector<int> section, again; ///< words after its four letters, and when it is written
        const char* messages = "";
    } cases[] = {
        {{0}, {0}},
        {{7, 3, 1, 2, 0, 0}, {7, 3, 1, 2, 0, 0}},
        // The carried lists come last.
        {{16, 1, -2, 17, 1, 300, 23, 1, 0, 0}, {23, 1, 0, 16, 1, -2, 17, 1, 300, 0}},
        // Illegal tag.
        {{4, 2, 9, 9, 7, 1, 0, 0}, {7, 1, 0, 0}, "Error: tinyFile 917): illegal token: 4\n"},
        {{24, 0, -1, 1, 5, 0},
         {0},
         "Error: tinyFile 917): illegal token: 24\nError: tinyFile 917): illegal token: -1\n"},
        // A list twice.
        {{7, 1, 4, 7, 2, 5, 6, 0}, {7, 2, 5, 6, 0}},
        // Lengths below 1.
        {{7, 0, 6, -3, 20, 1, 8, 0}, {20, 1, 8, 0}},
        // Shorter than it says.
        {{7, 32767, 1, 2}, {7, 2, 1, 2, 0}},
        // No end.
        {{7, 1, 2, 20, 1, 5}, {7, 1, 2, 20, 1, 5, 0}},
        // Skipping past the end.
        {{4, 32767, 1}, {0}, "Error: tinyFile 917): illegal token: 4\n"},
        {{}, {0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.section));
        const OwnedPrototype prototype = readSection(words(c.section));
        ASSERT_NE(prototype, nullptr);
        EXPECT_EQ(bytesOf(prototype.get()), "PROT" + words(c.again));
        EXPECT_EQ(messages(), c.messages);
        forEachTruncation(words(c.section), 0,
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
