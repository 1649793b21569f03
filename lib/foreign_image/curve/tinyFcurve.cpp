// SPDX-License-Identifier: MIT
// The records of curves and keys.
#include "tinyFcurve.h"

#include "file/tinyUtilsGrow.h"

#include <cstddef>
#include <cstdlib>
#include <utility>

Fcurve* fcurveAllocate() {
    return newRecords<Fcurve>(1);
}

FcvKey* fcvkeyAllocate(std::int16_t count) {
    if (count < 1) {
        return nullptr;
    }
    const std::size_t room =
        (static_cast<std::size_t>(count) + kFcvKeyStep - 1) / kFcvKeyStep * kFcvKeyStep;
    auto* keys = newRecords<FcvKey>(room);
    if (keys != nullptr) {
        keys[0].splineIndex = -1;
    }
    return keys;
}

void fcurveDispose(Fcurve** curve) {
    if (curve == nullptr || *curve == nullptr) {
        return;
    }
    fcvkeyDispose(&(*curve)->keys);
    std::free((*curve)->unknownChannel);
    std::free(std::exchange(*curve, nullptr));
}

void fcvkeyDispose(FcvKey** keys) {
    if (keys != nullptr) {
        std::free(std::exchange(*keys, nullptr));
    }
}

void fcurveArrayDispose(Fcurve** curves, int count) {
    for (int i = 0; curves != nullptr && i < count; ++i) {
        fcurveDispose(&curves[i]);
    }
}
