// SPDX-License-Identifier: MIT
// Records built at random through the public calls, written, read and compared member by member:
// scenes with paths, splines and hierarchies in both flavours. Also the members that a format
// cannot hold.
#include "animText.h"
#include "support/tempDir.h"
#include "tinyFile.h"
#include "tinyScene.h"

#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <random>
#include <vector>

namespace {

using namespace animtext;

/// All members of a record as text.
class Description {
  public:
    template <typename... Values>
    void add(const char* what, const Values&... values) {
        out_ << what;
        ((out_ << ' ' << values), ...);
        out_ << '\n';
    }
    void add(const char* what, const Vector& v) { add(what, v.x, v.y, v.z); }
    void text(const char* what, const char* value) { add(what, value != nullptr ? value : "-"); }

    void curve(const Fcurve* c) {
        if (c == nullptr) {
            return add("no curve");
        }
        add("curve", c->type, c->keyCount, c->preExtrapolation, c->postExtrapolation, c->flags,
            c->interpolation);
        for (const FcvKey* k = c->keys; k != c->keys + c->keyCount; ++k) {
            add("key", k->time, k->value, k->rightSlope, k->leftSlope, k->flag, k->interpolation,
                k->keyType, k->splineIndex);
        }
    }
    void spline(const Spline* s, bool sceneMembers) {
        if (s == nullptr) {
            return add("no spline");
        }
        text("spline", s->name);
        add("of", s->phantom, s->close, s->type, s->keyCount, s->tension, s->step, s->constraint,
            s->segment);
        if (sceneMembers) {
            add("display", s->display, s->wireColour, s->lineType, s->selection);
        }
        for (const SplineKey* k = s->keys; k != s->keys + s->keyCount; ++k) {
            add("previous", k->previous);
            add("position", k->position);
            add("next", k->next);
            add("point", k->constraint, k->segment, k->flags);
        }
    }
    void node(const Model* m, bool scene) {
        text("node", m->name);
        text("parent", m->parent != nullptr ? m->parent->name : nullptr);
        add("scaling", m->scaling[0], m->scaling[1], m->scaling[2]);
        for (const float angle : m->rotation) {
            add("degrees", std::lround(static_cast<double>(angle) * 57.2957795 * 1000));
        }
        add("fixed", m->translation.fixed);
        add("numbers", m->hidden, m->wireColour, m->lineType, m->selection);
        if (!scene) {
            for (std::int32_t i = 0; i < m->splineCount; ++i) {
                spline(m->splines[i], false);
            }
            return;
        }
        add("scene's", m->boundingBox, m->algorithm, m->shapeInterpolation);
        spline(m->translation.path, true);
        for (const Fcurve* c : m->curves) {
            curve(c);
        }
    }
    void tree(const Model* root, bool scene) {
        for (const Model* m = root; m != nullptr; m = modelNextNode(m)) {
            node(m, scene);
        }
    }
    [[nodiscard]] std::string all() const { return out_.str(); }

  private:
    std::ostringstream out_;
};

/// Records with random members, and numbers that all formats can print.
class Random {
  public:
    explicit Random(unsigned seed) : engine_(seed) {}

    int upTo(int most) { return static_cast<int>(engine_() % (static_cast<unsigned>(most) + 1)); }
    std::int16_t code(int most) { return static_cast<std::int16_t>(upTo(most)); }
    float number() { return static_cast<float>(upTo(4000) - 2000) / 8; }
    Vector vector() { return {number(), number(), number()}; }
    char* name() { return strdup(("n" + std::to_string(upTo(99))).c_str()); }

