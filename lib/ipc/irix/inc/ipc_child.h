// SPDX-License-Identifier: MIT
// A process that this one has started, seen from here: whether it still runs, its end, its exit
// status. On a pidfd where the system has such descriptors (Linux from 5.3 on, but not under
// valgrind), otherwise by asking for it again and again.
#pragma once

#include "base/uniqueFd.h"

#include <chrono>
#include <optional>
#include <sys/types.h>
#include <utility>

namespace ipc {

using Clock = std::chrono::steady_clock;

/// The moment at which a wait ends; nothing stands for a wait without limit.
using Deadline = std::optional<Clock::time_point>;

/// The moment `limit` from now, or no limit.
[[nodiscard]] Deadline deadlineAfter(std::optional<std::chrono::milliseconds> limit);

/// What is left until `deadline` as `poll` wants it: milliseconds rounded up, 0 when it has passed,
/// -1 without limit.
[[nodiscard]] int pollTimeout(Deadline deadline);

/// Move-only. Its destructor neither ends the process nor waits for it.
class Child {
  public:
    Child() = default; ///< none: one that has ended
    explicit Child(pid_t pid) noexcept;
    Child(Child&& other) noexcept
        : pid_(std::exchange(other.pid_, -1)), pidFd_(std::move(other.pidFd_)),
          taken_(std::exchange(other.taken_, true)) {}
    Child& operator=(Child&& other) noexcept {
        pid_ = std::exchange(other.pid_, -1);
        pidFd_ = std::move(other.pidFd_);
        taken_ = std::exchange(other.taken_, true);
        return *this;
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() = default;

    [[nodiscard]] pid_t pid() const { return pid_; } ///< -1: none

    /// To be polled for reading beside other things: ready once the process has ended. -1 where the
    /// system has no such descriptor; so take the timeout from `pollTimeout` and then ask
    /// `hasEnded`.
    [[nodiscard]] int fd() const { return pidFd_.get(); }

    /// The timeout of such a poll: what is left until `deadline`, without a descriptor at most as
    /// long as the next look may wait. A poll that ends with nothing has not always reached it.
    [[nodiscard]] int pollTimeout(Deadline deadline) const;

    /// True when the process has ended, also when nobody has waited for it yet.
    [[nodiscard]] bool hasEnded() const;

    /// Waits until it has ended; false when the deadline came first.
    [[nodiscard]] bool awaitEnd(Deadline deadline) const;

    /// Sends SIGKILL, unless it has ended.
    void kill() const;

    /// Takes its exit status, as `waitpid` tells it, into `status`; none when it cannot be had
    /// because the process ignores SIGCHLD and the system has waited for the child. False when it
    /// has not ended, or when its status is somebody else's first (a tracer's): try again then.
    [[nodiscard]] bool take(std::optional<int>& status);

  private:
    pid_t pid_ = -1;
    base::UniqueFd pidFd_;
    bool taken_ = true; ///< the number may be another process's by now
};

} // namespace ipc
