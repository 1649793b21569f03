// SPDX-License-Identifier: MIT
// The blocks of cameras and lights: text in, text out.
#include "foreign_image/animText.h"
#include "tinyCamera.h"
#include "tinyLight.h"

namespace {

using namespace animtext;

/// The lines of a curve with one key, two levels deep.
std::string oneKey(const char* channel, int value) {
    const std::string line = lines(2, "PRE_EXTRAPOLATION 0     POST_EXTRAPOLATION 0|FLAGS 0|"
                                      "INTERPOLATION CONSTANT|KEYS 1|   ");
    return lines(2, std::string("CURVE_TYPE ") + channel) + line.substr(0, line.size() - 1) +
           lines(3, "TIME 1     VALUE " + std::to_string(value) +
                        "|LEFT_SLOPE 0     RIGHT_SLOPE 0|INTERPOLATION CONSTANT     FLAG 0|"
                        "KEYTYPE FREEFORM");
}

struct CameraOwner : Camera {
    CameraOwner() { cameraInitialize(this); }
    ~CameraOwner() { cameraDisposeParts(this); }
};
using OwnedLight = Owned<Light, lightDispose>;

class BlockText : public AnimText {
  protected:
    /// Reads a camera block, its first token included, as the scene reader does.
    static int read(std::string_view text, Camera* camera) {
        const Input in(text);
        animSetLineNumber(1);
        in_animToken(in);
        return cameraReadAsciiAnimation(in, camera);
    }
    /// Reads a light block after the word "LIGHT".
    static int read(std::string_view text, Light* light) {
        const Input in(text);
        animSetLineNumber(1);
        return lightReadAsciiAnimation(in, light);
    }
    static std::string write(const Camera& camera) {
        return written([&](std::FILE* f) { EXPECT_EQ(cameraWriteAsciiAnimation(f, &camera), 1); });
    }
    static std::string write(const OwnedLight& light) {
        return written(
            [&](std::FILE* f) { EXPECT_EQ(lightWriteAsciiAnimation(f, light.get()), 1); });
    }
};
using CameraText = BlockText;
using LightText = BlockText;

// --- Camera --------------------------------------------------------------------------------------

const std::string kDefaultCamera =
    lines(1, "POSITION STATIC|   0 0 20|INTEREST STATIC|   0 0 0|ROLL 0|YAW_PITCH_ROLL 0 0 0|"
             "NEAR 0.1|FAR 32768|FOCAL_LENGTH 0|F_STOP 0|FOCAL_DISTANCE 0|FIELD_OF_VIEW 41.5|"
             "DEPTH_OF_FIELD OFF|NEAR_FOCUS 0|FAR_FOCUS 0|OUT_OF_FOCUS 0|MAXIMUM_COC 0|"
             "ENLARGE INACTIVE");

TEST_F(CameraText, DefaultsToTheLetter) {
    const CameraOwner camera;
    EXPECT_EQ(write(camera), kDefaultCamera);
    EXPECT_EQ(animIndentLength, 0);
    EXPECT_EQ(cameraWriteAsciiAnimation(nullptr, nullptr), 0);
}

TEST_F(CameraText, CurvesStandForNumbers) {
    std::string text = kDefaultCamera;
    text.replace(text.find("ROLL 0 "), 7, "ROLL " + oneKey("CAM_ROLL", 5));
    text.insert(text.find("\n   ENLARGE"), "\n   HIDDEN " + oneKey("CAM_HID", 1));
    text.replace(text.find("STATIC \n      0 0 20 "), 21,
                 "EXPLICIT " + oneKey("CAM_POSX", 1) + oneKey("CAM_POSY", 2) +
                     oneKey("CAM_POSZ", 3));
    CameraOwner camera;
    EXPECT_EQ(read(text + "\nNEXT ", &camera), 1);
    EXPECT_STREQ(animToken, "NEXT");
    ASSERT_NE(camera.curves[kCameraRoll], nullptr);
    EXPECT_EQ(fcurveValue(camera.curves[kCameraRoll], 1.0F), 5.0F);
    ASSERT_NE(camera.curves[kCameraPositionZ], nullptr);
    EXPECT_EQ(fcurveValue(camera.curves[kCameraPositionZ], 1.0F), 3.0F);
    EXPECT_EQ(write(camera), text);
}

TEST_F(CameraText, ReadsAnyOrderAndDropsOldWords) {
    CameraOwner camera;
    EXPECT_EQ(read("ENLARGE ACTIVE TYPE 3 FAR 7 STEREO 1 NEAR 2 DEPTH_OF_FIELD CUSTOM "
                   "YAW_PITCH_ROLL 1 2 3 POSITION CONSTRAINT 4 'eye' LIGHT ",
                   &camera),
              1);
    EXPECT_STREQ(animToken, "LIGHT");
    EXPECT_EQ(camera.enlarge, 1);
    EXPECT_EQ(camera.far, 7.0F);
    EXPECT_EQ(camera.near, 2.0F);
    EXPECT_EQ(camera.depthOfField, 2);
    EXPECT_EQ(camera.yawPitchRoll[2], 3.0F);
    EXPECT_STREQ(camera.position.constraintName, "eye");
    EXPECT_EQ(notices(), "by format TYPE 1;by format STEREO 1;");
}

TEST_F(CameraText, AModeWithoutAWordWritesNoneAndOtherLevelsAreSilent) {
    CameraOwner camera;
    camera.depthOfField = 3;
    EXPECT_NE(write(camera).find("\n   DEPTH_OF_FIELD \n   NEAR_FOCUS"), std::string::npos);
    for (const int level : {0, 2}) {
        option.level = level;
        read("ENLARGE MAYBE X", &camera);
        EXPECT_EQ(messages(), "");
    }
}

// --- Light ---------------------------------------------------------------------------------------

const std::string kLightHead = lines(
    1, "COLOUR 0 0 0|FALL_OFF_START 0|FALL_OFF_END 0|SHADOW_FACTOR 0|POSITION STATIC|   0 0 0");
const std::string kSpotLines = lines(1, "INTEREST STATIC|   0 0 0|CONE_ANGLE 0|SPREAD_ANGLE 0");
const std::string kLightTail = lines(
    1, "SHADOW_TYPE 0|SHADOW_MAP_RES 0|SHADOW_FILTER_SIZE 0|SHADOW_FILTER_STEP 0|"
       "SHADOW_FADE_START 0|SHADOW_FADE_RATE 0|WIRE_COLOUR 0|LINE_TYPE 0|SELECTED UNSELECTED");

TEST_F(LightText, WritesEachTypeToTheLetter) {
    constexpr const char* kWords[] = {"", "POINT ", "SPOT ", "INFINITE "};
    for (std::int16_t type = 0; type < 4; ++type) {
        const OwnedLight light(lightAllocate());
        light->type = type;
        std::string expected = "\n   LIGHT_NAME '' \n   LIGHT_TYPE ";
        expected.append(kWords[type]).append(kLightHead);
        expected.append(type == kLightSpot ? kSpotLines : "").append(kLightTail);
        EXPECT_EQ(write(light), expected);
    }
    EXPECT_EQ(lightWriteAsciiAnimation(nullptr, nullptr), 0);
}

TEST_F(LightText, ReadsWhatItWrote) {
    std::string text = "\n   LIGHT_NAME 'key light' \n   LIGHT_TYPE SPOT " + kLightHead +
                       kSpotLines + "\n   HIDDEN " + oneKey("LIG_HID", 1) + kLightTail;
    text.replace(text.find("COLOUR 0 0 0 "), 13,
                 "COLOUR " + oneKey("LIG_COL_R", 1) + oneKey("LIG_COL_G", 2) +
                     oneKey("LIG_COL_B", 3));
    text.replace(text.find("UNSELECTED"), 10, "INHERIT_SELECTED");
    text.replace(text.find("SHADOW_MAP_RES 0"), 16, "SHADOW_MAP_RES 512");
    const OwnedLight light(lightAllocate());
    EXPECT_EQ(read(text + "\nSPLINE ", light.get()), 1);
    EXPECT_STREQ(animToken, "SPLINE");
    EXPECT_STREQ(light->name, "key light");
    EXPECT_EQ(light->type, kLightSpot);
    EXPECT_EQ(light->selection, 3);
    ASSERT_NE(light->curves[kLightBlue], nullptr);
    EXPECT_EQ(write(light), text);
}

TEST_F(LightText, WordsOfOldFiles) {
    const OwnedLight light(lightAllocate());
    EXPECT_EQ(read("DECAY 2 WIRE_COLOUR_INDEX 3 7 LIGHT_TYPE POINT CONE_ANGLE 30 INTEREST STATIC "
                   "1 2 3 NEXT ",
                   light.get()),
              1);
    EXPECT_EQ(light->wireColour, 490);
    EXPECT_EQ(light->coneAngle, 30.0F) << "accepted for every type";
    EXPECT_EQ(light->interest.fixed.y, 2.0F);
    EXPECT_EQ(write(light).find("CONE_ANGLE"), std::string::npos) << "but not written";
}

TEST_F(LightText, AnUnknownTypeReplacesTheOldOne) {
    const OwnedLight light(lightAllocate());
    light->type = kLightInfinite;
    read("LIGHT_TYPE LASER Z ", light.get());
    EXPECT_EQ(light->type, 0) << "not the record's old type";
    light->type = kLightInfinite;
    read("LIGHT_TYPE SPOT LIGHT_TYPE LASER Z ", light.get());
    EXPECT_EQ(light->type, kLightSpot) << "the earlier line's";
    read("SELECTED UNSELECTED Z ", light.get());
    EXPECT_EQ(light->type, kLightSpot) << "no line, no change";
}

TEST_F(LightText, TheOldNameIsItsOwnersToFree) {
    const OwnedLight light(lightAllocate());
    char before[] = "not from the heap";
    light->name = before;
    read("LIGHT_NAME 'a' LIGHT_NAME 'b' Z ", light.get());
    EXPECT_STREQ(light->name, "b");
}

} // namespace
