// SPDX-License-Identifier: MIT
// Spline files, text and binary.
#include "foreign_image/animText.h"
#include "support/memoryFile.h"
#include "tinyFile.h"

#include <algorithm>
#include <cstring>

namespace {

using namespace animtext;

class SplineFileTest : public AnimText {
  protected:
    /// Writes the spline and returns the bytes of the file.
    std::string fileOf(const Spline* spline, int flavour) {
        EXPECT_EQ(splineWriteFile(base_.c_str(), spline, flavour), 1);
        return file_.get();
    }

    /// Reads a file of these bytes.
    OwnedSpline read(std::string_view bytes) {
        file_.set(bytes);
        return OwnedSpline(splineReadFile(base_.c_str()));
    }

    support::TempDir folder_;
    support::MemoryFile file_{folder_, "s.spl"};
    const std::string base_ = folder_ / "s";
};

constexpr const char* kHeader = "SPLN: Niofle v2.60\n\n";

constexpr const char* kBezierBody =
    "\nspline\n{\n"
    "  name       \"a \tpath\"\n  type       BEZIER\n  nbKeys     2\n"
    "  tension    0.500\n  step       -3\n  close\n  phantom\n"
    "  constraint G1\n  segment    LINEAR\n\n"
    "  controlPoints\n  {\n"
    "    [0]  position   1.000  2.500  -3.000\n"
    "         previous   0.000  0.125  12345.678\n"
    "         next       9.000  8.000  7.000\n"
    "         constraint C0\n         segment    CURVE\n         flag    ( SELECTED )\n"
    "    [1]  position   0.000  0.000  0.000\n"
    "         previous   0.000  0.000  0.000\n"
    "         next       0.000  0.000  0.000\n"
    "         constraint --------\n         segment    --------\n"
    "  }\n}\n";

std::string bodyOf(const OwnedSpline& spline, const char* prefix = "") {
    return written([&](std::FILE* f) { EXPECT_EQ(splineWriteAscii(f, spline.get(), prefix), 1); });
}

TEST_F(SplineFileTest, TextFile) {
    const std::string whole = std::string(kHeader) + kBezierBody;
    const OwnedSpline s = read(whole);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(std::vector<int>(
                  {s->phantom, s->close, s->type, s->keyCount, s->step, s->constraint, s->segment}),
              std::vector<int>({1, 1, kSplineBezier, 2, -3, 4, 2}));
    const SplineKey key = {{0, 0.125F, 12345.678F}, {1, 2.5F, -3}, {9, 8, 7}, 1, 1,
                           kSplineKeySelected};
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): exact values, no padding
    EXPECT_EQ(std::memcmp(s->keys, &key, sizeof key), 0);
    EXPECT_EQ(fileOf(s.get(), 0), whole);
    EXPECT_EQ(messages() + notices(), "");
    forEachTruncation(whole.substr(0, whole.size() - 1), 0, [this](const std::string& cut) {
        EXPECT_EQ(read(cut), nullptr) << "cut at " << cut.size();
    });
}

TEST_F(SplineFileTest, OnlyBezierTextHasHandles) {
    const OwnedSpline spline = read(std::string(kHeader) + kBezierBody);
    std::free(std::exchange(spline->name, nullptr));
    spline->keyCount = 1;
    for (spline->type = 0; spline->type < kSplineTypes; ++spline->type) {
        const std::string text = bodyOf(spline, "> ");
        EXPECT_TRUE(text.starts_with("\n> spline\n> {\n>   name       \"\"\n>   type       "s +
                                     SplineTypeName[spline->type]));
        EXPECT_TRUE(text.ends_with(">          flag    ( SELECTED )\n>   }\n> }\n")) << text;
        for (const char* word : {">   constraint ", ">   segment ", "     previous ", "     next ",
                                 "     constraint ", "     segment "}) {
            EXPECT_EQ(text.find(word) != text.npos, spline->type == kSplineBezier) << word << text;
        }
    }
    EXPECT_EQ(splineWriteAscii(stdout, nullptr, ""), 0);
    spline->type = kSplineLinear;
    EXPECT_EQ(read(kHeader + bodyOf(spline))->name, nullptr) << "written as an empty one";
}

