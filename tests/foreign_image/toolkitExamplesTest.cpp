// SPDX-License-Identifier: MIT
// The examples of docs/toolkit.md do what the document says. The build takes them from there.
#include "support/tempDir.h"
#include "testBytes.h"
#include "tinyFcurve.h"
#include "tinyFile.h"
#include "tinyModel.h"
#include "tinyPicture.h"
#include "tinyScene.h"
#include "tinySoftType.h"
#include "tinySpline.h"
#include "tinyTag.h"

#include <algorithm>
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
    std::unique_ptr<Picture, PictureDisposer> picture(pictureAllocate());
    picture->width = 3;
    picture->height = 2;
    picture->planes[kRed] = static_cast<std::uint8_t*>(std::calloc(1, 6));
    std::copy_n("\1\2\3\4\5\6", 6, picture->planes[kRed]);
    pictureWriteFile((dir / "a").c_str(), picture.get(), nullptr);
    EXPECT_EQ(mirror((dir / "a").c_str(), (dir / "b").c_str()), 3);
    std::filesystem::create_symlink("/dev/full", dir / "full.pic");
    for (const char* failing : {"full", "missing/b"}) {
        EXPECT_EQ(mirror((dir / "a").c_str(), (dir / failing).c_str()), 0) << failing;
    }
    picture.reset(pictureReadFile((dir / "b").c_str()));
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(std::vector(picture->planes[kRed], picture->planes[kRed] + 6),
              (std::vector<std::uint8_t>{3, 2, 1, 6, 5, 4}));
    EXPECT_STREQ(kindOf((dir / "b.pic").c_str()), "picture");

    const std::unique_ptr<Tag, TagDisposer> matte(tagAllocate());
    matte->width = 10;
    matte->height = 2;
    matte->channelCount = 1;
    tagTakeRow(matte.get(), 0, 1)[1] = 0xC0;
    EXPECT_EQ(tagWriteFile((dir / "m").c_str(), matte.get()), 1);
    EXPECT_DOUBLE_EQ(coverage((dir / "m").c_str()), 0.1);
    EXPECT_STREQ(kindOf((dir / "m.tag").c_str()), "matte");

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
