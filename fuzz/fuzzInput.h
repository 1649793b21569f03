// SPDX-License-Identifier: MIT
// Shared by the fuzz targets: the declaration of the entry point, and an input as a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

/// One run over `size` bytes of input. Always 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Zero bytes are invalid in text: strings end there, so reading gives less than was written. Such
/// input must only not cause a crash.
inline bool holdsZero(std::string_view text) {
    return text.find('\0') != std::string_view::npos;
}

/// A folder of files in memory. The targets that use it are linked so that the toolkit opens its
/// files here (memoryFiles.cpp) and nowhere else.
class InputFolder {
  public:
    /// Writes the bytes to the file `name` of the folder and returns its path.
    std::string write(std::string_view name, const std::uint8_t* data, std::size_t size) const;

    /// The path of a file `name` of the folder, which need not exist.
    [[nodiscard]] std::string path(std::string_view name) const;

    /// The bytes of the file `name`, empty if there is none.
    [[nodiscard]] const std::string& read(std::string_view name) const;
};

} // namespace fuzz
