// SPDX-License-Identifier: MIT
// Spline files, text and binary.
#include "animText.h"
#include "support/tempDir.h"
#include "tinyFile.h"

#include <cstring>
#include <fstream>
#include <iterator>
#include <unistd.h>
#include <vector>

namespace {

using namespace animtext;

class SplineFileTest : public AnimText {
  protected:
    /// Writes the spline and gives the bytes of the file.
    std::string fileOf(const Spline* spline, int flavour) {
        EXPECT_EQ(splineWriteFile(base_.c_str(), spline, flavour), 1);
        std::ifstream file(base_ + ".spl", std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    /// Reads a file of these bytes.
    OwnedSpline read(std::string_view bytes) {
        folder_.write("s.spl", bytes);
        return OwnedSpline(splineReadFile(base_.c_str()));
    }

    support::TempDir folder_;
    const std::string base_ = folder_ / "s";
};

constexpr const char* kHeader = "SPLN: Niofle v2.60\n\n";

constexpr const char* kBezierBody = "\nspline\n"
                                    "{\n"
                                    "  name       \"a \tpath\"\n"
                                    "  type       BEZIER\n"
                                    "  nbKeys     2\n"
                                    "  tension    0.500\n"
                                    "  step       -3\n"
                                    "  close\n"
                                    "  phantom\n"
                                    "  constraint G1\n"
                                    "  segment    LINEAR\n"
                                    "\n"
                                    "  controlPoints\n"
                                    "  {\n"
                                    "    [0]  position   1.000  2.500  -3.000\n"
                                    "         previous   0.000  0.125  12345.678\n"
                                    "         next       9.000  8.000  7.000\n"
                                    "         constraint C0\n"
                                    "         segment    CURVE\n"
                                    "         flag    ( SELECTED )\n"
                                    "    [1]  position   0.000  0.000  0.000\n"
                                    "         previous   0.000  0.000  0.000\n"
                                    "         next       0.000  0.000  0.000\n"
                                    "         constraint --------\n"
                                    "         segment    --------\n"
                                    "  }\n"
                                    "}\n";

OwnedSpline bezier() {
    OwnedSpline spline(splineAllocate());
    spline->name = strdup("a \tpath");
    spline->phantom = 2;
    spline->close = 1;
    spline->type = kSplineBezier;
    spline->keyCount = 2;
    spline->keys = splineKeyAllocate(2);
    spline->keys[0] = {{0, 0.125F, 12345.678F}, {1, 2.5F, -3}, {9, 8, 7}, 1, 1, kSplineKeySelected};
    spline->tension = 0.5F;
    spline->step = -3;
    spline->constraint = 4;
    spline->segment = 2;
    return spline;
}

std::string bodyOf(const Spline* spline, const char* prefix = "") {
    return written([&](std::FILE* f) { EXPECT_EQ(splineWriteAscii(f, spline, prefix), 1); });
}

TEST_F(SplineFileTest, TextFile) {
    const std::string whole = std::string(kHeader) + kBezierBody;
    EXPECT_EQ(fileOf(bezier().get(), 0), whole);
    const OwnedSpline spline = read(whole);
    ASSERT_NE(spline, nullptr);
    EXPECT_STREQ(spline->name, "a \tpath");
    EXPECT_EQ(spline->type, kSplineBezier);
    EXPECT_EQ(spline->keyCount, 2);
    EXPECT_EQ(spline->step, -3);
    EXPECT_EQ(spline->constraint, 4);
    EXPECT_EQ(spline->keys[0].next.z, 7.0F);
    EXPECT_EQ(spline->keys[0].flags, kSplineKeySelected);
    EXPECT_EQ(spline->keys[1].flags, 0U);
    EXPECT_EQ(fileOf(spline.get(), 0), whole);
    EXPECT_EQ(messages() + notices(), "");
    for (std::size_t length = 0; length + 2 < whole.size(); ++length) {
        EXPECT_EQ(read(whole.substr(0, length)), nullptr) << "cut at " << length;
    }
}

TEST_F(SplineFileTest, LinearTextHasNoHandles) {
    const OwnedSpline spline = bezier();
    spline->type = kSplineLinear;
    spline->close = 0;
    spline->phantom = 0;
    spline->keyCount = 1;
    std::free(std::exchange(spline->name, nullptr));
    constexpr const char* kText = "\n> spline\n"
                                  "> {\n"
                                  ">   name       \"\"\n"
                                  ">   type       LINEAR\n"
                                  ">   nbKeys     1\n"
                                  ">   tension    0.500\n"
                                  ">   step       -3\n"
                                  "\n"
                                  ">   controlPoints\n"
                                  ">   {\n"
                                  ">     [0]  position   1.000  2.500  -3.000\n"
                                  ">          flag    ( SELECTED )\n"
                                  ">   }\n"
                                  "> }\n";
    EXPECT_EQ(bodyOf(spline.get(), "> "), kText);
    EXPECT_EQ(splineWriteAscii(stdout, nullptr, ""), 0);
    const OwnedSpline again = read(kHeader + bodyOf(spline.get()));
    EXPECT_EQ(again->name, nullptr) << "no name is written as an empty one";
}

TEST_F(SplineFileTest, AQuoteInsideANameBecomesTheOtherKind) {
    const OwnedSpline spline = bezier();
    std::free(std::exchange(spline->name, strdup("a\"} b")));
    const OwnedSpline again = read(fileOf(spline.get(), 0));
    ASSERT_NE(again, nullptr);
    EXPECT_STREQ(again->name, "a'} b");
    EXPECT_EQ(again->keyCount, 2);
    EXPECT_EQ(notices(), "");
}

TEST_F(SplineFileTest, OnlyBezierTextHasHandles) {
    for (std::int32_t type = 0; type < kSplineTypes; ++type) {
        const OwnedSpline spline = bezier();
        spline->type = type;
        const std::string text = bodyOf(spline.get());
        for (const char* word : {"previous", "next", "constraint", "segment"}) {
            EXPECT_EQ(text.find(word) != std::string::npos, type == kSplineBezier)
                << word << " of " << SplineTypeName[type];
        }
    }
}

TEST_F(SplineFileTest, NumbersFillFiveColumnsOfThreeDecimals) {
    FM = 9;
    FD = 1;
    const OwnedSpline spline = bezier();
    const std::string wide = bodyOf(spline.get());
    FM = 5;
    FD = 3;
    EXPECT_NE(wide.find("position         1.0        2.5       -3.0\n"), std::string::npos) << wide;
}

struct TextCase {
    const char* name;
    const char* body; ///< what stands between the braces of the spline
    const char* type;
    std::vector<float> x; ///< of the points
    const char* notices;
};

TEST_F(SplineFileTest, TextIsReadWordByWord) {
    const TextCase cases[] = {
        {"nothing", "", "LINEAR", {}, ""},
        {"no blanks but between words",
         "type CARDINAL nbKeys 1 controlPoints { position 4 5 6 }",
         "CARDINAL",
         {4},
         ""},
        {"carriage returns",
         "type BSPLINE\r\nnbKeys 0\r\ncontrolPoints\r\n{\r\n}\r\n",
         "BSPLINE",
         {},
         ""},
        {"hole is accepted", "hole type BEZIER hole", "BEZIER", {}, ""},
        {"unknown type", "type NURBS", "LINEAR", {}, "unknown NURBS 2;"},
        {"unknown words and blocks",
         "colour 3 knots { position 1 { x } } type BEZIER",
         "BEZIER",
         {},
         "unknown colour 2;unknown 3 2;unknown knots 2;unknown position 2;unknown 1 2;unknown x "
         "2;"},
        {"fewer points than announced",
         "nbKeys 30000 controlPoints { [0] position 1 2 3 }",
         "LINEAR",
         {1},
         "missing nbKeys 2;"},
        {"more points than announced",
         "nbKeys 1 controlPoints { position 1 position 2 position 3 }",
         "LINEAR",
         {1, 2, 3},
         "missing nbKeys 2;"},
        {"an index begins a point",
         "controlPoints { [0] [1] position 7 [2] flag ( ODD SELECTED ) }",
         "LINEAR",
         {0, 7, 0},
         "unknown ODD 2;"},
        {"a point begins with any word",
         "controlPoints { next 1 2 3 segment ODD constraint C1 }",
         "LINEAR",
         {0},
         "unknown ODD 2;"},
        {"numbers that are none",
         "controlPoints { position a position 5 b }",
         "LINEAR",
         {0, 5},
         "unknown a 2;unknown b 2;"},
        {"a flag without blanks",
         "controlPoints { position 1 2 3 flag (ODD SELECTED) } type BEZIER",
         "BEZIER",
         {1},
         "unknown (ODD 2;"},
        {"a flag without brackets",
         "controlPoints { position 1 2 3 flag SELECTED } type BEZIER",
         "BEZIER",
         {1},
         "unknown SELECTED 2;"},
    };
    for (const TextCase& c : cases) {
        const OwnedSpline spline = read(std::string("SPLN: header\nspline { ") + c.body + (" }\n"));
        ASSERT_NE(spline, nullptr) << c.name;
        EXPECT_STREQ(SplineTypeName[spline->type], c.type) << c.name;
        ASSERT_EQ(spline->keyCount, static_cast<int>(c.x.size())) << c.name;
        for (std::size_t i = 0; i < c.x.size(); ++i) {
            EXPECT_EQ(spline->keys[i].position.x, c.x[i]) << c.name;
        }
        EXPECT_EQ(notices(), c.notices) << c.name;
        const std::string out = fileOf(spline.get(), 0);
        EXPECT_EQ(fileOf(read(out).get(), 0), out) << c.name << ", written again";
        notices();
    }
}

TEST_F(SplineFileTest, MorePointsThanTheRecordCounts) {
    std::string text = "SPLN: header\nspline { controlPoints {";
    for (int i = 0; i < 32769; ++i) {
        text += " position 1 2 3";
    }
    const OwnedSpline spline = read(text + " } }");
    ASSERT_NE(spline, nullptr);
    EXPECT_EQ(spline->keyCount, 32767);
    EXPECT_EQ(notices(), "cut position 2;cut position 2;");
}

// ---------------------------------------------------------------------------------------- binary

std::string be16(int value) {
    return {static_cast<char>(value >> 8), static_cast<char>(value)};
}

std::string be32(std::uint32_t value) {
    return be16(static_cast<int>(value >> 16)) + be16(static_cast<int>(value & 0xFFFF));
}

std::string prototypeSection(const std::vector<int>& spline, const std::vector<int>& point) {
    std::string bytes = "PROT";
    for (const auto& [tag, list] : {std::pair(3, spline), std::pair(18, point)}) {
        bytes += be16(tag) + be16(static_cast<int>(list.size()));
        for (const int token : list) {
            bytes += be16(token);
        }
    }
    return bytes + be16(0);
}

const std::string kBinaryHeader =
    be32(0x5380F634) + be32(0x40266666) + "No comment..." + std::string(67, '\0');

const std::string kVector012 = be32(0) + be32(0x3F800000) + be32(0x40000000);

/// One point; the name is "s".
const std::string kBinaryBody =
    std::string("s\0", 2) + be32(1) + be16(1) + be16(0) + be32(0x3F000000) + be16(8) + be16(4) +
    be16(2) + be16(1) + kVector012 + kVector012 + kVector012 + be16(5) + be16(1) + be32(0x10000);

const std::string kOurPrototype = prototypeSection({1, 2, 3, 4, 5, 6, 7, 0}, {1, 2, 3, 4, 5, 6, 0});

TEST_F(SplineFileTest, BinaryFile) {
    const std::string whole = kBinaryHeader + kOurPrototype + "SPLN" + kBinaryBody;
    const OwnedSpline spline = read(whole);
    ASSERT_NE(spline, nullptr);
    EXPECT_STREQ(spline->name, "s");
    EXPECT_EQ(spline->type, kSplineBezier);
    EXPECT_EQ(spline->close, 1);
    EXPECT_EQ(spline->phantom, 0);
    EXPECT_EQ(spline->tension, 0.5F);
    EXPECT_EQ(spline->step, 8);
    EXPECT_EQ(spline->constraint, 4);
    EXPECT_EQ(spline->segment, 2);
    ASSERT_EQ(spline->keyCount, 1);
    EXPECT_EQ(spline->keys[0].previous.y, 1.0F);
    EXPECT_EQ(spline->keys[0].next.z, 2.0F);
    EXPECT_EQ(spline->keys[0].constraint, 5);
    EXPECT_EQ(spline->keys[0].segment, 1);
    EXPECT_EQ(spline->keys[0].flags, kSplineKeySelected);
    EXPECT_EQ(fileOf(spline.get(), 1), whole);
    EXPECT_EQ(messages(), "");
    for (std::size_t length = 0; length < whole.size(); ++length) {
        EXPECT_EQ(read(whole.substr(0, length)), nullptr) << "cut at " << length;
    }
    for (std::size_t bit = 8 * kBinaryHeader.size(); bit < 8 * whole.size(); ++bit) {
        std::string flipped = whole;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << bit % 8));
        if (const OwnedSpline odd = read(flipped); odd != nullptr) {
            EXPECT_LE(odd->keyCount, 1) << bit;
            bodyOf(odd.get());
        }
    }
}

TEST_F(SplineFileTest, ThePrototypeSaysWhichFieldsThereAre) {
    const std::string text = kBinaryHeader + prototypeSection({7, 9, 1, 0, 2}, {2, -5, 0}) + "SPLN";
    const OwnedSpline spline = read(text + be16(2) + kVector012 + kVector012 + "ab" + '\0');
    ASSERT_NE(spline, nullptr);
    EXPECT_EQ(messages(), "Error: tinySpline 412): illegal token: 9\n"
                          "Error: tinySpline 412): illegal token: -5\n");
    EXPECT_STREQ(spline->name, "ab");
    ASSERT_EQ(spline->keyCount, 2);
    EXPECT_EQ(spline->keys[1].position.z, 2.0F);
    EXPECT_EQ(spline->keys[1].next.z, 0.0F);

    const OwnedSpline noPoints =
        read(kBinaryHeader + prototypeSection({7, 0}, {0}) + "SPLN" + be16(32767));
    ASSERT_NE(noPoints, nullptr);
    EXPECT_EQ(noPoints->keyCount, 0) << "points without fields take no memory";

    const OwnedSpline withoutSection = read(kBinaryHeader + "SPLN" + kBinaryBody);
    ASSERT_NE(withoutSection, nullptr) << "our own prototype stands in";
    EXPECT_EQ(withoutSection->keyCount, 1);
}

TEST_F(SplineFileTest, TheWriterReportsUnknownTokens) {
    std::int16_t tokens[] = {5, 77, 0};
    Prototype prototype{};
    prototype.lengths[8] = 3;
    prototype.lists[8] = tokens;
    const OwnedSpline spline = bezier();
    EXPECT_EQ(written([&](std::FILE* f) {
                  EXPECT_EQ(splineWriteBinary(f, spline.get(), &prototype), 1);
                  EXPECT_EQ(splineWriteBinary(f, nullptr, &prototype), 0);
              }),
              be16(-3));
    EXPECT_EQ(messages(), "Error: tinySpline: 298: illegal token: 77\n");
}

// ----------------------------------------------------------------------------------------- files

TEST_F(SplineFileTest, WhatIsNoSplineFileGivesNone) {
    const std::string cases[] = {
        "",
        "SPL",
        "PICT: Niofle v2.60\n\nspline { }",
        "SPLN: x\n\nmodel { }",
        "SPLN: x\n",
        kBinaryHeader + "BEZR" + kBinaryBody,
        kBinaryHeader + "HRCH" + kBinaryBody,
        kBinaryHeader + kOurPrototype + "BEZR" + kBinaryBody,
        kBinaryHeader + kOurPrototype,
    };
    for (const std::string& bytes : cases) {
        EXPECT_EQ(read(bytes), nullptr) << testing::PrintToString(bytes);
    }
    EXPECT_EQ(splineReadFile((base_ + "-missing").c_str()), nullptr);
    EXPECT_EQ(splineReadFile(nullptr), nullptr);
}

TEST_F(SplineFileTest, WritingFailsCleanly) {
    const OwnedSpline spline = bezier();
    for (const int flavour : {2, -1}) {
        EXPECT_EQ(splineWriteFile(base_.c_str(), spline.get(), flavour), 0);
    }
    EXPECT_EQ(splineWriteFile(base_.c_str(), nullptr, 0), 0);
    EXPECT_FALSE(std::filesystem::exists(base_ + ".spl")) << "no file is touched";
    EXPECT_EQ(splineWriteFile((base_ + "/none").c_str(), spline.get(), 0), 0);
    ASSERT_EQ(symlink("/dev/full", (base_ + ".spl").c_str()), 0);
    for (const int flavour : {0, 1}) {
        EXPECT_EQ(splineWriteFile(base_.c_str(), spline.get(), flavour), 0) << "a full disk";
    }
}

TEST_F(SplineFileTest, BothFlavoursHoldTheSame) {
    const OwnedSpline spline = bezier();
    const std::string text = fileOf(spline.get(), 0);
    const std::string binary = fileOf(read(text).get(), 1);
    EXPECT_EQ(fileOf(read(binary).get(), 0), text);
    EXPECT_EQ(fileOf(read(binary).get(), 1), binary);
}

// --------------------------------------------------------------------------------------- records

TEST_F(SplineFileTest, TypesByName) {
    EXPECT_EQ(splineGetTypeByName("LINEAR"), 0);
    EXPECT_EQ(splineGetTypeByName("BEZIER"), 1);
    EXPECT_EQ(splineGetTypeByName("BSPLINE"), 2);
    EXPECT_EQ(splineGetTypeByName("CARDINAL"), 3);
    EXPECT_EQ(splineGetTypeByName("cardinal"), 0);
    EXPECT_EQ(splineGetTypeByName(""), 0);
    EXPECT_EQ(splineGetTypeByName(nullptr), 0);
}

TEST_F(SplineFileTest, ShrinkingRemovesRepeatedPoints) {
    const OwnedSpline spline(splineAllocate());
    spline->type = kSplineBezier;
    spline->keys = splineKeyAllocate(6);
    spline->keyCount = 6;
    spline->keys[2].next.x = 1; // 0 = 1, 2, 3 = 4, 5
    spline->keys[3].position.y = 1;
    spline->keys[4] = spline->keys[3];
    spline->keys[4].constraint = 2; // counts for nothing
    spline->keys[5].previous.z = 1;
    EXPECT_EQ(splineShrinkBezier(spline.get()), 2);
    ASSERT_EQ(spline->keyCount, 4);
    EXPECT_EQ(spline->keys[1].next.x, 1.0F);
    EXPECT_EQ(spline->keys[2].position.y, 1.0F);
    EXPECT_EQ(spline->keys[2].constraint, 0) << "the first of the two stays";
    EXPECT_EQ(spline->keys[3].previous.z, 1.0F);
    EXPECT_EQ(splineShrinkBezier(spline.get()), 0);
    spline->keys[1] = spline->keys[0];
    spline->type = kSplineCardinal;
    EXPECT_EQ(splineShrinkBezier(spline.get()), 0);
    EXPECT_EQ(splineShrinkBezier(nullptr), 0);
    EXPECT_EQ(splineKeyAllocate(0), nullptr);
}

} // namespace