TEST_F(SplineFileTest, TextIsReadWordByWord) {
    const struct {
        const char* body;     ///< the text between the braces of the spline
        const char *type, *x; ///< of the points, each followed by a blank
        const char* notices = "";
    } cases[] = {
        {"type CARDINAL nbKeys 1 controlPoints { position 4 5 6 }", "CARDINAL", "4 "},
        {"type BSPLINE\r\nnbKeys 0\r\ncontrolPoints\r\n{\r\n}\r\n", "BSPLINE", ""},
        // Hole is accepted.
        {"hole type BEZIER hole", "BEZIER", ""},
        {"type NURBS", "LINEAR", "", "unknown NURBS 2;"},
        // Unknown words and blocks.
        {"colour 3 knots { position 1 { x } } type BEZIER", "BEZIER", "", "unknown colour 2;"},
        // Fewer points than announced.
        {"nbKeys 30000 controlPoints { [0] position 1 2 3 }", "LINEAR", "1 ", "missing nbKeys 2;"},
        // More points than announced.
        {"nbKeys 1 controlPoints { position 1 0 0 position 2 0 0 position 3 0 0 }", "LINEAR",
         "1 2 3 ", "missing nbKeys 2;"},
        // A count below zero.
        {"nbKeys -1 controlPoints { position 1 0 0 }", "LINEAR", "1 ", "number -1 2;"},
        // An index begins a point.
        {"controlPoints { [0] [1] position 7 0 0 [2] flag ( ODD SELECTED ) }", "LINEAR", "0 7 0 ",
         "unknown ODD 2;"},
        // An index in an unknown block begins none.
        {"extra { [0] 1 [1] 2 } type BEZIER", "BEZIER", "", "unknown extra 2;"},
        // A point begins with any word.
        {"controlPoints { next 1 2 3 segment ODD constraint C1 }", "LINEAR", "0 ",
         "unknown ODD 2;"},
        // Numbers that are none.
        {"controlPoints { position a position 5 b }", "LINEAR", "0 5 ",
         "missing position 2;missing position 2;"},
        // A flag without blanks.
        {"controlPoints { position 1 2 3 flag (ODD SELECTED) } type BEZIER", "BEZIER", "1 ",
         "unknown (ODD 2;"},
        // A flag without brackets.
        {"controlPoints { position 1 2 3 flag SELECTED } type BEZIER", "BEZIER", "1 ",
         "unknown SELECTED 2;"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.body);
        const OwnedSpline spline = read("SPLN: header\nspline { "s + c.body + " }\n");
        ASSERT_NE(spline, nullptr);
        EXPECT_STREQ(SplineTypeName[spline->type], c.type);
        std::ostringstream x;
        std::for_each_n(spline->keys, spline->keyCount,
                        [&x](const SplineKey& key) { x << key.position.x << ' '; });
        EXPECT_EQ(x.str(), c.x);
        EXPECT_EQ(notices(), c.notices);
        const std::string out = fileOf(spline.get(), 0);
        EXPECT_EQ(fileOf(read(out).get(), 0), out) << "written again";
        notices();
    }
}

// --- Binary --------------------------------------------------------------------------------------

const std::string kVector012 = be32(0) + be32(0x3F800000) + be32(0x40000000);

/// One point; the name is "s".
const std::string kBinaryBody = "s\0"s + be32(1) + words({1, 0}) + be32(0x3F000000) +
                                words({8, 4, 2, 1}) + kVector012 + kVector012 + kVector012 +
                                words({5, 1}) + be32(0x10000);
const std::string kOurPrototype =
    "PROT" + words({3, 8, 1, 2, 3, 4, 5, 6, 7, 0, 18, 7, 1, 2, 3, 4, 5, 6, 0, 0});

TEST_F(SplineFileTest, BinaryFile) {
    const std::string whole = kBinaryHeader + kOurPrototype + "SPLN" + kBinaryBody;
    const OwnedSpline s = read(whole);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(std::vector<int>(
                  {s->phantom, s->close, s->type, s->keyCount, s->step, s->constraint, s->segment}),
              std::vector<int>({0, 1, kSplineBezier, 1, 8, 4, 2}));
    EXPECT_EQ(s->keys[0].previous.y, 1.0F);
    EXPECT_EQ(s->keys[0].constraint, 5);
    EXPECT_EQ(s->keys[0].flags, kSplineKeySelected);
    EXPECT_EQ(fileOf(s.get(), 1), whole);
    EXPECT_EQ(messages(), "");
    forEachTruncation(whole, 0, [this](const std::string& cut) {
        EXPECT_EQ(read(cut), nullptr) << "cut at " << cut.size();
    });
    forEachBitFlip(whole, kBinaryHeader.size(), [this](const std::string& flipped, auto byte) {
        if (const OwnedSpline odd = read(flipped); odd != nullptr) {
            EXPECT_LE(odd->keyCount, 1) << byte;
            bodyOf(odd);
        }
    });
    const OwnedSpline withoutPrototype = read(kBinaryHeader + "SPLN" + kBinaryBody);
    ASSERT_NE(withoutPrototype, nullptr) << "our own prototype stands in";
    EXPECT_EQ(fileOf(withoutPrototype.get(), 1), whole);
}

