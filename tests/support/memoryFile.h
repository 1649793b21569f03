// SPDX-License-Identifier: MIT
// A file with a name whose bytes are in memory, for tests that rewrite one thousands of times.
#pragma once

#include "base/uniqueFd.h"
#include "support/tempDir.h"

#include <sys/mman.h>
#include <unistd.h>

namespace support {

class MemoryFile {
  public:
    /// The file `name` of the folder, empty.
    MemoryFile(const TempDir& folder, std::string_view name) : fd_(memfd_create("test", 0)) {
        std::filesystem::create_symlink("/proc/" + std::to_string(getpid()) + "/fd/" +
                                            std::to_string(fd_.get()),
                                        folder / name);
    }

    /// Replaces the content of the file by these bytes.
    void set(std::string_view bytes) {
        if (ftruncate(fd_.get(), 0) != 0 ||
            pwrite(fd_.get(), bytes.data(), bytes.size(), 0) != std::ssize(bytes)) {
            std::abort();
        }
    }

    [[nodiscard]] std::string get() const {
        return contentOf("/proc/self/fd/" + std::to_string(fd_.get()));
    }

  private:
    base::UniqueFd fd_;
};

} // namespace support
