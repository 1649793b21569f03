// SPDX-License-Identifier: MIT
// Captures stderr of this process (and any child that inherits it) while the object exists.
#pragma once

#include "base/uniqueFd.h"
#include "support/tempDir.h"

#include <algorithm>
#include <cstdio>
#include <sys/mman.h>
#include <unistd.h>

namespace support {

class CaptureStderr {
  public:
    CaptureStderr() : saved_(dup(STDERR_FILENO)), file_(memfd_create("stderr", 0)) {
        std::fflush(stderr);
        dup2(file_.get(), STDERR_FILENO);
    }
    ~CaptureStderr() {
        std::fflush(stderr);
        dup2(saved_.get(), STDERR_FILENO);
    }
    CaptureStderr(const CaptureStderr&) = delete;
    CaptureStderr& operator=(const CaptureStderr&) = delete;

    /// All that has been written so far.
    [[nodiscard]] std::string text() const {
        std::fflush(stderr);
        return contentOf("/proc/self/fd/" + std::to_string(file_.get()));
    }
    [[nodiscard]] auto lines() const {
        const std::string all = text();
        return std::count(all.begin(), all.end(), '\n');
    }

  private:
    base::UniqueFd saved_;
    base::UniqueFd file_;
};

} // namespace support
