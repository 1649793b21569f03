// SPDX-License-Identifier: MIT
// Scene files: the header, the tables of keywords, lists, trees in the animation form, and kept and
// dropped words.
#include "foreign_image/animText.h"
#include "support/memoryFile.h"
#include "tinyScene.h"

#include <cstring>

namespace {

using namespace animtext;

using OwnedScene = std::unique_ptr<Scene, SceneDisposer>;

class SceneFile : public AnimText {
  protected:
    support::TempDir dir;
    support::MemoryFile file{dir, "s.scn"};

    [[nodiscard]] OwnedScene fresh() const {
        OwnedScene scene(sceneAllocate());
        scene->name = strdup((dir / "s").c_str());
        return scene;
    }
    /// Reads a whole file of these bytes.
    OwnedScene readFile(std::string_view bytes, int expected = 1) {
        file.set(bytes);
        OwnedScene scene = fresh();
        EXPECT_EQ(sceneReadAsciiAnimation(scene.get()), expected);
        return scene;
    }
    /// Reads the body after a header of two lines.
    OwnedScene read(const std::string& body) {
        OwnedScene scene = readFile("SSCN\nx v2.60\n" + body);
        const std::string said = messages();
        rest_ = said.substr(said.find('\n') + 1);
        return scene;
    }
    std::string write(const Scene* scene) {
        EXPECT_EQ(sceneWriteAsciiAnimation("x", 2.6F, scene), 1);
        messages();
        return file.get();
    }
    /// Writes the scene, reads it and writes it again; both texts are the same.
    OwnedScene expectFixed(const Scene* scene) {
        const std::string once = write(scene);
        OwnedScene again = readFile(once);
        EXPECT_EQ(write(again.get()), once);
        return again;
    }
    /// The messages of the last `read`, without the one that names the file.
    [[nodiscard]] const std::string& complaints() const { return rest_; }

