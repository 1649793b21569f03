// SPDX-License-Identifier: MIT
// A process that this one has started: whether it still runs, its end, its exit status. Uses a
// pidfd where the system has them (Linux 5.3 and later, but not under valgrind), and otherwise
// polls the process.
#pragma once

#include "base/uniqueFd.h"

#include <chrono>
#include <optional>
#include <sys/types.h>
#include <utility>

namespace ipc {

using Clock = std::chrono::steady_clock;

/// The moment at which a wait ends; nullopt means no limit.
using Deadline = std::optional<Clock::time_point>;

/// The moment `limit` from now, or no limit.
[[nodiscard]] Deadline deadlineAfter(std::optional<std::chrono::milliseconds> limit);

/// The time until `deadline` for `poll`: milliseconds rounded up, 0 when it has passed, -1 without
/// limit.
[[nodiscard]] int pollTimeout(Deadline deadline);

/// Move-only. Its destructor neither ends the process nor waits for it.
class Child {
  public:
    Child() = default; ///< no process: counts as ended
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

    /// A descriptor to poll for reading: ready once the process has ended. -1 if the system has no
    /// pidfds; so take the timeout from `pollTimeout` and then call `hasEnded`.
    [[nodiscard]] int fd() const { return pidFd_.get(); }

    /// The timeout of such a poll: the time until `deadline`, but without a pidfd at most one
    /// polling interval. A poll that times out has not always reached the deadline.
    [[nodiscard]] int pollTimeout(Deadline deadline) const;

    /// True when the process has ended, even if it has not been waited for.
    [[nodiscard]] bool hasEnded() const;

    /// Waits until it has ended; false when the deadline came first.
    [[nodiscard]] bool awaitEnd(Deadline deadline) const;

    /// Sends SIGKILL, unless it has ended.
    void kill() const;

    /// Stores its exit status, as from `waitpid`, in `status`; none if the status is lost because
    /// this process ignores SIGCHLD and the system has waited for the child. False when it has not
    /// ended, or when a tracer has to take the status first: try again then.
    [[nodiscard]] bool take(std::optional<int>& status);

  private:
    pid_t pid_ = -1;
    base::UniqueFd pidFd_;
    bool taken_ = true; ///< the process id may be in use again
};

} // namespace ipc
