// SPDX-License-Identifier: MIT
// The camera of a scene: the block after the word "CAMERA" of a scene file.
#pragma once

#include "tinyUtils.h"

#include <cstdint>
#include <cstdio>

/// Index of each curve in `Camera::curves`.
enum CameraCurve : std::uint8_t {
    kCameraPositionPath, ///< timing of the eye along its path or path model
    kCameraInterestPath, ///< timing of the interest along its path or path model
    kCameraRoll,
    kCameraFieldOfView,
    kCameraNear,
    kCameraFar,
    kCameraFocalLength,
    kCameraFStop,
    kCameraFocalDistance,
    kCameraNearFocus,
    kCameraFarFocus,
    kCameraOutOfFocus,
    kCameraMaximumCoc,
    kCameraPositionX,
    kCameraPositionY,
    kCameraPositionZ,
    kCameraInterestX,
    kCameraInterestY,
    kCameraInterestZ,
    kCameraHidden,
    kCameraCurveCount
};

/// A camera. Lengths are in scene units, angles in degrees as in the file. A parameter with a curve
/// is animated; its plain number is then ignored.
struct Camera {
    AnimatedPosition position; ///< the eye
    AnimatedPosition interest; ///< the point looked at
    float roll;
    float near; ///< distance of the near clipping plane
    float far;  ///< distance of the far clipping plane
    float focalLength;
    float fStop;
    float focalDistance;
    float fieldOfView;
    float nearFocus;
    float farFocus;
    float maximumCoc; ///< largest circle of confusion
    float outOfFocus;
    float yawPitchRoll[3];
    std::int16_t depthOfField;         ///< 0 off, 1 automatic, 2 custom
    std::int16_t enlarge;              ///< non-zero: active
    Fcurve* curves[kCameraCurveCount]; ///< owned; null where the parameter is not animated
};

/// Sets the defaults: the eye is at (0, 0, 20) and looks at the origin, near 0.1, far 32768, field
/// of view 41.5, everything else zero or null. The old contents are not freed: call it on a fresh
/// record or after `cameraDisposeParts`. Does nothing for null.
void cameraInitialize(Camera* camera);

/// Frees what the camera owns (curves, paths, names) and zeroes those pointers; the record itself
/// is the caller's. Accepts null.
void cameraDisposeParts(Camera* camera);

/// Writes the camera block, one indentation level deeper than the current one. Returns 0 when
/// `camera` is null, else 1; the caller checks for a failed stream (`ferror`).
int cameraWriteAsciiAnimation(std::FILE* stream, const Camera* camera);

/// Reads a camera block whose first word is the current token into `camera`, or discards it when
/// that is null. Returns 1 with the first token after the block as the current one, or 0 at the end
/// of the file, even if the block itself is complete. An empty block also consumes the token after
/// it.
int cameraReadAsciiAnimation(std::FILE* stream, Camera* camera);
