// SPDX-License-Identifier: MIT
#include "tinyCamera.h"

#include "curve/tinyCurveTable.h"
#include "tinySceneInner.h"

namespace {

constexpr float kDefaultEyeZ = 20.0F;
constexpr float kDefaultNear = 0.1F;
constexpr float kDefaultFar = 32768.0F;
constexpr float kDefaultFieldOfView = 41.5F;

using table::Outcome;
using Row = table::Row<Camera>;
using Rows = table::CurveRows<Camera>;

constexpr char kReader[] = "CameraReadAsciiAnimation";
constexpr const char* kDepthOfField[] = {"OFF", "AUTOMATIC", "CUSTOM"};
constexpr table::Choice kDepthWords = {kDepthOfField, kReader, "depth of field"};
constexpr table::Choice kEnlargeWords = {table::kActive, kReader, "enlarge active"};

Outcome dropNumber(std::FILE* stream, Camera&) {
    animNotify(AnimNoticeKind::ByFormat, animToken);
    return table::next(in_animSValue_na(stream));
}

constexpr Row kRows[] = {
    Rows::position<&Camera::position, kCameraPositionPath, kCameraPositionX>("POSITION"),
    Rows::position<&Camera::interest, kCameraInterestPath, kCameraInterestX>("INTEREST"),
    Rows::scalar<&Camera::roll, kCameraRoll>("ROLL"),
    {"YAW_PITCH_ROLL",
     [](std::FILE* stream, Camera& c) { return table::readPlainTriple(stream, c.yawPitchRoll); },
     [](std::FILE* stream, const Camera& c) { table::writePlainTriple(stream, c.yawPitchRoll); }},
    Rows::scalar<&Camera::near, kCameraNear>("NEAR"),
    Rows::scalar<&Camera::far, kCameraFar>("FAR"),
    Rows::scalar<&Camera::focalLength, kCameraFocalLength>("FOCAL_LENGTH"),
    Rows::scalar<&Camera::fStop, kCameraFStop>("F_STOP"),
    Rows::scalar<&Camera::focalDistance, kCameraFocalDistance>("FOCAL_DISTANCE"),
    Rows::scalar<&Camera::fieldOfView, kCameraFieldOfView>("FIELD_OF_VIEW"),
    Rows::choice<kDepthWords, &Camera::depthOfField>("DEPTH_OF_FIELD"),
    Rows::scalar<&Camera::nearFocus, kCameraNearFocus>("NEAR_FOCUS"),
    Rows::scalar<&Camera::farFocus, kCameraFarFocus>("FAR_FOCUS"),
    Rows::scalar<&Camera::outOfFocus, kCameraOutOfFocus>("OUT_OF_FOCUS"),
    Rows::scalar<&Camera::maximumCoc, kCameraMaximumCoc>("MAXIMUM_COC"),
    Rows::curveOnly<kCameraHidden>("HIDDEN"),
    Rows::flag<kEnlargeWords, &Camera::enlarge>("ENLARGE"),
    {"TYPE", dropNumber},
    {"STEREO", dropNumber},
};

} // namespace

void cameraListWords(const table::WordTaker& taker) {
    table::listWords(kRows, taker);
}

void cameraInitialize(Camera* camera) {
    if (camera != nullptr) {
        *camera = Camera{};
        camera->position.fixed.z = kDefaultEyeZ;
        camera->near = kDefaultNear;
        camera->far = kDefaultFar;
        camera->fieldOfView = kDefaultFieldOfView;
    }
}

void cameraDisposeParts(Camera* camera) {
    if (camera != nullptr) {
        positionClear(&camera->position);
        positionClear(&camera->interest);
        fcurveArrayDispose(camera->curves, kCameraCurveCount);
    }
}

int cameraWriteAsciiAnimation(std::FILE* stream, const Camera* camera) {
    return camera == nullptr ? 0 : table::writeDeeper(stream, kRows, *camera);
}

int cameraReadAsciiAnimation(std::FILE* stream, Camera* camera) {
    Camera dropped = {};
    const notice::Call call;
    const int result = sceneReadBlock(stream, kRows, camera != nullptr ? *camera : dropped);
    cameraDisposeParts(&dropped);
    return notice::Call::good(stream) ? result : 0;
}