  private:
    std::string rest_;
};

const std::string kRendering = lines(
    0,
    "RENDERING_TYPE WIRE_FRAME|RENDERING_FRAME 0 0 0|FRAME_BUFFER INACTIVE|OUTPUT_FILE ''|"
    "RESOLUTION 720 486|PIXEL_RATIO 1|FILTER 0|MAX_RAY_DEPTH 0|MAX_TRIA_DEPTH 0|MAX_TREE_DEPTH 0|"
    "PRE_RENDERING ''|POST_RENDERING ''|TIME_STATISTICS NO|MEMORY_STATISTICS NO|"
    "TREE_STATISTICS NO|LINE_STATISTICS NO|BACK_CULLING INACTIVE|FADE INACTIVE|FADE_START 0|"
    "FADE_END 0|FADE_COLOUR 0 0 0|FADE_TRANSPARENCY 0|AMBIENCE 0 0 0|MOTION_BLUR 0|"
    "SHUTTER_SPEED 0|MIN_MOVEMENT 0|ON_FIELD NO|FIRST_FIELD 0");

/// The text of a written scene between its header and its camera.
std::string front(const std::string& text) {
    const std::size_t from = text.find("\n\n\n") + 2;
    return text.substr(from, text.find("\nCAMERA") - from);
}

const std::string kCamera =
    "\nCAMERA " +
    lines(1, "POSITION STATIC|   0 0 20|INTEREST STATIC|   0 0 0|ROLL 0|YAW_PITCH_ROLL 0 0 0|"
             "NEAR 0.1|FAR 32768|FOCAL_LENGTH 0|F_STOP 0|FOCAL_DISTANCE 0|FIELD_OF_VIEW 41.5|"
             "DEPTH_OF_FIELD OFF|NEAR_FOCUS 0|FAR_FOCUS 0|OUT_OF_FOCUS 0|MAXIMUM_COC 0|"
             "ENLARGE INACTIVE");

TEST_F(SceneFile, DefaultsToTheLetterAtEveryDepth) {
    const OwnedScene scene = fresh();
    scene->paths[kTexturePath] = strdup(""); // counts as none
    EXPECT_EQ(sceneWriteAsciiAnimation("made by hand", 2.6F, scene.get()), 1);
    EXPECT_EQ(messages(), "Saving scene file '" + (dir / "s") + "'.\n");
    EXPECT_EQ(file.get(), "SSCN \nmade by hand v2.60 \n\n\nFRAME 1 100 1 1 \nPAUSE 0 \nRATE 30 " +
                              kRendering + kCamera + "\n");
    setIndentLength(2);
    EXPECT_TRUE(
        write(scene.get()).starts_with("SSCN \n      x v2.60 \n      \n      \n      FRAME"));
    EXPECT_EQ(animIndentLength, 0);
    EXPECT_STREQ(animIndentString, "\n");
}

TEST_F(SceneFile, ReadsEveryRenderingKeywordIntoItsPlace) {
    const std::string rows =
        "RENDERING_TYPE HARDWARE_LINE|RENDERING_FRAME 1 200 2|"
        "FRAME_BUFFER ACTIVE|OUTPUT_FILE 'out put'|RESOLUTION 70000 2|"
        "PICTURE|   FORMAT_TYPE CUSTOM_SIZE|   WIDTH 3.5|   HEIGHT 2.25|"
        "PIXEL_RATIO 0.5|FILTER 6|MAX_RAY_DEPTH 3|MAX_TRIA_DEPTH 4|MAX_TREE_DEPTH 5|"
        "PRE_RENDERING 'a'|POST_RENDERING 'b'|TIME_STATISTICS YES|MEMORY_STATISTICS NO|"
        "TREE_STATISTICS YES|LINE_STATISTICS YES|ANTIALIAS ADAPTIVE 6 7 0.25|BACK_CULLING ACTIVE|"
        "FADE ACTIVE|FADE_START 10|FADE_END 20|FADE_COLOUR 1 2 3|FADE_TRANSPARENCY 4|"
        "AMBIENCE 5 6 7|MOTION_BLUR 8|SHUTTER_SPEED 0.125|MIN_MOVEMENT 0.5|ON_FIELD YES|"
        "FIRST_FIELD 2";
    const OwnedScene scene = read(squeezed(lines(0, rows)) + " ");
    EXPECT_EQ(complaints() + notices(), "");
    EXPECT_EQ(front(write(scene.get())), lines(0, "FRAME 1 100 1 1|PAUSE 0|RATE 30|" + rows));
}

/// The trees of a scene as "name<parent" in walk order, "-" for no name.
std::string trees(const Scene* scene) {
    std::string text;
    const auto name = [](const Model* m) {
        return std::string(m == nullptr ? "" : m->name != nullptr ? m->name : "-");
    };
    for (const SceneHierarchy* tree = scene->hierarchies; tree != nullptr; tree = tree->next) {
        for (const Model* at = tree->root; at != nullptr; at = modelNextNode(at)) {
            text += name(at) + "<" + name(at->parent) + " ";
        }
    }
    return text;
}

struct Case {
    std::string body;
    /// What the rewritten text contains; "|a< b<a |9" stands for trees and RATE.
    std::vector<const char*> kept;
    std::string messages = "", notices = "";
};

const std::string kShapeCurve = "CURVE_TYPE SWEIGHT KEYS 1 TIME 1 VALUE 2 KEYTYPE FREEFORM ";

const Case kCases[] = {
    {"FRAME 1 2 3 4 ", {"\nFRAME 1 2 3 4 "}},
    {"PAUSE 2.9 RATE 29.97 ", {"\nPAUSE 2 \nRATE 29 "}, "", "by format 2.9 3;by format 29.97 3;"},
    // Toward zero.
    {"PAUSE -2.9 RATE 1e9 ", {"\nPAUSE -2 \nRATE 32767 "}, "", "by format -2.9 3;number 1e9 3;"},
    // One path writes six.
    {"FILE_PATH TEXTURE_PATH 'a b' ",
     {"\n\n\nFILE_PATH \n   OBJECT_PATH '' \n   TEXTURE_PATH 'a b' \n   PICTURE_PATH '' \n   "
      "MATERIAL_LIB '' \n   TEXTURE_LIB '' \n   PALETTE_LIB '' \nFRAME"}},
    // No paths.
    {"FILE_PATH OBJECT_PATH '' FRAME 7 8 9 10 ", {"\n\n\nFRAME 7 8 9 10 "}},
    // Picture without sizes.
    {"PICTURE FORMAT_TYPE NTSC ASPECT 2 WIDTH 3 RATE 5 ",
     {"\nPICTURE \n   FORMAT_TYPE NTSC \nPIXEL"}},
    // Picture with aspect.
    {"PICTURE ASPECT 1.5 FORMAT_TYPE CUSTOM_ASPECT ",
     {"\nPICTURE \n   FORMAT_TYPE CUSTOM_ASPECT \n   ASPECT 1.5 \nPIXEL"}},
    {"PICTURE FORMAT_TYPE BETA ",
     {"   FORMAT_TYPE 35MM_137 \n"},
     "PictureReadAsciiAnimation: error, unknown picture format 'BETA'.\n",
     "unknown BETA 3;"},
    // Filter last.
    {"ANTIALIAS FIXED 1 2 3 FILTER 8 ", {"\nANTIALIAS FIXED 8 2 3 "}},
    {"ANTIALIAS SOME 4 5 6 RATE 9 ",
     {"||9"},
     "SceneReadAsciiAnimation: error, unknown antialias animToken 'SOME'.\n",
     "unknown SOME 3;"},
    {"AMBIENCE CURVE_TYPE FAD_RED KEYS 0 CURVE_TYPE FAD_RED KEYS 0 CURVE_TYPE "
     "FAD_RED KEYS 0 RATE 9 ",
     {"||9"},
     "",
     "by format CURVE_TYPE 3;by format CURVE_TYPE 3;by format CURVE_TYPE 3;"},
    {"ONE\nRATE 3\nTWO 2\nRATE 9 ",
     {"||9"},
     "SceneReadAsciiAnimation: error, unknown animToken 'ONE'.\n",
     "unknown ONE 3;unknown TWO 5;dropped RATE 6;"},
    {"RATE 9 ONE", {"||9"}, "", "unknown ONE 3;"},
    {"CAMERA_VISIBLE 1 WINDOW_LAYOUT WINDOW_TYPE TOP CAMERA_TYPE a GRID_VISIBLE a AXIS_VISIBLE a "
     "RULER_VISIBLE a FIELD_VISIBLE a X_AXIS_LOCK a Y_AXIS_LOCK a Z_AXIS_LOCK a CAMERA_POSITION 1 "
     "2 3 CAMERA_INTEREST 1 2 3 MINIMUM_VIEW 1 2 3 MAXIMUM_VIEW 1 2 3 DELTA 1 2 3 CAMERA_FOV 1 "
     "CAMERA_ASPECT 1 CAMERA_NEAR 1 DISPLAY_TYPE 1 PICTURE 'a b' PICTURE_FRAME 1 2 3 4 5 6 "
     "DEPTH_CUE 1 2 3 4 5 MULTI_SELECT 3 RATE 9 ",
     {"\nPAUSE 0 \nRATE 9 \nRENDERING_TYPE WIRE_FRAME "},
     "",
     "by format CAMERA_VISIBLE 3;by format WINDOW_LAYOUT 3;by format MULTI_SELECT 3;"},
    {"FRAME 5 6", {"\nFRAME 5 6 1 1 "}, "", "missing  3;"},

    {"HIERARCHY MODEL 'a' '' MODEL 'b' 'a' MODEL 'c' 'b' MODEL 'd' 'a' RATE 9 ",
     {"|a< b<a c<b d<a |9"}},
    {"HIERARCHY MODEL 'a' '' HIERARCHY MODEL 'a' '' MODEL 'b' 'a' RATE 9 ", {"|a< a< b<a |9"}},
    // The last of a name, or a numbered one.
    {"HIERARCHY MODEL 'a' '' MODEL 'a' 'a' MODEL 'c' 'a' 0 MODEL 'd' 'a' RATE 9 ",
     {"|a< a<a d<a c<a |9", "MODEL 'c' 'a' 0 \n", "MODEL 'd' 'a' \n"}},
    {"HIERARCHY MODEL '' '' MODEL '' '' 0 MODEL '' '' 1 RATE 9 ", {"|-< -<- -<- |9"}},
    // Unknown parent.
    {"HIERARCHY MODEL 'a' '' MODEL 'b' 'x' RATE 9 ",
     {"|a< b<a |9"},
     "ModelReadAsciiAnimation: error, cannot find model 'x'.\n",
     "unknown x 3;"},
    // Number too large.
    {"HIERARCHY MODEL 'a' '' MODEL 'b' 'a' 1 RATE 9 ",
     {"|a< b<a |9"},
     "ModelReadAsciiAnimation: error, cannot find model 'a'.\n",
     "unknown a 3;"},
    {"HIERARCHY RATE 9 ", {"||9"}, "", "missing HIERARCHY 3;"},
    {"FILE_PATH\nPICTURE\nRATE 9 ", {"||9"}, "", "missing FILE_PATH 3;missing PICTURE 4;"},
    // Lines without a node.
    {"HIERARCHY SCALING 1 2 3 RATE 9 ", {"|-< |9"}},
    // Unknown lines, and words of the rendering settings that belong to them.
    {"HIERARCHY MODEL 'a' ''\nfoo\n 1\tb\nSHAPE TEXTURE 'wood' PICTURE 'x' FILTER 2 FRAME 9 9 1 1",
     {"\n      foo\n 1\tb \n      SHAPE \n      TEXTURE 'wood' PICTURE 'x' FILTER 2 \n|a< |",
      "\nFRAME 9 9 "},
     "",
     "kept foo 4;"},
    // Fewer weights than announced.
    {"HIERARCHY MODEL 'a' '' SHAPE SHAPE_NAME 'x' INTERP_FCURVE " + kShapeCurve +
         "WEIGHT_FCURVES 30000 " + repeated(3, kShapeCurve) + "SHAPE 7 SHAPE_NAME 'y' RATE 9 ",
     {"SHAPE_NAME 'x' \n         INTERP_FCURVE ", "WEIGHT_FCURVES 3 \n", "SHAPE_NAME 'y'",
      "SHAPE 7 \n", "|a< |9"},
     "",
     "missing WEIGHT_FCURVES 3;"},

    // Up to a scene word.
    {"WAVE a\n  b c\nRATE 9 ", {"\nWAVE a\n  b c \n||9"}},
    // Words in quotes and braces.
    {"WAVE 'RATE 7' { RATE 8 } x RATE 9 ", {"\nWAVE 'RATE 7' { RATE 8 } x \n||9"}},
    // Glued braces are words.
    {"WAVE {RATE x} RATE 9 ", {"\nWAVE {RATE x} \n||9"}},
    {"WAVE a WAVE b RATE 9 ", {"\nWAVE a \nWAVE b \n||9"}},
    // Line end first.
    {"WAVE\n  a\nRATE 9 ", {"\nWAVE\n  a \n||9"}},
    {"WAVE it's RATE 9 ", {"\nWAVE it's \n||9"}},
    // End of file in braces.
    {"RATE 9 WAVE { a { b", {"\nWAVE { a { b } } \n||9"}, "", "cut WAVE 3;"},
    // End of file in quotes.
    {"RATE 9 WAVE 'a ", {"\nWAVE 'a ' \n||9"}, "", "cut WAVE 3;"},
};

TEST_F(SceneFile, ReadsAndWritesItsLines) {
    for (const Case& test : kCases) {
        SCOPED_TRACE(test.body);
        const OwnedScene scene = read(test.body);
        EXPECT_EQ(complaints(), test.messages);
        EXPECT_EQ(notices(), test.notices);
        const OwnedScene again = expectFixed(scene.get());
        const std::string text =
            file.get() + "|" + trees(again.get()) + "|" + std::to_string(again->rate);
        for (const char* kept : test.kept) {
            EXPECT_NE(text.find(kept), text.npos) << kept << " in " << text;
        }
        notices();
    }
}

TEST_F(SceneFile, UnknownChoicesKeepWhatWas) {
    constexpr const char* kChoices[][3] = {{"RENDERING_TYPE", "WIRE_FRAME", "ren type"},
                                           {"FRAME_BUFFER", "INACTIVE", "fbuffer active"},
                                           {"TIME_STATISTICS", "NO", "time stat"},
                                           {"MEMORY_STATISTICS", "NO", "memory stat"},
                                           {"TREE_STATISTICS", "NO", "tree stat"},
                                           {"LINE_STATISTICS", "NO", "line stat"},
                                           {"BACK_CULLING", "INACTIVE", "back culling"},
                                           {"FADE", "INACTIVE", "fade active"},
                                           {"ON_FIELD", "NO", "on field"}};
    for (const auto& [word, was, what] : kChoices) {
        const OwnedScene scene = read(word + " X "s);
        EXPECT_EQ(complaints(),
                  "SceneReadAsciiAnimation: error, unknown "s + what + " animToken 'X'.\n");
        EXPECT_NE(write(scene.get()).find("\n"s + word + " " + was + " \n"), std::string::npos)
            << word;
    }
}

TEST_F(SceneFile, NumbersGoToTheirMembers) {
    const OwnedScene frames = read("FRAME 1 2 3 4 ");
    EXPECT_TRUE(frames->frameStart == 1 && frames->frameEnd == 2);
    EXPECT_TRUE(frames->frameThird == 3 && frames->frameFourth == 4);
    constexpr const char* kFormats[] = {
        "35MM_137",  "35MM_166",      "35MM_185",   "70MM_PANAVISION", "70MM_IMAX", "70MM_OMNIMAX",
        "NTSC",      "PAL",           "HDTV",       "SLIDE_35MM",      "6CM_X_6CM", "6CM_X_9CM",
        "4IN_X_5IN", "CUSTOM_ASPECT", "CUSTOM_SIZE"};
    static_assert(std::size(kFormats) == kPictureFormatCount);
    for (int code = 0; code < kPictureFormatCount; ++code) {
        const std::string line = "FORMAT_TYPE "s + kFormats[code] + " ";
        const OwnedScene scene = read("PICTURE " + line);
        EXPECT_EQ(scene->rendering.picture.format, code) << line;
        EXPECT_EQ(complaints(), "");
        EXPECT_NE(write(scene.get()).find("\nPICTURE \n   " + line + "\n"), std::string::npos);
    }
    for (const std::int16_t code :
         {std::int16_t{-1}, std::int16_t{kPictureFormatCount}, std::int16_t{INT16_MAX}}) {
        const OwnedScene scene = read("PICTURE FORMAT_TYPE PAL ");
        scene->rendering.picture.format = code; // without a word
        EXPECT_NE(write(scene.get()).find("\nPICTURE \nPIXEL_RATIO"), std::string::npos) << code;
    }
}

TEST_F(SceneFile, Headers) {
    const std::string reading = "Reading scene file '" + (dir / "s.scn") + "'.\n";
    const struct {
        std::string bytes;
        std::string messages;
        float version;
        int result;
    } cases[] = {
        {"SSCN\nx v2.60\n", reading, 2.6F, 1},
        {"SSCN v2.02\n", reading, 2.02F, 1},
        {"SSCN\nvery new v3.25",
         reading + "Warning: scene file version 3.25 is later than the dkit release version 2.6\n"
                   "Attempt to read: An error may occur...\n",
         3.25F, 1},
        {"SSCN\nv9.9 " + std::string(300, 'x') + " v2.5\n", reading, 2.5F, 1},
        {"SSCN\nanything 9.9\n", reading, 1.5F, 1},
        {"SSCN\n\n \t", reading + "Bad header.\n", 1.5F, 0},
        {"SPLN: x\n", "Not a scene file\n", 1.5F, 0},
        {"", "Not a scene file\n", 1.5F, 0},
        {"SSCN\rx v2.60\r",
         "Not a scene file\nUnable to read file '" + (dir / "s.scn") +
             "': it has old Mac line ends.\n",
         1.5F, 0},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.bytes);
        animFileVersion = 1.5F;
        readFile(test.bytes, test.result);
        EXPECT_EQ(messages(), test.messages);
        EXPECT_EQ(animFileVersion, test.version);
    }
}

