// SPDX-License-Identifier: MIT
// A stream over bytes, one of whose reads fails.
#pragma once

#include "base/uniqueFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

namespace support {

class FailingStream {
  public:
    /// The read of this number fails with EIO, counted from 1.
    FailingStream(std::string bytes, int failing)
        : bytes_(std::move(bytes)), failing_(failing),
          stream_(fopencookie(this, "r", {.read = read, .write = {}, .seek = seek, .close = {}})) {}
    FailingStream(const FailingStream&) = delete;
    FailingStream& operator=(const FailingStream&) = delete;

    [[nodiscard]] std::FILE* get() const { return stream_.get(); }
    [[nodiscard]] bool hasFailed() const { return reads_ >= failing_; }

  private:
    static ssize_t read(void* cookie, char* to, std::size_t size) {
        auto* self = static_cast<FailingStream*>(cookie);
        if (++self->reads_ == self->failing_) {
            errno = EIO;
            return -1;
        }
        const std::size_t got = std::min(size, self->bytes_.size() - self->at_);
        std::memcpy(to, self->bytes_.data() + self->at_, got);
        self->at_ += got;
        return static_cast<ssize_t>(got);
    }
    static int seek(void* cookie, off64_t* offset, int whence) {
        auto* self = static_cast<FailingStream*>(cookie);
        *offset += whence == SEEK_CUR ? static_cast<off64_t>(self->at_) : 0;
        self->at_ = static_cast<std::size_t>(*offset);
        return whence == SEEK_END ? -1 : 0;
    }

    std::string bytes_;
    int failing_;
    std::size_t at_ = 0;
    int reads_ = 0;
    base::UniqueFile stream_;
};

} // namespace support
