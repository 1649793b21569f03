// SPDX-License-Identifier: MIT
// Records built at random through the public calls, written, read and compared member by member:
// scenes with paths, splines and hierarchies in both flavours. Also the members that a format
// cannot hold.
#include "animText.h"
#include "support/commaLocale.h"
#include "textFiles.h"
#include "tinyFile.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <type_traits>

namespace {

using namespace animtext;
using namespace textfiles;

/// Every member of a record, for filling it at random and for describing it: numbers, codes up to a
/// highest one, names.
void visit(auto& v, FcvKey& k) {
    v.numbers(k.time, k.value, k.rightSlope, k.leftSlope);
    v.codes(9, k.flag, k.splineIndex);
    v.codes(2, k.interpolation);
    v.codes(3, k.keyType);
}
void visit(auto& v, Fcurve& c) {
    v.codes(184, c.type);
    v.codes(3, c.preExtrapolation);
    v.codes(2, c.postExtrapolation, c.interpolation, c.keyCount);
    v.codes(9, c.flags);
}
void visit(auto& v, SplineKey& k) {
    v.vectors(k.previous, k.position, k.next);
    v.codes(5, k.constraint);
    v.codes(2, k.segment);
    v.codes(1, k.flags);
}
void visit(auto& v, Spline& s, bool scene) {
    v.name(s.name);
    v.codes(1, s.phantom, s.close);
    v.codes(3, s.type, s.keyCount);
    v.numbers(s.tension);
    v.codes(9, s.step);
    v.codes(5, s.constraint);
    v.codes(2, s.segment);
    if (scene) {
        v.codes(1, s.display);
        v.codes(500, s.wireColour);
        v.codes(9, s.lineType);
        v.codes(3, s.selection);
    }
}
void visit(auto& v, Model& m, bool scene) {
    v.name(m.name);
    v.numbers(m.scaling[0], m.scaling[1], m.scaling[2]);
    v.angles(m.rotation[0], m.rotation[1], m.rotation[2]);
    v.vectors(m.translation.fixed);
    if (scene) {
        v.codes(1, m.hidden, m.boundingBox);
        v.codes(500, m.wireColour);
        v.codes(9, m.lineType);
        v.codes(3, m.selection);
        v.codes(5, m.algorithm);
        v.codes(2, m.shapeInterpolation);
    }
}

constexpr float kDegrees = 57.2957795F; ///< in a radian

/// Records with random members, and numbers that all formats can print.
class Random {
  public:
    explicit Random(unsigned seed) : engine_(seed) {}

    int upTo(int most) { return static_cast<int>(engine_() % (static_cast<unsigned>(most) + 1)); }
    float number() { return static_cast<float>(upTo(4000) - 2000) / 8; }
    void codes(int most, auto&... members) {
        ((members = static_cast<std::decay_t<decltype(members)>>(upTo(most))), ...);
    }
    void numbers(auto&... members) { ((members = number()), ...); }
    void angles(auto&... members) { ((members = number() / kDegrees), ...); }
    void vectors(auto&... members) { (numbers(members.x, members.y, members.z), ...); }
    void name(char*& member) { member = strdup(("n" + std::to_string(upTo(99))).c_str()); }

