// SPDX-License-Identifier: MIT
// The examples of docs/toolkit.md do what the document says. The build takes them from there.
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

namespace {

#include "toolkitExamples.inc"

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

} // namespace
