// SPDX-License-Identifier: MIT
// The records of splines and their points.
#include "tinySpline.h"

#include "file/tinyNotice.h"
#include "tinySplineInner.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

const char* const SplineTypeName[kSplineTypes] = {"LINEAR", "BEZIER", "BSPLINE", "CARDINAL"};
const char* const BezSegmentName[kBezierSegments] = {"--------", "CURVE", "LINEAR"};
const char* const BezConstraintName[kBezierConstraints] = {"--------", "C0", "C1",
                                                           "C2",       "G1", "G2"};

namespace {

bool same(const Vector& a, const Vector& b) {
    return a.x == b.x && a.y == b.y && a.z == b.z;
}

bool samePlace(const SplineKey& a, const SplineKey& b) {
    return same(a.position, b.position) && same(a.previous, b.previous) && same(a.next, b.next);
}

} // namespace

Spline* splineAllocate() {
    return newRecords<Spline>(1);
}

void splineDispose(Spline** spline) {
    if (spline == nullptr || *spline == nullptr) {
        return;
    }
    std::free((*spline)->name);
    std::free((*spline)->keys);
    std::free((*spline)->keyframe);
    std::free((*spline)->keyList);
    std::free(std::exchange(*spline, nullptr));
}

SplineKey* splineKeyAllocate(std::int16_t count) {
    return count < 1 ? nullptr : newRecords<SplineKey>(static_cast<std::size_t>(count));
}

std::int32_t splineGetTypeByName(const char* name) {
    return name == nullptr ? 0 : std::max(0, table::indexOf(SplineTypeName, name));
}

void splineReportSceneMembers(const Spline& spline) {
    const struct {
        const char* word;
        bool set;
    } members[] = {
        {"KEYFRAME", spline.keyframe != nullptr},
        {"KEYLIST", spline.keyList != nullptr},
        {"WIRE_COLOUR", (spline.display & kSplineHasWireColour) != 0 || spline.wireColour != 0},
        {"LINE_TYPE", (spline.display & kSplineHasLineType) != 0 || spline.lineType != 0},
        {"SELECTED", (spline.display & kSplineHasSelection) != 0 || spline.selection != 0}};
    for (const auto& member : members) {
        if (member.set) {
            notice::written(AnimNoticeKind::ByFormat, member.word, "of spline \"%.60s\"",
                            spline.name != nullptr ? spline.name : "");
        }
    }
}

int splineShrinkBezier(Spline* spline) {
    if (spline == nullptr || spline->type != kSplineBezier || spline->keys == nullptr ||
        spline->keyCount < 1) {
        return 0;
    }
    SplineKey* const end = spline->keys + spline->keyCount;
    const auto removed = static_cast<int>(end - std::unique(spline->keys, end, samePlace));
    spline->keyCount = static_cast<std::int16_t>(spline->keyCount - removed);
    return removed;
}