    Fcurve* curve() {
        Fcurve* c = fcurveAllocate();
        visit(*this, *c);
        c->keys = fcvkeyAllocate(c->keyCount);
        for (std::int16_t i = 0; i < c->keyCount; ++i) {
            FcvKey& key = c->keys[i];
            visit(*this, key);
            key.time = i;
            key.splineIndex = key.keyType == kKeyKeypath ? key.splineIndex : std::int16_t{-1};
        }
        return c;
    }
    /// With `lossless` a spline that every format can hold, without the members of scenes.
    Spline* spline(bool lossless) {
        Spline* s = splineAllocate();
        visit(*this, *s, !lossless);
        s->keys = splineKeyAllocate(s->keyCount);
        std::for_each_n(s->keys, s->keyCount, [&](SplineKey& key) {
            visit(*this, key);
            key.flags *= kSplineKeySelected;
        });
        if (lossless && s->type != kSplineBezier) {
            s->constraint = s->segment = 0;
            std::for_each_n(s->keys, s->keyCount,
                            [](SplineKey& key) { key = {{}, key.position, {}, 0, 0, key.flags}; });
        }
        s->display *= 7; // none of the three members, or all
        if (s->display == 0) {
            s->wireColour = s->lineType = s->selection = 0;
        }
        return s;
    }
    Model* node(bool scene) {
        Model* m = modelAllocate();
        visit(*this, *m, scene);
        if (scene && upTo(1) == 1) {
            m->translation.fixed = {};
            m->translation.path = spline(false);
            m->curves[kModelTranslationPath] = upTo(1) == 1 ? curve() : nullptr;
        }
        if (scene && upTo(2) == 0) {
            m->curves[kModelAlgorithm] = curve();
            m->algorithm = 0;
        }
        if (!scene) {
            m->splineCount = upTo(2);
            m->splines = static_cast<Spline**>(std::malloc(2 * sizeof(void*)));
            std::generate_n(m->splines, m->splineCount, [this] { return spline(true); });
        }
        return m;
    }
    Model* tree(bool scene) {
        std::vector<Model*> nodes = {node(scene)};
        for (int i = upTo(4); i > 0; --i) {
            Model* child = node(scene);
            EXPECT_EQ(modelCreateParentship(nodes[engine_() % nodes.size()], child), 1);
            nodes.push_back(child);
        }
        return nodes.front();
    }

  private:
    std::mt19937 engine_;
};

/// All members of records as text.
class Description {
  public:
    void codes(int /*most*/, const auto&... members) { ((out_ << members << ' '), ...); }
    void numbers(const auto&... members) { codes(0, members...); }
    void angles(const auto&... members) {
        codes(0, std::lround(static_cast<double>(members * kDegrees) * 1000)...);
    }
    void vectors(const auto&... members) { (codes(0, members.x, members.y, members.z), ...); }
    void name(const char* member) { out_ << '\n' << (member != nullptr ? member : "-") << ' '; }

    void curve(Fcurve* c) {
        if (c != nullptr) {
            visit(*this, *c);
            std::for_each_n(c->keys, c->keyCount, [this](FcvKey& key) { visit(*this, key); });
        }
        out_ << '|';
    }
    void spline(Spline* s, bool scene) {
        if (s != nullptr) {
            visit(*this, *s, scene);
            std::for_each_n(s->keys, s->keyCount, [this](SplineKey& key) { visit(*this, key); });
        }
        out_ << '|';
    }
    void tree(Model* root, bool scene) {
        for (Model* m = root; m != nullptr; m = modelNextNode(m)) {
            visit(*this, *m, scene);
            name(m->parent != nullptr ? m->parent->name : nullptr);
            std::for_each_n(m->splines, m->splineCount, [this](Spline* s) { spline(s, false); });
            spline(m->translation.path, true);
            std::ranges::for_each(m->curves, [this](Fcurve* c) { curve(c); });
        }
    }
    [[nodiscard]] std::string all() const { return out_.str(); }

  private:
    std::ostringstream out_;
};

class RoundTrip : public AnimText {
  protected:
    support::TempDir dir;
    std::string base = dir / "r";

    OwnedScene fresh() const {
        OwnedScene scene(sceneAllocate());
        scene->name = strdup(base.c_str());
        return scene;
    }
    static std::string describe(Spline* spline, Model* tree, bool scene) {
        Description all;
        all.spline(spline, scene);
        all.tree(tree, scene);
        return all.all();
    }

