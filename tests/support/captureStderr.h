// SPDX-License-Identifier: MIT
// Captures stderr of this process (and any child that inherits it) while the object exists.
#pragma once

#include "base/uniqueFd.h"

#include <algorithm>
#include <cstdio>
#include <string>
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
        std::string all;
        char part[4096];
        ssize_t got = 0;
        while ((got = pread(file_.get(), part, sizeof part, static_cast<off_t>(all.size()))) > 0) {
            all.append(part, static_cast<std::size_t>(got));
        }
        return all;
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