TEST_F(SceneFile, SaysWhyNot) {
    EXPECT_EQ(sceneReadAsciiAnimation(nullptr), 0);
    EXPECT_EQ(sceneWriteAsciiAnimation("x", 2.6F, nullptr), 0);
    EXPECT_EQ(messages(), "Error, null scene pointer\nError, null scene pointer\n");
    const std::string nowhere = dir / "absent/s";
    const struct {
        const char* name;
        std::string reading, writing;
    } cases[] = {
        {nullptr, "Error, no scene filename\n", "Error, no scene filename\n"},
        {"", "Error, no scene filename\n", "Error, no scene filename\n"},
        {nowhere.c_str(), "Unable to open file '" + nowhere + ".scn'.\n",
         "Unable to open file " + nowhere + ".scn"},
    };
    for (const auto& row : cases) {
        const OwnedScene scene(sceneAllocate());
        scene->name = row.name != nullptr ? strdup(row.name) : nullptr;
        EXPECT_EQ(sceneReadAsciiAnimation(scene.get()), 0);
        EXPECT_EQ(messages(), row.reading);
        EXPECT_EQ(sceneWriteAsciiAnimation("x", 2.6F, scene.get()), 0);
        EXPECT_EQ(messages(), row.writing);
    }
    std::filesystem::remove(dir / "s.scn");
    std::filesystem::create_symlink("/dev/full", dir / "s.scn");
    EXPECT_EQ(sceneWriteAsciiAnimation("x", 2.6F, fresh().get()), 0);
    EXPECT_NE(messages().find("Unable to write file '"), std::string::npos);
}