    Fcurve* curve() {
        Fcurve* c = fcurveAllocate();
        *c = {code(184), nullptr, code(3), code(2), code(2), code(9), code(2), 0, nullptr};
        c->keys = fcvkeyAllocate(c->keyCount);
        for (int i = 0; i < c->keyCount; ++i) {
            const bool onPath = upTo(1) == 1;
            c->keys[i] = {static_cast<float>(i),
                          number(),
                          number(),
                          number(),
                          code(9),
                          code(2),
                          static_cast<std::int16_t>(onPath ? kKeyKeypath : kKeyKeyframe),
                          onPath ? code(9) : std::int16_t{-1}};
        }
        return c;
    }
    /// With `lossless` a spline that every format can hold, without the members of scenes.
    Spline* spline(bool lossless) {
        Spline* s = splineAllocate();
        s->name = name();
        s->type = upTo(3);
        const bool bezier = s->type == kSplineBezier || !lossless;
        s->keyCount = code(3);
        s->keys = splineKeyAllocate(s->keyCount);
        s->tension = number();
        s->step = code(9);
        s->close = code(1);
        s->phantom = code(1);
        s->constraint = bezier ? code(5) : std::int16_t{0};
        s->segment = bezier ? code(2) : std::int16_t{0};
        for (int i = 0; i < s->keyCount; ++i) {
            const Vector position = vector();
            s->keys[i] = bezier ? SplineKey{vector(), position, vector(), code(5), code(2), 0}
                                : SplineKey{{}, position, {}, 0, 0, 0};
            s->keys[i].flags = upTo(1) == 1 ? kSplineKeySelected : 0;
        }
        if (!lossless && upTo(1) == 1) {
            s->display = kSplineHasWireColour | kSplineHasLineType | kSplineHasSelection;
            s->wireColour = code(500);
            s->lineType = code(9);
            s->selection = code(3);
        }
        return s;
    }
    Model* node(bool scene) {
        Model* m = modelAllocate();
        m->name = name();
        for (int i = 0; i < 3; ++i) {
            m->scaling[i] = number();
            m->rotation[i] = number() / 57.2957795F;
        }
        m->translation.fixed = vector();
        if (scene) {
            addSceneMembers(m);
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
        if (!scene) {
            nodes.back()->splines = static_cast<Spline**>(std::malloc(sizeof(Spline*)));
            nodes.back()->splines[0] = spline(true);
            nodes.back()->splineCount = 1;
        }
        return nodes.front();
    }

  private:
    void addSceneMembers(Model* m) {
        m->hidden = code(1);
        m->wireColour = code(500);
        m->lineType = code(9);
        m->selection = code(3);
        m->boundingBox = code(1);
        m->algorithm = code(5);
        m->shapeInterpolation = code(2);
        if (upTo(1) == 1) {
            m->translation.fixed = {};
            m->translation.path = spline(false);
            m->curves[kModelTranslationPath] = upTo(1) == 1 ? curve() : nullptr;
        }
        if (upTo(2) == 0) {
            m->curves[kModelAlgorithm] = curve();
            m->algorithm = 0;
        }
    }

    std::mt19937 engine_;
};

using OwnedScene = Owned<Scene, sceneDispose>;
using Tree = Owned<Model, modelDispose>;

class RoundTrip : public AnimText {
  protected:
    support::TempDir dir;
    std::string base = dir / "r";

    OwnedScene fresh() const {
        OwnedScene scene(sceneAllocate());
        scene->name = strdup(base.c_str());
        return scene;
    }
    static std::string describe(const std::function<void(Description&)>& add) {
        Description all;
        add(all);
        return all.all();
    }
    static std::string describe(const Scene* scene) {
        return describe([scene](Description& all) {
            for (const SceneHierarchy* t = scene->hierarchies; t != nullptr; t = t->next) {
                all.tree(t->root, true);
            }
            for (const SceneSpline* s = scene->splines; s != nullptr; s = s->next) {
                all.spline(s->spline, true);
            }
        });
    }
    static std::string describe(const Spline* spline) {
        return describe([spline](Description& all) { all.spline(spline, false); });
    }
    static std::string describe(const Model* tree) {
        return describe([tree](Description& all) { all.tree(tree, false); });
    }

