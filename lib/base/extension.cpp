// SPDX-License-Identifier: MIT
#include "extension.h"

#include <algorithm>
#include <cctype>
#include <string>

namespace base {

bool sameLetters(std::string_view a, std::string_view b) {
    return std::ranges::equal(
        a, b, {}, [](unsigned char c) { return std::tolower(c); },
        [](unsigned char c) { return std::tolower(c); });
}

bool hasExtension(const std::filesystem::path& path, std::string_view extension) {
    const std::string name = path.filename().string();
    return !extension.empty() && name.size() >= extension.size() &&
           sameLetters(std::string_view(name).substr(name.size() - extension.size()), extension);
}

} // namespace base
