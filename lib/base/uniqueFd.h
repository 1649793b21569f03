// SPDX-License-Identifier: MIT
// Ownership of a file descriptor.
#pragma once

#include <utility>

namespace base {

/// Owns one descriptor and closes it; -1 means none. Move-only.
class UniqueFd {
  public:
    UniqueFd() = default;
    explicit UniqueFd(int fd) : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        reset(other.release());
        return *this;
    }
    UniqueFd(const UniqueFd&) = delete;
    UniqueFd& operator=(const UniqueFd&) = delete;
    ~UniqueFd() { reset(); }

    [[nodiscard]] int get() const { return fd_; }
    [[nodiscard]] bool valid() const { return fd_ >= 0; }

    /// Gives up the descriptor; the caller closes it.
    [[nodiscard]] int release() { return std::exchange(fd_, -1); }

    /// Closes the current descriptor, if any, and owns `fd` instead. Keeps errno.
    void reset(int fd = -1) noexcept;

  private:
    int fd_ = -1;
};

} // namespace base
