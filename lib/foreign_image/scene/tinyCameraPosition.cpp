// SPDX-License-Identifier: MIT
#include "tinyCameraPosition.h"

#include "file/tinyNotice.h"
#include "tinyFcurve.h"

#include <algorithm>
#include <iterator>

namespace {

/// A curve with one key; null when memory is exhausted.
Fcurve* constantCurve(int type, float time, float value) {
    Fcurve* curve = fcurveAllocate();
    if (curve == nullptr || (curve->keys = fcvkeyAllocate(1)) == nullptr) {
        fcurveDispose(&curve);
        return nullptr;
    }
    curve->type = static_cast<std::int16_t>(type < kFcurveChannels ? type : 0);
    curve->keyCount = 1;
    curve->keys[0].time = time;
    curve->keys[0].value = value;
    fcurveCheckOrder(curve);
    return curve;
}

/// Gives the second and third curve of three a key where they are missing.
void completeCurves(Fcurve** curves, const float* values) {
    const Fcurve* first = curves[0];
    for (int i = 1; i < 3 && first != nullptr; ++i) {
        if (curves[i] == nullptr) {
            const float time = first->keyCount > 0 ? first->keys[0].time : 1.0F;
            curves[i] = constantCurve(first->type == 0 ? 0 : first->type + i, time, values[i]);
            animNotify(AnimNoticeKind::Missing, "CURVE_TYPE", "three curves expected");
        }
    }
}

} // namespace

int tripleRead(std::FILE* stream, float* values, Fcurve** curves) {
    const int result = value3ReadAsciiAnimation(stream, &values[0], &values[1], &values[2],
                                                &curves[0], &curves[1], &curves[2]);
    completeCurves(curves, values);
    return result;
}

void reportHiddenCurves(const Fcurve* const* curves) {
    if (curves[0] == nullptr && (curves[1] != nullptr || curves[2] != nullptr)) {
        notice::written(AnimNoticeKind::ByFormat, "CURVE_TYPE", "the first of three is missing");
    }
}

void tripleWrite(std::FILE* stream, const float* values, const Fcurve* const* curves) {
    reportHiddenCurves(curves);
    value3WriteAsciiAnimation(stream, values[0], values[1], values[2], curves[0], curves[1],
                              curves[2]);
}

int positionRead(std::FILE* stream, AnimatedPosition& position, Fcurve** curves, int path, int x) {
    const int result =
        positionReadAsciiAnimation(stream, &position.fixed, &curves[path], &position.path,
                                   &position.constraintName, &position.constraintType, &curves[x],
                                   &curves[x + 1], &curves[x + 2], &position.pathModelName);
    const float fixed[] = {position.fixed.x, position.fixed.y, position.fixed.z};
    completeCurves(&curves[x], fixed);
    return result;
}

void positionWrite(std::FILE* stream, const AnimatedPosition& position, const Fcurve* const* curves,
                   int path, int x) {
    const bool hidden[] = {position.constraintName != nullptr, position.pathModelName != nullptr,
                           position.path != nullptr, curves[x] != nullptr};
    constexpr const char* kForms[] = {"CONSTRAINT", "PATH_MODEL", "PATH", "EXPLICIT"};
    const auto* first = std::find(std::begin(hidden), std::end(hidden), true);
    for (const bool* form = first; form != std::end(hidden); ++form) {
        if (form != first && *form) {
            notice::written(AnimNoticeKind::ByFormat, kForms[form - std::begin(hidden)],
                            "of a position that has another form");
        }
    }
    reportHiddenCurves(&curves[x]);
    positionWriteAsciiAnimation(stream, &position.fixed, curves[path], position.path,
                                position.constraintName, position.constraintType, curves[x],
                                curves[x + 1], curves[x + 2], position.pathModelName);
}
