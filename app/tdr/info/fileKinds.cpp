// SPDX-License-Identifier: MIT
#include "fileKinds.h"

namespace {

// The toolkit opens scene files by exactly these endings.
constexpr char kScene[] = ".scn";
constexpr char kSpline[] = ".spl";
constexpr char kHierarchy[] = ".hrc";

template <const auto& Ending>
bool endsIn(const std::filesystem::path& file) {
    return file.native().ends_with(Ending);
}

constexpr FileKind kKinds[] = {
    {"scene", endsIn<kScene>, describeScene},
    {"spline", endsIn<kSpline>, describeScene},
    {"hierarchy", endsIn<kHierarchy>, describeScene},
    {"picture", [](const std::filesystem::path&) { return true; }, describePicture},
};

} // namespace

std::span<const FileKind> fileKinds() {
    return kKinds;
}
