// SPDX-License-Identifier: MIT
// Spline files of both flavours.
#include "fixedPoint.h"

#include "tinySpline.h"

namespace {

struct SplineFormat {
    using Record = Spline;
    using Disposer = SplineDisposer;
    static constexpr const char* extension = ".spl";
    static constexpr auto read = splineReadFile;
    static constexpr auto write = splineWriteFile;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzz::expectFixedPoint<SplineFormat>(data, size);
}