TEST_F(SplineFileTest, ThePrototypeSaysWhichFieldsThereAre) {
    const std::string head = kBinaryHeader + "PROT" +
                             words({3, 5, 7, 9, 1, 0, 2, 18, 3, 2, -5, 0, 0}) + "SPLN" + be16(2) +
                             kVector012 + kVector012 + "ab";
    const OwnedSpline spline = read(head + '\0');
    ASSERT_NE(spline, nullptr);
    EXPECT_EQ(messages(), "Error: tinySpline 412): illegal token: 9\n"
                          "Error: tinySpline 412): illegal token: -5\n");
    EXPECT_STREQ(spline->name, "ab");
    ASSERT_EQ(spline->keyCount, 2);
    EXPECT_EQ(spline->keys[1].position.z, 2.0F);
    EXPECT_EQ(spline->keys[1].next.z, 0.0F);
    EXPECT_EQ(read(head), nullptr) << "a name cut short";

    const OwnedSpline noPoints =
        read(kBinaryHeader + "PROT" + words({3, 2, 7, 0, 18, 1, 0, 0}) + "SPLN" + be16(32767));
    ASSERT_NE(noPoints, nullptr);
    EXPECT_EQ(noPoints->keyCount, 0) << "points without fields take no memory";

    std::int16_t tokens[] = {5, 77, 0};
    Prototype prototype{};
    prototype.lengths[8] = 3;
    prototype.lists[8] = tokens;
    messages();
    EXPECT_EQ(written([&](std::FILE* f) {
                  EXPECT_EQ(splineWriteBinary(f, spline.get(), &prototype), 1);
                  EXPECT_EQ(splineWriteBinary(f, nullptr, &prototype), 0);
              }),
              be16(0));
    EXPECT_EQ(messages(), "Error: tinySpline: 298: illegal token: 77\n");
}

// --- Records -------------------------------------------------------------------------------------

TEST_F(SplineFileTest, TypesByName) {
    for (const auto& [name, type] : {std::pair("CARDINAL", 3),
                                     {"BSPLINE", 2},
                                     {"BEZIER", 1},
                                     {"LINEAR", 0},
                                     {"bezier", 0},
                                     {"", 0}}) {
        EXPECT_EQ(splineGetTypeByName(name), type);
    }
    EXPECT_EQ(splineGetTypeByName(nullptr), kSplineLinear);
}

TEST_F(SplineFileTest, ShrinkingRemovesRepeatedPoints) {
    const SplineKey keys[] = {{},
                              {{}, {}, {1, 0, 0}, 0, 0, 0},
                              {{}, {0, 1, 0}, {}, 0, 0, 0},
                              {{0, 0, 1}, {}, {}, 0, 0, 0}};
    const OwnedSpline spline(splineAllocate());
    spline->type = kSplineBezier;
    spline->keys = splineKeyAllocate(6);
    for (const int key : {0, 0, 1, 2, 2, 3}) {
        spline->keys[spline->keyCount++] = keys[key];
    }
    spline->keys[4].constraint = 2; // has no effect, and the first of the two stays
    EXPECT_EQ(splineShrinkBezier(spline.get()), 2);
    ASSERT_EQ(spline->keyCount, 4);
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison): exact values, no padding
    EXPECT_EQ(std::memcmp(spline->keys, keys, sizeof keys), 0);
    EXPECT_EQ(splineShrinkBezier(spline.get()), 0);
    spline->keys[1] = spline->keys[0];
    spline->type = kSplineCardinal;
    EXPECT_EQ(splineShrinkBezier(spline.get()), 0);
    EXPECT_EQ(splineShrinkBezier(nullptr), 0);
    EXPECT_EQ(splineKeyAllocate(0), nullptr);
}

} // namespace