TEST_F(SceneFile, ListsKeepTheirOrder) {
    const OwnedScene scene =
        read("LIGHT LIGHT_NAME 'a' SPLINE LINEAR NAME 's' LIGHT LIGHT_NAME 'b' LIGHT X LIGHT_NAME "
             "SPLINE BEZIER NAME 't'");
    const Light* const lights = scene->lights;
    EXPECT_STREQ(lights->name, "a");
    EXPECT_STREQ(lights->next->name, "b");
    ASSERT_NE(lights->next->next, nullptr)
        << "an empty light joins the list, and takes a word along";
    ASSERT_NE(scene->splines->next, nullptr) << "the spline that ends the file joins too";
    EXPECT_EQ(scene->splines->next->spline->type, kSplineBezier);
    EXPECT_EQ(sceneAppendLight(scene.get(), scene->lights->next), 0) << "already there";
    EXPECT_EQ(sceneAppendSpline(scene.get(), scene->splines->spline), 0);
    Model* root = modelAllocate();
    EXPECT_EQ(sceneAppendHierarchy(scene.get(), root), 1);
    EXPECT_EQ(sceneAppendHierarchy(scene.get(), root), 0);
}

// --- Nodes --------------------------------------------------------------------------------------

TEST_F(SceneFile, QuotesInNamesBecomeTheOtherKind) {
    const OwnedScene scene = read("HIERARCHY MODEL 'a\"b' '' MODEL 'x' 'a\"b' MODEL 'c' 'a\"b'");
    Model* renamed = scene->hierarchies->root->child;
    std::free(std::exchange(renamed->name, strdup("a'b")));
    const std::string text = write(scene.get());
    EXPECT_NE(text.find("MODEL 'a\"b' 'a\"b' \n"), std::string::npos) << text;
    EXPECT_NE(text.find("MODEL 'c' 'a\"b' 0 \n"), std::string::npos) << "two of one name now";
    EXPECT_EQ(trees(readFile(text).get()), "a\"b< a\"b<a\"b c<a\"b ");
}

