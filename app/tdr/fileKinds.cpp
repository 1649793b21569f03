// SPDX-License-Identifier: MIT
#include "fileKinds.h"

namespace {

constexpr FileKind kKinds[] = {
    {"picture", [](const std::filesystem::path&) { return true; }, describePicture},
};

} // namespace

std::span<const FileKind> fileKinds() {
    return kKinds;
}