    /// True when what has been reported since the last call holds no loss.
    bool lossless() { return notices().find("dropped") == std::string::npos; }
};

TEST_F(RoundTrip, ScenesWithPaths) {
    for (unsigned seed = 0; seed < 200 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        OwnedScene scene = fresh();
        sceneAppendHierarchy(scene.get(), random.tree(true));
        sceneAppendSpline(scene.get(), random.spline(false));
        ASSERT_EQ(sceneWriteAsciiAnimation("x", 2.6F, scene.get()), 1);
        EXPECT_TRUE(lossless());
        OwnedScene again = fresh();
        ASSERT_EQ(sceneReadAsciiAnimation(again.get()), 1);
        EXPECT_EQ(notices(), "");
        EXPECT_EQ(describe(again.get()), describe(scene.get()));
    }
}

TEST_F(RoundTrip, SplinesAndTreesInBothFlavours) {
    for (unsigned seed = 0; seed < 400 && !HasFailure(); ++seed) {
        SCOPED_TRACE(seed);
        const int flavour = static_cast<int>(seed % 2);
        Random random(seed);
        const OwnedSpline spline(random.spline(true));
        ASSERT_EQ(splineWriteFile(base.c_str(), spline.get(), flavour), 1);
        const OwnedSpline splineAgain(splineReadFile(base.c_str()));
        ASSERT_NE(splineAgain, nullptr);
        EXPECT_EQ(describe(splineAgain.get()), describe(spline.get()));
        const Tree tree(random.tree(false));
        ASSERT_EQ(modelWriteFile(base.c_str(), tree.get(), flavour), 1);
        const Tree treeAgain(modelReadFile(base.c_str()));
        ASSERT_NE(treeAgain, nullptr);
        EXPECT_EQ(describe(treeAgain.get()), describe(tree.get()));
        EXPECT_TRUE(lossless());
    }
}

/// The expected reports of a writer or reader.
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
}

struct FileCase {
    const char* name;
    const char* ending;
    std::string bytes;
    bool read;
    const char* notices;
};

TEST_F(RoundTrip, WhatAFileHoldsBesidesIsReported) {
    const std::string splineHead = kBinaryHeader + "SPLN";
    const std::string binarySpline = "\0\0\0\0\0"s + std::string(4 + 4 + 2 + 4, '\0');
    const FileCase cases[] = {
        {"a second model", ".hrc", "HRCH: x\n\nmodel { }\nmodel { }", true, "surplus model 4;"},
        {"a second spline", ".spl", "SPLN: x\n\nspline { }\nspline { }", true, "surplus spline 4;"},
        {"bytes behind a spline", ".spl", splineHead + binarySpline + "\0\0xyz"s, true,
         "surplus  0;"},
        {"too many points", ".spl",
         splineHead + binarySpline + "\x80\1"s + std::string(std::size_t{32769} * 44, 'x'), true,
         "cut  0;"},
        {"an old Mac's spline", ".spl", "SPLN: x\r\rspline { }", false,
         "line ends old Mac line ends 1;failed  1;"},
        {"an old Mac's scene", ".scn", "SSCN \rx v2.60 \r\rRATE 9 \r", false,
         "line ends old Mac line ends 1;failed  1;"},
        {"a DOS scene", ".scn", "SSCN \r\nx v2.60 \r\n\r\nFOO \r\nBAR \r\nRATE 9 \r\n", true,
         "line ends DOS line ends 1;"},
        {"a version by chance", ".scn", "SSCN\nx v2.60 saved by Ivan\nRATE 9\n", true,
         "version 0 2;"},
        {"numbers", ".scn", "SSCN\nx v2.60\nFRAME 1 40000 1 1\nFILTER 70000\nRATE thirty\n", true,
         "number 40000 3;number 70000 4;number thirty 5;"},
        {"fewer keys than announced", ".scn",
         "SSCN\nx v2.60\nFADE_START CURVE_TYPE FAD_START\nKEYS 3 TIME 1 KEYTYPE RAWDATA\nRATE 9\n",
         true, "missing KEYS 4;"},
        {"one typo", ".scn", "SSCN\nx v2.60\nRAET 9 one two three\nRATE 9\n", true,
         "unknown RAET 3;"},
    };
    for (const FileCase& test : cases) {
        SCOPED_TRACE(test.name);
        dir.write("r"s + test.ending, test.bytes);
        const OwnedScene scene = fresh();
        const bool read = test.ending == ".scn"s ? sceneReadAsciiAnimation(scene.get()) != 0
                          : test.ending == ".spl"s
                              ? OwnedSpline(splineReadFile(base.c_str())) != nullptr
                              : Tree(modelReadFile(base.c_str())) != nullptr;
        EXPECT_EQ(read, test.read);
        EXPECT_EQ(notices(), test.notices);
    }
}

TEST_F(RoundTrip, AReadErrorIsNotAnEndOfFile) {
    for (const char* ending : {".scn", ".spl", ".hrc"}) {
        std::filesystem::create_directory(base + ending);
    }
    const OwnedScene scene = fresh();
    EXPECT_EQ(sceneReadAsciiAnimation(scene.get()), 0);
    EXPECT_EQ(OwnedSpline(splineReadFile(base.c_str())), nullptr);
    EXPECT_EQ(Tree(modelReadFile(base.c_str())), nullptr);
    EXPECT_EQ(notices(), "failed  1;failed  1;failed  1;");
    std::string expected;
    for (const char* ending : {".scn", ".spl", ".hrc"}) {
        expected += "Unable to read file '" + base + ending + "': Is a directory.\n";
    }
    EXPECT_EQ(messages(), expected);
}

TEST_F(RoundTrip, WhatCannotBeWrittenTouchesNoFile) {
    OwnedScene scene = fresh();
    scene->camera.curves[0] = Random(3).curve();
    scene->camera.curves[0]->keyCount = 1;
    std::free(std::exchange(scene->camera.curves[0]->keys, fcvkeyAllocate(1)));
    EXPECT_EQ(sceneWriteAsciiAnimation("x", 2.02F, scene.get()), 0) << "keys would end at FLAG";
    EXPECT_EQ(sceneWriteAsciiAnimation("x\ny", 2.6F, scene.get()), 0);
    const Tree wide(Random(4).node(false));
    for (std::size_t i = 0; i < 65536; ++i) {
        Model* child = modelAllocate();
        child->next = wide->child;
        child->parent = wide.get();
        wide->child = child;
    }
    EXPECT_EQ(modelWriteFile(base.c_str(), wide.get(), 1), 0);
    EXPECT_FALSE(std::filesystem::exists(base + ".scn") || std::filesystem::exists(base + ".hrc"));
    EXPECT_EQ(notices(), "failed  0;failed  0;failed  0;");
    EXPECT_EQ(sceneWriteAsciiAnimation("x", 2.03F, scene.get()), 1);
}

} // namespace
