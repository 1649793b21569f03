// SPDX-License-Identifier: MIT
// A temporary folder for a test, removed with its contents.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace support {

/// The bytes of a file; none when it cannot be read.
inline std::string contentOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

class TempDir {
  public:
    TempDir() {
        std::string name = (std::filesystem::temp_directory_path() / "tdr-test-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            std::abort();
        }
        path_ = name;
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    /// Path of something in the folder.
    [[nodiscard]] std::string operator/(std::string_view name) const {
        return (path_ / name).string();
    }

    /// Writes a file of these bytes and returns its path.
    std::string write(std::string_view name, std::string_view bytes, unsigned mode = 0644) const {
        std::string path = *this / name;
        {
            std::ofstream file(path, std::ios::binary);
            file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        }
        std::filesystem::permissions(path, static_cast<std::filesystem::perms>(mode));
        return path;
    }

    /// Makes a FIFO without readers and writers and returns its path.
    [[nodiscard]] std::string fifo(std::string_view name) const {
        std::string path = *this / name;
        if (mkfifo(path.c_str(), 0644) != 0) {
            std::abort();
        }
        return path;
    }

  private:
    std::filesystem::path path_;
};

} // namespace support
