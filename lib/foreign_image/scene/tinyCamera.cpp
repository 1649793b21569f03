// SPDX-License-Identifier: MIT
#include "tinyCamera.h"

#include "tinyCameraBlock.h"
#include "tinyCameraPosition.h"
#include "tinyFcurve.h"

#include <cstring>

namespace {

constexpr float kDefaultEyeZ = 20.0F;
constexpr float kDefaultNear = 0.1F;
constexpr float kDefaultFar = 32768.0F;
constexpr float kDefaultFieldOfView = 41.5F;

struct CameraBlock {
    Camera* record;
};
using Row = block::Row<CameraBlock>;
using Rows = block::Rows<CameraBlock>;
using block::Outcome;

constexpr const char* kDepthOfField[] = {"OFF", "AUTOMATIC", "CUSTOM"};
constexpr block::Choice kDepthWords = {kDepthOfField, "CameraReadAsciiAnimation", "depth of field"};
constexpr block::Choice kEnlargeWords = {block::kActive, "CameraReadAsciiAnimation",
                                         "enlarge active"};

template <auto Member, int Path, int X>
constexpr Row position(std::string_view word) {
    return {word,
            [](std::FILE* stream, CameraBlock& b) {
                return Rows::again(
                    positionRead(stream, b.record->*Member, b.record->curves, Path, X));
            },
            [](std::FILE* stream, const Camera& camera) {
                positionWrite(stream, camera.*Member, camera.curves, Path, X);
            }};
}

Outcome readAngles(std::FILE* stream, CameraBlock& b) {
    const block::DroppedCurves<3> dropped;
    float* angles = b.record->yawPitchRoll;
    return Rows::again(value3ReadAsciiAnimation(stream, &angles[0], &angles[1], &angles[2],
                                                dropped.place(0), dropped.place(1),
                                                dropped.place(2)));
}

void writeAngles(std::FILE* stream, const Camera& camera) {
    const float* angles = camera.yawPitchRoll;
    value3WriteAsciiAnimation(stream, angles[0], angles[1], angles[2], nullptr, nullptr, nullptr);
}

Outcome dropNumber(std::FILE* stream, CameraBlock&) {
    animNotify(AnimNoticeKind::ByFormat, animToken);
    return in_animToken(stream) != 0 ? Outcome::Next : Outcome::EndOfFile;
}

constexpr Row kRows[] = {
    position<&Camera::position, kCameraPositionPath, kCameraPositionX>("POSITION"),
    position<&Camera::interest, kCameraInterestPath, kCameraInterestX>("INTEREST"),
    Rows::scalar<&Camera::roll, kCameraRoll>("ROLL"),
    {"YAW_PITCH_ROLL", readAngles, writeAngles},
    Rows::scalar<&Camera::near, kCameraNear>("NEAR"),
    Rows::scalar<&Camera::far, kCameraFar>("FAR"),
    Rows::scalar<&Camera::focalLength, kCameraFocalLength>("FOCAL_LENGTH"),
    Rows::scalar<&Camera::fStop, kCameraFStop>("F_STOP"),
    Rows::scalar<&Camera::focalDistance, kCameraFocalDistance>("FOCAL_DISTANCE"),
    Rows::scalar<&Camera::fieldOfView, kCameraFieldOfView>("FIELD_OF_VIEW"),
    Rows::choice<&Camera::depthOfField, kDepthWords>("DEPTH_OF_FIELD"),
    Rows::scalar<&Camera::nearFocus, kCameraNearFocus>("NEAR_FOCUS"),
    Rows::scalar<&Camera::farFocus, kCameraFarFocus>("FAR_FOCUS"),
    Rows::scalar<&Camera::outOfFocus, kCameraOutOfFocus>("OUT_OF_FOCUS"),
    Rows::scalar<&Camera::maximumCoc, kCameraMaximumCoc>("MAXIMUM_COC"),
    Rows::curveOnly<kCameraHidden>("HIDDEN"),
    Rows::flag<&Camera::enlarge, kEnlargeWords>("ENLARGE"),
    {"TYPE", dropNumber},
    {"STEREO", dropNumber},
};

} // namespace

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
    if (camera == nullptr) {
        return 0;
    }
    incIndent(1);
    block::write(stream, kRows, *camera);
    incIndent(-1);
    return 1;
}

int cameraReadAsciiAnimation(std::FILE* stream, Camera* camera) {
    Camera dropped = {};
    CameraBlock b = {camera != nullptr ? camera : &dropped};
    const notice::Call call;
    const int result = block::read(stream, kRows, b);
    cameraDisposeParts(&dropped);
    return notice::Call::good(stream) ? result : 0;
}
