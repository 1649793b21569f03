// SPDX-License-Identifier: MIT
// What the fuzz targets share: the entry point's declaration and an input as a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <unistd.h>

/// One run over `size` bytes of input. Always 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Zero bytes do not belong into text: strings end there, so that what is read is less than what
/// was written. Such input must be survived, no more.
inline bool holdsZero(std::string_view text) {
    return text.find('\0') != std::string_view::npos;
}

/// A folder of this process, in which each input becomes the file that a reader opens by name. It
/// is on a memory file system where there is one, and goes with the process.
class InputFolder {
  public:
    InputFolder() {
        const bool shm = std::filesystem::exists("/dev/shm");
        path_ = (shm ? "/dev/shm" : std::filesystem::temp_directory_path().string()) +
                "/tdr-fuzz-" + std::to_string(getpid());
        std::filesystem::create_directories(path_);
    }
    ~InputFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    InputFolder(const InputFolder&) = delete;
    InputFolder& operator=(const InputFolder&) = delete;

    /// Puts the bytes into the file `name` of the folder and returns its path.
    std::string write(std::string_view name, const std::uint8_t* data, std::size_t size) const {
        std::ofstream file(path(name), std::ios::binary);
        file.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
        return path(name);
    }

    /// The path of a file `name` of the folder, which need not exist.
    std::string path(std::string_view name) const { return path_ + "/" + std::string(name); }

    /// The bytes of the file `name`, empty when there is none.
    std::string read(std::string_view name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

  private:
    std::string path_;
};

} // namespace fuzz