    /// True when what has been reported since the last call holds no loss.
    bool lossless() { return notices().find("dropped") == std::string::npos; }
};

TEST_F(RoundTrip, ScenesWithPaths) {
    for (unsigned seed = 0; seed < 200 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        Model* const tree = random.tree(true);
        Spline* const spline = random.spline(false);
        const OwnedScene scene = fresh();
        sceneAppendHierarchy(scene.get(), tree);
        sceneAppendSpline(scene.get(), spline);
        ASSERT_EQ(sceneWriteAsciiAnimation("x", 2.6F, scene.get()), 1);
        EXPECT_TRUE(lossless());
        const OwnedScene again = fresh();
        ASSERT_EQ(sceneReadAsciiAnimation(again.get()), 1);
        EXPECT_EQ(notices(), "");
        EXPECT_EQ(describe(again->splines->spline, again->hierarchies->root, true),
                  describe(spline, tree, true));
    }
}

TEST_F(RoundTrip, SplinesAndTreesInBothFlavours) {
    for (unsigned seed = 0; seed < 400 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        const int flavour = static_cast<int>(seed % 2);
        Random random(seed);
        const OwnedSpline spline(random.spline(true));
        const Tree tree(random.tree(false));
        ASSERT_EQ(splineWriteFile(base.c_str(), spline.get(), flavour), 1);
        ASSERT_EQ(modelWriteFile(base.c_str(), tree.get(), flavour), 1);
        EXPECT_TRUE(lossless());
        const OwnedSpline splineAgain(splineReadFile(base.c_str()));
        const Tree treeAgain(modelReadFile(base.c_str()));
        EXPECT_EQ(describe(splineAgain.get(), treeAgain.get(), false),
                  describe(spline.get(), tree.get(), false));
        EXPECT_EQ(notices(), "");
    }
}

TEST_F(RoundTrip, WhatAFormCannotHoldIsReported) {
    Random random(1);
    const OwnedSpline spline(random.spline(false));
    spline->type = kSplineLinear;
    spline->keyCount = 1;
    std::free(std::exchange(spline->keys, splineKeyAllocate(1)));
    spline->keys[0] = {{1, 0, 0}, {}, {0, 0, 1}, 2, 1, 1};
    spline->constraint = 1;
    ASSERT_EQ(splineWriteFile(base.c_str(), spline.get(), 0), 1);
    const std::string said = notices();
    for (const char* word : {"previous", "next", "constraint", "segment", "flag"}) {
        EXPECT_NE(said.find("dropped "s + word), std::string::npos) << word << said;
    }
    ASSERT_EQ(splineWriteFile(base.c_str(), spline.get(), 1), 1);
    EXPECT_TRUE(lossless()) << "the binary flavour has room";

    const Tree tree(random.tree(true));
    for (const int flavour : {0, 1}) {
        notices();
        ASSERT_EQ(modelWriteFile(base.c_str(), tree.get(), flavour), 1);
        EXPECT_EQ(notices().find("by format WIRE_COLOUR") != std::string::npos, flavour == 0);
    }

    const OwnedScene scene = fresh();
    scene->rendering.type = 9;
    scene->rendering.antialias = 7;
    scene->rendering.picture.set = 1;
    scene->rendering.picture.format = 99;
    scene->camera.depthOfField = 3;
    scene->camera.enlarge = 2;
    Fcurve* curve = scene->camera.curves[kCameraNear] = random.curve();
    curve->type = 999;
    std::free(std::exchange(curve->keys, fcvkeyAllocate(1)));
    curve->keyCount = 1;
    curve->keys[0].interpolation = 9;
    notices();
    ASSERT_EQ(sceneWriteAsciiAnimation("x", 2.6F, scene.get()), 1);
    EXPECT_EQ(notices(), "dropped RENDERING_TYPE 0;dropped FORMAT_TYPE 0;dropped ANTIALIAS 0;"
                         "dropped CURVE_TYPE 0;dropped INTERPOLATION 0;"
                         "dropped DEPTH_OF_FIELD 0;dropped ENLARGE 0;");

    const OwnedScene hidden = fresh(); // members whose mode, mark or bit is not set
    hidden->rendering.antialiasLevel = 5;
    hidden->rendering.picture.width = 100;
    Spline* inScene = splineAllocate();
    inScene->wireColour = 7;
    sceneAppendSpline(hidden.get(), inScene);
    ASSERT_EQ(sceneWriteAsciiAnimation("x", 2.6F, hidden.get()), 1);
    EXPECT_EQ(notices(), "dropped ANTIALIAS 0;dropped PICTURE 0;dropped WIRE_COLOUR 0;");
    ASSERT_EQ(splineWriteFile(base.c_str(), inScene, 0), 1);
    EXPECT_EQ(notices(), "by format WIRE_COLOUR 0;");

    for (const std::string& tag : {"AB\0\0"s, "a\"bc"s}) {
        const Tree node(modelAllocate());
        node->userData = static_cast<UserData*>(std::calloc(1, sizeof(UserData)));
        tag.copy(node->userData->tag, 4);
        ASSERT_EQ(modelWriteFile(base.c_str(), node.get(), 0), 1);
        const Tree again(modelReadFile(base.c_str()));
        EXPECT_EQ(std::string(again->userData->tag, 4), tag[0] == 'a' ? "a'bc" : tag);
        EXPECT_EQ(notices(), tag[0] == 'a' ? "dropped userData 0;" : "");
    }
}

TEST_F(RoundTrip, WhatAFileHoldsBesidesIsReported) {
    const std::string splineHead = kBinaryHeader + "SPLN";
    const std::string binarySpline = "\0\0\0\0\0"s + std::string(4 + 4 + 2 + 4, '\0');
    const std::string shape = "SSCN\nx v2.60\nHIERARCHY MODEL 'a' '' SHAPE SHAPE_NAME 's' ";
    const struct {
        const char* ending;
        std::string bytes;
        bool read;
        const char* notices;
    } cases[] = {
        {".hrc", "HRCH: x\n\nmodel { }\nmodel { }", true, "surplus model 4;"},
        {".spl", "SPLN: x\n\nspline { }\nspline { }", true, "surplus spline 4;"},
        // Bytes behind a spline.
        {".spl", splineHead + binarySpline + "\0\0xyz"s, true, "surplus  0;"},
        // Too many points.
        {".spl", splineHead + binarySpline + "\x80\1"s + std::string(std::size_t{32769} * 44, '\0'),
         true, "cut  0;"},
        // Too many points in text.
        {".spl", "SPLN: x\nspline { controlPoints {" + repeated(32769, " position 1 2 3") + " } }",
         true, "cut position 2;"},
        // An old Mac's spline.
        {".spl", "SPLN: x\r\rspline { }", false, "line ends old Mac line ends 1;failed  1;"},
        // An old Mac's scene.
        {".scn", "SSCN \rx v2.60 \r\rRATE 9 \r", false, "line ends old Mac line ends 1;failed  1;"},
        // A DOS scene.
        {".scn", "SSCN \r\nx v2.60 \r\n\r\nFOO \r\nBAR \r\nRATE 9 \r\n", true,
         "line ends DOS line ends 1;"},
        // A version by chance.
        {".scn", "SSCN\nx v2.60 saved by Ivan\nRATE 9\n", true, "version 0 2;"},
        {".scn", "SSCN\nx v2.60\nFRAME 1 40000 1 1\nFILTER 70000\nRATE thirty\n", true,
         "number 40000 3;number 70000 4;number thirty 5;"},
        {".scn",
         "SSCN\nx v2.60\nFADE_START CURVE_TYPE FAD_START\nKEYS 3 TIME 1 KEYTYPE RAWDATA\nRATE 9\n",
         true, "missing KEYS 4;"},
        // The index of a key that is on no path, reported by the reader and by the writer.
        {".scn",
         "SSCN\nx v2.60\nFADE_START CURVE_TYPE FAD_START KEYS 2 SPLINE_INDEX 3 KEYTYPE RAWDATA\n"
         "SPLINE_INDEX 4 KEYTYPE KEYPATH\n",
         true, "dropped SPLINE_INDEX 3;dropped SPLINE_INDEX 0;"},
        // A long header with DOS line ends.
        {".scn", "SSCN\n" + std::string(300, 'x') + " v2.60\r\nFOO\r\n", true,
         "line ends DOS line ends 2;"},
        {".scn", "SSCN\nx v2.60\nRAET 9 one two three\nRATE 9\n", true, "unknown RAET 3;"},
        // A light without a type.
        {".scn", "SSCN\nx v2.60\nLIGHT LIGHT_NAME 'a' ", true, "dropped LIGHT_TYPE 0;"},
        // More weights than announced.
        {".scn", shape + "INTERP_FCURVE 5 WEIGHT_FCURVES x CURVE_TYPE SWEIGHT ", true,
         "by format INTERP_FCURVE 3;number x 3;kept CURVE_TYPE 3;"},
        // A path's model without NAME.
        {".scn",
         "SSCN\nx v2.60\nCAMERA POSITION PATH_MODEL CURVE_TYPE CAM_POS KEYS 0 'shore line' ROLL 3 ",
         true, "unknown 'shore 3;"},
        // Positions without names.
        {".scn",
         "SSCN\nx v2.60\nCAMERA POSITION PATH_MODEL CURVE_TYPE CAM_POS KEYS 0 NAME '' INTEREST "
         "CONSTRAINT 2 '' NEAR 1 ",
         true, "dropped CURVE_TYPE 0;dropped CONSTRAINT 0;"},
        // Repeated words.
        {".scn",
         "SSCN\nx v2.60\nHIERARCHY MODEL 'a' '' HIDDEN 1 HIDDEN 2 MODEL 'b' 'a' HIDDEN 1 SPLINE "
         "LINEAR STEP 1 STEP 2 POINTS 1 POSITION 1 2 3 FLAG 1 FLAG 1\nFADE_START CURVE_TYPE "
         "CAM_FOV FLAGS 1 FLAGS 2 KEYS 1 TIME 1 TIME 2 KEYTYPE FREEFORM ",
         true, "dropped HIDDEN 3;dropped STEP 3;dropped FLAG 3;dropped FLAGS 4;dropped TIME 4;"},
        {".hrc",
         "HRCH: x\n\nmodel { name \"a\" name \"b\" mesh 1 mesh 2 spline { type BEZIER step 1 step "
         "2 "
         "controlPoints { position 1 2 3 position 1 2 3 next 1 2 3 next 1 2 3 } } model { name "
         "\"c\" } }",
         true, "dropped name 3;dropped step 3;dropped next 3;"},
        // A word that begins with a zero byte.
        {".scn", "SSCN\nx v2.60\n\0abc\nPAUSE x\n"s, true, "cut  3;unknown  3;number x 4;"},
        // A parent with another name.
        {".scn", "SSCN\nx v2.60\nHIERARCHY MODEL 'a' '' MODEL 'b' 'x' 0 HIDDEN 1 ", true,
         "dropped x 3;"},
        // A name without quotes.
        {".spl", "SPLN: x\nspline { name flight type BEZIER }", true, "missing name 2;"},
        // A name and a tag without quotes.
        {".hrc",
         "HRCH: x\n\nmodel { spline { name flight } userData size 1 { 01 } model { name \"\" } }",
         true, "missing name 3;missing userData 3;kept size 3;"},
        // A second block of bytes.
        {".hrc", "HRCH: x\n\nmodel { userData \"ABCD\" size 1 { 01 size 2 { 03 04 } }", true,
         "dropped size 3;dropped { 3;"},
        // A long name and an unknown type.
        {".spl", splineHead + std::string(300, 'n') + "\0\0\0\0M\0\2"s + std::string(14, '\0'),
         true, "cut  0;dropped type 0;dropped close 0;"},
        // Unknown codes of a Bezier spline.
        {".spl", splineHead + "n\0\0\0\0\1"s + std::string(10, '\0') + "\0\11\0\11\0\0"s, true,
         "dropped constraint 0;dropped segment 0;"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.bytes.substr(0, 100));
        dir.write("r"s + test.ending, test.bytes);
        const auto* const kind = std::ranges::find(kKinds, test.ending, &Kind::ending);
        EXPECT_EQ(kind->pass(base, base), test.read) << "read, and written";
        EXPECT_EQ(notices(), test.notices);
    }
}

TEST_F(RoundTrip, SamplesAreFixedPointsInEveryLocale) {
    const support::CommaLocale comma;
    for (const Kind& kind : kKinds) {
        EXPECT_TRUE(kind.pass(kind.sample, base));
        EXPECT_EQ(notices(), "");
        EXPECT_EQ(contentOf(base + kind.ending), contentOf(kind.sample + kind.ending));
    }
    std::string detail;
    animSetObserver(
        [](void* to, const AnimNotice& n) { *static_cast<std::string*>(to) = n.detail; }, &detail);
    written([](std::FILE* f) { valueWriteAsciiAnimation(f, 0.1234567F, nullptr); });
    EXPECT_EQ(detail, "0.123456702");
    animSetObserver(nullptr, nullptr);
    messages();
    dir.write("r.scn", "SSCN v2.75 ");
    EXPECT_TRUE(passScene(base, ""));
    EXPECT_NE(messages().find("version 2.75 is later than the dkit release version 2.6\n"),
              std::string::npos);
    const std::string head = "\x53\x80\xF6\x34\x40\x2C\xCC\xCD"s + std::string(80, '\0') + "PICT";
    EXPECT_NE(headerReadBinary(testbytes::streamOf(head).get(), nullptr, nullptr), 0U);
    EXPECT_NE(messages().find("version 2.7 is later than DKit release version 2.6\n"),
              std::string::npos);
}

TEST_F(RoundTrip, DamagedSamplesReadBackAsTheyAreWritten) {
    option.level = 0;
    std::mt19937 random(1);
    for (const Kind& kind : kKinds) {
        const std::string whole = contentOf(kind.sample + kind.ending);
        const auto expectFixed = [&](const std::string& damaged) {
            dir.write("r" + kind.ending, damaged);
            const std::string once =
                kind.pass(base, dir / "once") ? contentOf(dir / "once" + kind.ending) : "";
            // A light without a type is written without its word: the next word is read in its
            // place.
            if (!once.empty() && once.find("LIGHT_TYPE \n") == once.npos) {
                EXPECT_TRUE(kind.pass(dir / "once", dir / "twice"));
                EXPECT_EQ(contentOf(dir / "twice" + kind.ending), once) << "from " << damaged;
            }
        };
        for (std::size_t round = 0; round < 400; round += kStep) {
            expectFixed(whole.substr(0, whole.size() * round / 400));
            std::string damaged = whole;
            for (auto bytes = random() % 9; bytes > 0; --bytes) {
                damaged[random() % damaged.size()] = static_cast<char>(random());
            }
            expectFixed(damaged);
        }
        notices();
    }
}

TEST_F(RoundTrip, WhatIsNoFileOfItsKindIsRefused) {
    const OwnedSpline spline(splineAllocate());
    const Tree tree(Random(1).node(false));
    const auto saysWhy = [&] { return notices().find("failed ") != ""s.npos && messages() != ""; };
    for (const Kind& kind : kKinds) {
        SCOPED_TRACE(kind.ending);
        for (const std::string& bytes :
             {""s, "SPL"s, "PICT: Niofle v2.60\n\nspline { }"s, "SPLN: x\n"s,
              "SPLN: x\n\nmodel { }"s, "HRCH: x\n\nspline { }"s, kBinaryHeader + "BEZR",
              kBinaryHeader + "PROT\0\0BEZR"s, kBinaryHeader + "PROT\0\0"s}) {
            dir.write("r" + kind.ending, bytes);
            EXPECT_FALSE(kind.pass(base, "")) << bytes;
            EXPECT_TRUE(saysWhy());
        }
        EXPECT_FALSE(kind.pass(dir / "absent", ""));
        EXPECT_TRUE(saysWhy());
        EXPECT_FALSE(kind.pass(kind.sample, dir / "absent/r"));
        EXPECT_TRUE(saysWhy());
        std::filesystem::create_symlink("/dev/full", dir / "full" + kind.ending);
        EXPECT_FALSE(kind.pass(kind.sample, dir / "full"));
    }
    for (const int flavour : {-1, 1, 2}) { // a binary file needs room too
        EXPECT_EQ(splineWriteFile((dir / "full").c_str(), spline.get(), flavour), 0);
        EXPECT_EQ(modelWriteFile((dir / "full").c_str(), tree.get(), flavour), 0);
    }
    EXPECT_EQ(splineWriteFile(base.c_str(), nullptr, 0) + modelWriteFile(base.c_str(), nullptr, 0),
              0);
    EXPECT_TRUE(splineReadFile(nullptr) == nullptr && modelReadFile(nullptr) == nullptr);
    EXPECT_EQ(contentOf(base + ".spl"), kBinaryHeader + "PROT\0\0"s) << "no file is touched";
}

TEST_F(RoundTrip, AReadErrorIsNotAnEndOfFile) {
    for (const Kind& kind : kKinds) {
        std::filesystem::create_directory(base + kind.ending);
        EXPECT_FALSE(kind.pass(base, ""));
        EXPECT_EQ(notices(), "failed  1;");
        EXPECT_EQ(messages(),
                  "Unable to read file '" + base + kind.ending + "': Is a directory.\n");
    }
}

TEST_F(RoundTrip, WhatCannotBeWrittenTouchesNoFile) {
    OwnedScene scene = fresh();
    scene->camera.curves[0] = Random(3).curve();
    scene->camera.curves[0]->keyCount = 1;
    std::free(std::exchange(scene->camera.curves[0]->keys, fcvkeyAllocate(1)));
    EXPECT_EQ(sceneWriteAsciiAnimation("x", 2.02F, scene.get()), 0) << "keys would end at FLAG";
    EXPECT_EQ(sceneWriteAsciiAnimation("x\ny", 2.6F, scene.get()), 0);
    EXPECT_EQ(sceneWriteAsciiAnimation("x", NAN, scene.get()), 0);
    EXPECT_EQ(sceneWriteAsciiAnimation("x", INFINITY, scene.get()), 0);
    const std::string longest(233, 'x'); // with its version, 239 characters
    EXPECT_EQ(sceneWriteAsciiAnimation((longest + "x").c_str(), 2.6F, scene.get()), 0);
    const Tree wide(Random(4).node(false));
    for (std::size_t i = 0; i < 65536; ++i) {
        Model* child = modelAllocate();
        child->next = wide->child;
        child->parent = wide.get();
        wide->child = child;
    }
    EXPECT_EQ(modelWriteFile(base.c_str(), wide.get(), 1), 0) << "counts are 16 bits";
    EXPECT_FALSE(std::filesystem::exists(base + ".scn") || std::filesystem::exists(base + ".hrc"));
    EXPECT_EQ(notices(), "failed  0;failed  0;failed  0;failed  0;failed  0;failed  0;");
    for (const char* text : {"mesh }", "mesh {", "mesh \"", "mesh { } name", "name \"x\""}) {
        const Tree node(modelAllocate());
        node->contents = static_cast<Opaque*>(std::calloc(1, sizeof(Opaque)));
        node->contents->text = strdup(text);
        EXPECT_EQ(modelWriteFile(base.c_str(), node.get(), 0), 0) << "ends elsewhere: " << text;
    }
    notices();
    EXPECT_EQ(sceneWriteAsciiAnimation(longest.c_str(), 2.03F, scene.get()), 1);
}

} // namespace
