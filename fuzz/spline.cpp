// SPDX-License-Identifier: MIT
// Spline files of both flavours.
#include "fixedPoint.h"

#include "tinySoftType.h"
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
    static const fuzz::InputFolder folder;
    option.level = 0;
    folder.write("input.spl", data, size);
    fuzz::expectFixedPoint<SplineFormat>(folder);
    return 0;
}
