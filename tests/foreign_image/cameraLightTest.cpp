// SPDX-License-Identifier: MIT
// The blocks of cameras and lights: text in, text out.
#include "animText.h"
#include "tinyCamera.h"
#include "tinyLight.h"

#include <cstring>

namespace {

using namespace animtext;

/// A curve with one key, as its lines stand `indent` blanks deep.
std::string oneKey(const char* channel, int value, int indent) {
    const std::string line = "\n" + std::string(static_cast<std::size_t>(indent), ' ');
    const std::string key = line + "   ";
    return line + "CURVE_TYPE " + channel + " " + line +
           "PRE_EXTRAPOLATION 0     POST_EXTRAPOLATION 0 " + line + "FLAGS 0 " + line +
           "INTERPOLATION CONSTANT " + line + "KEYS 1 " + key + key + "TIME 1     VALUE " +
           std::to_string(value) + " " + key + "LEFT_SLOPE 0     RIGHT_SLOPE 0 " + key +
           "INTERPOLATION CONSTANT     FLAG 0 " + key + "KEYTYPE FREEFORM ";
}

struct CameraOwner : Camera {
    CameraOwner() { cameraInitialize(this); }
    ~CameraOwner() { cameraDisposeParts(this); }
};

struct DisposeLight {
    void operator()(Light* light) const { lightDispose(&light); }
};
using OwnedLight = std::unique_ptr<Light, DisposeLight>;

class CameraText : public AnimText {
  protected:
    /// Reads a camera block, its first token included, as the scene reader does.
    int read(std::string_view text, Camera* camera) {
        const Input in(text);
        animSetLineNumber(1);
        in_animToken(in);
        return cameraReadAsciiAnimation(in, camera);
    }
    static std::string write(const Camera& camera) {
        return written([&](std::FILE* f) { EXPECT_EQ(cameraWriteAsciiAnimation(f, &camera), 1); });
    }
};

class LightText : public AnimText {
  protected:
    /// Reads a light block behind the word "LIGHT".
    int read(std::string_view text, Light* light) {
        const Input in(text);
        animSetLineNumber(1);
        return lightReadAsciiAnimation(in, light);
    }
    static std::string write(const Light* light) {
        return written([&](std::FILE* f) { EXPECT_EQ(lightWriteAsciiAnimation(f, light), 1); });
    }
};

// ------------------------------------------------------------------------------------------ camera

const std::string kDefaultCamera = "\n   POSITION STATIC "
                                   "\n      0 0 20 "
                                   "\n   INTEREST STATIC "
                                   "\n      0 0 0 "
                                   "\n   ROLL 0 "
                                   "\n   YAW_PITCH_ROLL 0 0 0 "
                                   "\n   NEAR 0.1 "
                                   "\n   FAR 32768 "
                                   "\n   FOCAL_LENGTH 0 "
                                   "\n   F_STOP 0 "
                                   "\n   FOCAL_DISTANCE 0 "
                                   "\n   FIELD_OF_VIEW 41.5 "
                                   "\n   DEPTH_OF_FIELD OFF "
                                   "\n   NEAR_FOCUS 0 "
                                   "\n   FAR_FOCUS 0 "
                                   "\n   OUT_OF_FOCUS 0 "
                                   "\n   MAXIMUM_COC 0 "
                                   "\n   ENLARGE INACTIVE ";

TEST_F(CameraText, DefaultsToTheLetter) {
    const CameraOwner camera;
    EXPECT_EQ(write(camera), kDefaultCamera);
    EXPECT_EQ(animIndentLength, 0);
    EXPECT_EQ(cameraWriteAsciiAnimation(nullptr, nullptr), 0);
}

TEST_F(CameraText, CurvesStandForNumbers) {
    std::string text = kDefaultCamera;
    text.replace(text.find("ROLL 0 "), 7, "ROLL " + oneKey("CAM_ROLL", 5, 6));
    text.insert(text.find("\n   ENLARGE"), "\n   HIDDEN " + oneKey("CAM_HID", 1, 6));
    text.replace(text.find("STATIC \n      0 0 20 "), 21,
                 "EXPLICIT " + oneKey("CAM_POSX", 1, 6) + oneKey("CAM_POSY", 2, 6) +
                     oneKey("CAM_POSZ", 3, 6));
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
    EXPECT_EQ(notices(), "");
}

struct BlockCase {
    const char* name;
    const char* text;
    int result;
    const char* token; ///< the look-ahead afterwards
    const char* messages;
    const char* notices;
};

constexpr BlockCase kCameraCases[] = {
    {"no block", "FRAME 1 2", 1, "1", "", "unknown FRAME 1;"},
    {"no block at the end", "FRAME", 1, "", "", "unknown FRAME 1;"},
    {"nothing at all", " ", 0, "", "", ""},
    {"end after a choice", "ENLARGE ACTIVE", 0, "", "", ""},
    {"end after a number", "ROLL 3", 0, "", "", ""},
    {"end inside a value", "ROLL", 0, "", "", ""},
    {"unknown depth", "DEPTH_OF_FIELD DEEP ROLL 1 X ", 1, "X",
     "CameraReadAsciiAnimation: error, unknown depth of field animToken 'DEEP'.\n",
     "unknown DEEP 1;"},
    {"unknown enlarge", "ENLARGE MAYBE X", 1, "X",
     "CameraReadAsciiAnimation: error, unknown enlarge active animToken 'MAYBE'.\n",
     "unknown MAYBE 1;"},
    {"mode without a word", "DEPTH_OF_FIELD\nNEAR_FOCUS 4 FAR_FOCUS 5 ", 1, "4",
     "CameraReadAsciiAnimation: error, unknown depth of field animToken 'NEAR_FOCUS'.\n",
     "unknown NEAR_FOCUS 2;"},
};

TEST_F(CameraText, EndsOfBlocks) {
    for (const BlockCase& test : kCameraCases) {
        for (const bool discard : {false, true}) {
            SCOPED_TRACE(test.name);
            CameraOwner camera;
            EXPECT_EQ(read(test.text, discard ? nullptr : &camera), test.result);
            EXPECT_STREQ(animToken, test.token);
            EXPECT_EQ(messages(), test.messages);
            EXPECT_EQ(notices(), test.notices);
        }
    }
}

TEST_F(CameraText, AModeWithoutAWordWritesNone) {
    CameraOwner camera;
    camera.depthOfField = 3;
    EXPECT_NE(write(camera).find("\n   DEPTH_OF_FIELD \n   NEAR_FOCUS"), std::string::npos);
}

TEST_F(CameraText, MessagesAppearAtLevelOneOnly) {
    for (const int level : {0, 2}) {
        option.level = level;
        CameraOwner camera;
        read("ENLARGE MAYBE X", &camera);
        EXPECT_EQ(messages(), "");
    }
}

// ------------------------------------------------------------------------------------------- light

const std::string kLightTail = "\n   SHADOW_TYPE 0 "
                               "\n   SHADOW_MAP_RES 0 "
                               "\n   SHADOW_FILTER_SIZE 0 "
                               "\n   SHADOW_FILTER_STEP 0 "
                               "\n   SHADOW_FADE_START 0 "
                               "\n   SHADOW_FADE_RATE 0 "
                               "\n   WIRE_COLOUR 0 "
                               "\n   LINE_TYPE 0 "
                               "\n   SELECTED UNSELECTED ";
const std::string kLightHead = "\n   COLOUR 0 0 0 "
                               "\n   FALL_OFF_START 0 "
                               "\n   FALL_OFF_END 0 "
                               "\n   SHADOW_FACTOR 0 "
                               "\n   POSITION STATIC "
                               "\n      0 0 0 ";
const std::string kSpotLines = "\n   INTEREST STATIC "
                               "\n      0 0 0 "
                               "\n   CONE_ANGLE 0 "
                               "\n   SPREAD_ANGLE 0 ";

TEST_F(LightText, WritesEachTypeToTheLetter) {
    const struct {
        const char* word;
        std::int16_t type;
        bool spot;
    } cases[] = {{"", 0, false}, {"POINT ", 1, false}, {"SPOT ", 2, true}, {"INFINITE ", 3, false}};
    for (const auto& test : cases) {
        const OwnedLight light(lightAllocate());
        light->type = test.type;
        std::string expected = "\n   LIGHT_NAME '' \n   LIGHT_TYPE ";
        expected.append(test.word).append(kLightHead);
        expected.append(test.spot ? kSpotLines : "").append(kLightTail);
        EXPECT_EQ(write(light.get()), expected);
    }
    EXPECT_EQ(lightWriteAsciiAnimation(nullptr, nullptr), 0);
}

TEST_F(LightText, ReadsWhatItWrote) {
    std::string text = "\n   LIGHT_NAME 'key light' \n   LIGHT_TYPE SPOT " + kLightHead +
                       kSpotLines + "\n   HIDDEN " + oneKey("LIG_HID", 1, 6) + kLightTail;
    text.replace(text.find("COLOUR 0 0 0 "), 13,
                 "COLOUR " + oneKey("LIG_COL_R", 1, 6) + oneKey("LIG_COL_G", 2, 6) +
                     oneKey("LIG_COL_B", 3, 6));
    text.replace(text.find("UNSELECTED"), 10, "INHERIT_SELECTED");
    text.replace(text.find("SHADOW_MAP_RES 0"), 16, "SHADOW_MAP_RES 512");
    const OwnedLight light(lightAllocate());
    EXPECT_EQ(read(text + "\nSPLINE ", light.get()), 1);
    EXPECT_STREQ(animToken, "SPLINE");
    EXPECT_STREQ(light->name, "key light");
    EXPECT_EQ(light->type, kLightSpot);
    EXPECT_EQ(light->selection, 3);
    ASSERT_NE(light->curves[kLightBlue], nullptr);
    EXPECT_EQ(write(light.get()), text);
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
    EXPECT_EQ(write(light.get()).find("CONE_ANGLE"), std::string::npos) << "but not written";
}

constexpr BlockCase kLightCases[] = {
    {"no block", "LIGHT ENLARGE X", 1, "ENLARGE", "", "unknown LIGHT 1;"},
    {"nothing", " ", 0, "", "", ""},
    {"end in a name", "LIGHT_NAME", 0, "", "", ""},
    {"end after a name", "LIGHT_NAME 'x'", 0, "", "", ""},
    {"two names", "LIGHT_NAME 'x' LIGHT_NAME 'y' Z ", 1, "Z", "", ""},
    {"unknown state", "SELECTED HALF Z ", 1, "Z",
     "LightReadAsciiAnimation: error, unknown select animToken 'HALF'.\n", "unknown HALF 1;"},
    {"unknown type", "LIGHT_TYPE\nLASER Z ", 1, "Z",
     "LightReadAsciiAnimation: error, unknown light type animToken 'LASER'.\n", "unknown LASER 2;"},
    {"type without a word", "LIGHT_TYPE\nCOLOUR 0.5 1 1 Z ", 1, "0.5",
     "LightReadAsciiAnimation: error, unknown light type animToken 'COLOUR'.\n",
     "unknown COLOUR 2;"},
    {"end in an old pair", "WIRE_COLOUR_INDEX 3", 0, "", "", ""},
};

TEST_F(LightText, EndsOfBlocks) {
    for (const BlockCase& test : kLightCases) {
        for (const bool discard : {false, true}) {
            SCOPED_TRACE(test.name);
            const OwnedLight light(lightAllocate());
            EXPECT_EQ(read(test.text, discard ? nullptr : light.get()), test.result);
            EXPECT_STREQ(animToken, test.token);
            EXPECT_EQ(messages(), test.messages);
            EXPECT_EQ(notices(), test.notices);
        }
    }
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
    light->next = nullptr;
}

TEST_F(LightText, EveryTruncationEndsCleanly) {
    const std::string camera = kDefaultCamera.substr(1) + " HIDDEN" + oneKey("CAM_HID", 1, 3) +
                               " POSITION PATH" + oneKey("CAM_POS", 1, 3) +
                               " SPLINE LINEAR NAME 'p' POINTS 1 POSITION 1 2 3 FLAG 0 ";
    const std::string light = "LIGHT_NAME 'n' LIGHT_TYPE SPOT" + kLightHead + kSpotLines +
                              kLightTail + " INTEREST PATH_MODEL" + oneKey("LIG_INT", 1, 3) +
                              " NAME 'm' ";
    for (std::size_t length = 1; length < camera.size(); ++length) {
        CameraOwner record;
        const Input in(std::string_view(camera).substr(0, length));
        in_animToken(in);
        EXPECT_LE(cameraReadAsciiAnimation(in, &record), 1);
    }
    for (std::size_t length = 1; length < light.size(); ++length) {
        const OwnedLight record(lightAllocate());
        EXPECT_LE(read(std::string_view(light).substr(0, length), record.get()), 1);
    }
}

} // namespace