TEST_F(SceneFile, LinesOfANode) {
    const std::string text =
        lines(2, "SCALING 1 2 3|ROTATION 90 0 -45.5|WIRE_COLOUR 4|LINE_TYPE 5|"
                 "SELECTED BRANCH_SELECTED|TRANSLATION CONSTRAINT 2 'rail'|HIDDEN 1|"
                 "ALGORITHM_TYPE 3|BOUNDING_BOX ACTIVE|SHAPE_INTERP_TYPE CARDINAL|SHAPE|   "
                 "SHAPE_NAME 'smile'|"
                 "   SHAPE_NAME ''|MATERIAL 3 { CAMERA } 'SCALING'|TEXTURE a");
    const OwnedScene scene = read("HIERARCHY MODEL 'a' ''" + text + "\nFRAME 9 9 1 1");
    EXPECT_EQ(notices(), "");
    const Model* node = scene->hierarchies->root;
    EXPECT_FLOAT_EQ(node->rotation[0], 1.5707964F) << "radians in memory";
    EXPECT_EQ(node->selection, 2);
    EXPECT_TRUE(write(scene.get()).ends_with(text + "\n"));
}

TEST_F(SceneFile, LongListsTakeTimeInProportion) {
    const std::string body = repeated(
        60000 / kStep, "LIGHT LIGHT_TYPE SPOT HIERARCHY MODEL 'a' '' SPLINE LINEAR WAVE x\n");
    EXPECT_GT(write(read(body).get()).size(), body.size());
    const std::string root = "HIERARCHY MODEL 'a' ''\n";
    const std::string wide = repeated(100000, "MODEL 'b' 'a' MATERIAL x MATERIAL y\n");
    EXPECT_NE(read(root + wide)->hierarchies, nullptr);
    const OwnedScene deep = read(root + repeated(100000, "MODEL 'a' 'a'\n"));
    EXPECT_GT(write(deep.get()).size(), 3000000U) << "a level costs as much as a node";
    if (!kWholeSeries) {
        return;
    }
    readFile("SSCN\nx v2.60\n" + root + repeated(kModelMaxNodes, "MODEL 'a' 'a'\n"), 0);
    EXPECT_NE(messages().find(": a tree of more than 1048576 nodes.\n"), std::string::npos);
}

} // namespace
