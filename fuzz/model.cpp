// SPDX-License-Identifier: MIT
// Hierarchy files of both flavours.
#include "fixedPoint.h"

#include "tinyModel.h"

namespace {

struct ModelFormat {
    using Record = Model;
    struct Disposer {
        void operator()(Model* model) const { modelDispose(&model); }
    };
    static constexpr const char* extension = ".hrc";
    static constexpr auto read = modelReadFile;
    static constexpr auto write = modelWriteFile;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzz::expectFixedPoint<ModelFormat>(data, size);
}
