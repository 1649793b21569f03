// SPDX-License-Identifier: MIT
// Scenes: the scene file (".scn") as a record, read and written as ASCII text.
#pragma once

#include "tinyCamera.h"
#include "tinyLight.h"
#include "tinyModel.h"
#include "tinyOpaque.h"

#include <cstdint>

/// `ScenePicture::format`: the index of the format's word.
enum ScenePictureFormat : std::int16_t {
    kPicture35mm137,
    kPicture35mm166,
    kPicture35mm185,
    kPicture70mmPanavision,
    kPicture70mmImax,
    kPicture70mmOmnimax,
    kPictureNtsc,
    kPicturePal,
    kPictureHdtv,
    kPictureSlide35mm,
    kPicture6cm6cm,
    kPicture6cm9cm,
    kPicture4in5in,
    kPictureCustomAspect, ///< `aspect` counts
    kPictureCustomSize,   ///< `width` and `height` count
    kPictureFormatCount
};

/// The picture format of the rendering settings.
struct ScenePicture {
    std::int16_t set;    ///< non-zero: the file gives a picture block
    std::int16_t format; ///< a `ScenePictureFormat`
    float aspect;
    float width;
    float height;
};

/// Index of each value and curve of `SceneRendering::fade` and `SceneRendering::fadeCurves`.
enum SceneFade : std::uint8_t {
    kFadeStart,
    kFadeEnd,
    kFadeRed,
    kFadeGreen,
    kFadeBlue,
    kFadeTransparency,
    kFadeCount
};

/// The rendering settings of a scene.
struct SceneRendering {
    std::int16_t type;     ///< 0 wire frame, 1 hidden line, 2 rendering, 3 hardware
    std::int32_t frame[3]; ///< first frame, last frame, step
    std::int16_t frameBuffer;
    char* outputFile;           ///< owned; may be null
    std::int32_t resolution[2]; ///< width, height in pixels
    ScenePicture picture;
    float pixelRatio;
    std::int16_t filter; ///< also the first integer of "ANTIALIAS"
    std::int32_t maxRayDepth;
    std::int32_t maxTriaDepth;
    std::int32_t maxTreeDepth;
    char* preRendering;  ///< command before rendering, owned; may be null
    char* postRendering; ///< command after rendering, owned; may be null
    std::int16_t timeStatistics;
    std::int16_t memoryStatistics;
    std::int16_t treeStatistics;
    std::int16_t lineStatistics;
    std::int16_t antialias;      ///< 0 none, 1 fixed, 2 adaptive
    std::int32_t antialiasLevel; ///< second integer of "ANTIALIAS"
    float antialiasThreshold;
    std::int16_t backCulling;
    std::int16_t fadeActive;
    float fade[kFadeCount];
    Fcurve* fadeCurves[kFadeCount]; ///< owned; null where the value is not animated
    float ambience[3];              ///< red, green, blue
    std::int32_t motionBlur;
    float shutterSpeed;
    float minMovement;
    std::int16_t onField;
    std::int32_t firstField;
};

/// Index of each path of `Scene::paths`, in the order of the file.
enum ScenePath : std::uint8_t {
    kObjectPath,
    kTexturePath,
    kPicturePath,
    kMaterialLibrary,
    kTextureLibrary,
    kPaletteLibrary,
    kScenePathCount
};

/// One model tree of a scene, an element of the scene's list.
struct SceneHierarchy {
    Model* root; ///< owned
    SceneHierarchy* next;
};

/// One spline of a scene, an element of the scene's list.
struct SceneSpline {
    Spline* spline; ///< owned
    SceneSpline* next;
};

/// A scene; owns everything it points to. The last and the fourth frame number are written in the
/// opposite order of the members here.
struct Scene {
    char* name;                   ///< file name without ".scn", set before reading and writing
    char* paths[kScenePathCount]; ///< search paths; null where not set
    std::int16_t frameStart;      ///< first frame
    std::int16_t frameEnd;        ///< last frame
    std::int16_t frameFourth;     ///< the fourth number of the "FRAME" line
    std::int16_t pause;
    std::int16_t rate;       ///< frames per second, cut to a whole number
    std::int16_t frameThird; ///< the third number of the "FRAME" line
    Camera camera;
    Light* lights;               ///< in file order
    SceneHierarchy* hierarchies; ///< in file order
    SceneSpline* splines;        ///< in file order
    Opaque* wave;                ///< wave data, kept as text; null when there is none
    SceneRendering rendering;
};

/// A new scene: frames 1 to 100, third and fourth frame number 1, pause 0, rate 30; a camera as
/// from `cameraInitialize`; rendering settings zero except for the pixel ratio 1 and the resolution
/// 720 x 486; no name, no paths, empty lists. Null when out of memory.
[[nodiscard]] Scene* sceneAllocate();

/// Frees the scene and everything it owns and sets `*scene` to null. Accepts null.
void sceneDispose(Scene** scene);

struct SceneDisposer {
    void operator()(Scene* scene) const noexcept { sceneDispose(&scene); }
};

/// Appends a light, a tree or a spline to the scene's list; the scene then owns it. Returns 1, or 0
/// when an argument is null, when out of memory (the caller then keeps it), or when it is in the
/// list already. Takes time in proportion to the list.
int sceneAppendLight(Scene* scene, Light* light);
int sceneAppendHierarchy(Scene* scene, Model* root);
int sceneAppendSpline(Scene* scene, Spline* spline);

/// Writes the scene to the file of its name plus ".scn"; `headerText` (null counts as empty) and
/// `version` make the header line. The format is that of the newest version whatever `version`
/// says: readers end the keys of version 2.02 and older at their "FLAG", so a scene with keys
/// cannot be written under such a version. Prints a message. Returns 1, or 0 when the file cannot
/// be opened or written, or, with no file touched, when the scene or its name is missing or the
/// text would not read back: keys under an old version, a version that is not finite, a header text
/// of several lines, a tree beyond the limits of tinyModel.h.
int sceneWriteAsciiAnimation(const char* headerText, float version, const Scene* scene);

/// Reads the file of the scene's name plus ".scn" into the scene: values read replace those held
/// (but a curve that is held still counts before a number that is read, and so does a form of a
/// position before another one), lights, trees and splines are appended to the lists. Prints a
/// message. Returns 1, or 0 when the scene or its name is missing, the file cannot be opened or
/// read, it is not a scene file, it has the line ends of an old Mac, or when out of memory.
int sceneReadAsciiAnimation(Scene* scene);
