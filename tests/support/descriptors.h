// SPDX-License-Identifier: MIT
// Open files that fail while they are read or written.
#pragma once

#include "base/uniqueFd.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace support {

/// Replaces every open descriptor of the file `path` by `instead`: a folder cannot be read
/// (EISDIR), /dev/full cannot be written. Returns how many there were.
inline int replaceDescriptors(const std::string& path, const char* instead) {
    const std::string whole = std::filesystem::canonical(path).string();
    const int how = std::filesystem::is_directory(instead) ? O_RDONLY : O_RDWR;
    const base::UniqueFd other(open(instead, how | O_CLOEXEC));
    int replaced = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        if (std::filesystem::read_symlink(entry.path(), gone) == whole) {
            dup2(other.get(), std::stoi(entry.path().filename().string()));
            ++replaced;
        }
    }
    return replaced;
}

/// A pipe in place of a file, which gives these bytes and then an error: EAGAIN, because it is
/// non-blocking and its writer exists.
class FailingPipe {
  public:
    FailingPipe(const std::string& path, std::string_view bytes) {
        mkfifo(path.c_str(), 0600);
        pipe_.reset(open(path.c_str(), O_RDWR | O_CLOEXEC));
        if (write(pipe_.get(), bytes.data(), bytes.size()) != std::ssize(bytes)) {
            std::abort();
        }
    }

  private:
    base::UniqueFd pipe_;
};

} // namespace support
