// SPDX-License-Identifier: MIT
// The examples of docs/toolkit.md: the functions below are in the document word for word; they are
// built and tested here.
#include "support/tempDir.h"
#include "testBytes.h"
#include "tinyFcurve.h"
#include "tinyModel.h"
#include "tinyScene.h"
#include "tinySoftType.h"
#include "tinySpline.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace {

struct SceneDisposer {
    void operator()(Scene* scene) const { sceneDispose(&scene); }
};

// Example: a scene.
// Zooms the camera of one scene in by a quarter and writes the scene under another name. Returns
// the field of view at `frame`, in degrees, or a negative number when something failed.
float zoomIn(const char* from, const char* to, float frame) {
    const std::unique_ptr<Scene, SceneDisposer> scene(sceneAllocate());
    if (scene == nullptr) {
        return -1.0F;
    }
    scene->name = strdup(from); // without ".scn"; the scene owns it
    if (sceneReadAsciiAnimation(scene.get()) == 0) {
        return -1.0F; // the reason is on option.stream
    }
    Camera& camera = scene->camera;
    camera.fieldOfView *= 0.75F; // counts only where there is no curve
    if (Fcurve* curve = camera.curves[kCameraFieldOfView]) {
        for (FcvKey* key = curve->keys; key != curve->keys + curve->keyCount; ++key) {
            key->value *= 0.75F;
            key->leftSlope *= 0.75F;
            key->rightSlope *= 0.75F;
        }
    }
    std::free(scene->name);
    scene->name = strdup(to);
    if (sceneWriteAsciiAnimation("Niofle scene", RELEASE_NUMBER, scene.get()) == 0) {
        return -1.0F;
    }
    const Fcurve* curve = camera.curves[kCameraFieldOfView];
    return curve != nullptr ? fcurveValue(curve, frame) : camera.fieldOfView;
}

// Example: a spline.
// Moves a spline's points up by `height` and writes it in the binary flavour. Returns the number of
// points, or 0 when something failed.
int lift(const char* from, const char* to, float height) {
    std::unique_ptr<Spline, SplineDisposer> spline(splineReadFile(from));
    if (spline == nullptr) {
        return 0;
    }
    for (int i = 0; i < spline->keyCount; ++i) {
        SplineKey& key = spline->keys[i];
        key.position.y += height;
        key.previous.y += height; // the handles are points too, not offsets
        key.next.y += height;
    }
    constexpr int kBinary = 1;
    return splineWriteFile(to, spline.get(), kBinary) != 0 ? spline->keyCount : 0;
}

struct ModelDisposer {
    void operator()(Model* model) const { modelDispose(&model); }
};

// Example: a hierarchy.
// Hangs a new node under the node `parent` of a tree, turns the root by 90
// degrees and writes the tree. Returns the names in walk order, or "" when something failed.
std::string addNode(const char* from, const char* to, const char* parent, const char* name) {
    std::unique_ptr<Model, ModelDisposer> root(modelReadFile(from));
    Model* place = modelNodeFindByName(root.get(), parent); // null for a null root
    Model* node = modelAllocate();
    if (place == nullptr || node == nullptr) {
        modelDispose(&node);
        return "";
    }
    node->name = strdup(name);
    for (float& factor : node->scaling) {
        factor = 1.0F; // a fresh node is all zero
    }
    if (modelCreateParentship(place, node) == 0) { // the tree owns the node from here on
        modelDispose(&node);
        return "";
    }
    root->rotation[1] += std::acos(0.0F); // radians
    constexpr int kText = 0;
    if (modelWriteFile(to, root.get(), kText) == 0) {
        return "";
    }
    std::string names;
    for (const Model* at = root.get(); at != nullptr; at = modelNextNode(at)) {
        names += std::string(at->name != nullptr ? at->name : "(unnamed)") + "\n";
    }
    return names;
}

// Example: a curve.
// Writes a curve of two keys to a stream, reads it back and evaluates it at `frame`.
float throughText(std::FILE* stream, float frame) {
    std::unique_ptr<Fcurve, FcurveDisposer> fade(fcurveAllocate());
    fade->type = 61; // FAD_END, see fcv_name
    fade->keys = fcvkeyAllocate(2);
    fade->keyCount = 2;
    fade->postExtrapolation = kExtrapolateLinear;
    fade->interpolation = kInterpolateLinear;
    fade->keys[0].time = 1.0F;
    fade->keys[0].value = 200.0F;
    fade->keys[0].interpolation = kInterpolateLinear;
    fade->keys[1].time = 101.0F;
    fade->keys[1].value = 100.0F;
    fcurveCheckOrder(fade.get());
    incIndent(0); // the first line needs an indentation to begin with
    fcurveWriteAsciiAnimation(stream, fade.get());

    std::rewind(stream);
    Fcurve* again = nullptr;
    in_animToken(stream); // the reader finds the word "CURVE_TYPE" as the current token
    fcurveReadAsciiAnimation(stream, &again);
    const float value = fcurveValue(again, frame);
    fcurveDispose(&again);
    return value;
}

// Example: finding trouble.
// Counts what a reader did not understand or had to cut in a scene, and prints each with its line.
int countTrouble(Scene* scene) {
    int count = 0;
    animSetObserver(
        [](void* context, const AnimNotice& notice) {
            ++*static_cast<int*>(context);
            std::fprintf(stderr, "line %ld: '%s'\n", static_cast<long>(notice.line), notice.word);
        },
        &count);
    sceneReadAsciiAnimation(scene);
    animSetObserver(nullptr, nullptr);
    return count;
}

// --------------------------------------------------------------------------------------------------

class ToolkitExamples : public testing::Test {
  protected:
    ToolkitExamples() { option.level = 0; }
    ~ToolkitExamples() override {
        optionReset();
        animReset();
    }
    support::TempDir dir;
};

TEST_F(ToolkitExamples, DoWhatTheySay) {
    const std::string samples = TDR_SOURCE_DIR "/samples/";
    EXPECT_FLOAT_EQ(zoomIn((samples + "lighthouse").c_str(), (dir / "near").c_str(), 1.0F),
                    41.5F * 0.75F);
    EXPECT_NE(testbytes::contentOf(dir / "near.scn").find("TIME 1     VALUE 31.125 "),
              std::string::npos);

    EXPECT_EQ(lift((samples + "vase").c_str(), (dir / "high").c_str(), 2.0F), 6);
    const std::unique_ptr<Spline, SplineDisposer> high(splineReadFile((dir / "high").c_str()));
    ASSERT_NE(high, nullptr);
    EXPECT_FLOAT_EQ(high->keys[1].next.y, 2.3F);

    const std::string names =
        addNode((samples + "desk_lamp").c_str(), (dir / "more").c_str(), "foot", "felt");
    EXPECT_EQ(names.substr(0, 30), "desk_lamp\nfoot\nfelt\nlower_arm\n");
    EXPECT_NE(testbytes::contentOf(dir / "more.hrc").find("rotation     0.000 55.000 0.000\n"),
              std::string::npos);

    std::FILE* stream = std::tmpfile();
    EXPECT_FLOAT_EQ(throughText(stream, 151.0F), 50.0F) << "the secant of the last two keys";
    std::fclose(stream);

    dir.write("odd.scn", "SSCN\nx v2.60\nRATE 30\nFOO\nRATE 25\n");
    Scene* scene = sceneAllocate();
    scene->name = strdup((dir / "odd").c_str());
    EXPECT_EQ(countTrouble(scene), 2) << "FOO, and a second RATE";
    EXPECT_EQ(scene->rate, 25);
    sceneDispose(&scene);
}

TEST_F(ToolkitExamples, StandInTheDocumentWordForWord) {
    const std::string source =
        testbytes::contentOf(TDR_SOURCE_DIR "/tests/foreign_image/toolkitExamplesTest.cpp");
    const std::string document = testbytes::contentOf(TDR_SOURCE_DIR "/docs/toolkit.md");
    int blocks = 0;
    for (std::size_t at = document.find("```cpp\n"); at != std::string::npos;
         at = document.find("```cpp\n", at + 1)) {
        const std::size_t from = at + 7;
        const std::string block = document.substr(from, document.find("```", from) - from);
        EXPECT_NE(source.find(block), std::string::npos) << block;
        ++blocks;
    }
    EXPECT_EQ(blocks, 5);
}

} // namespace
