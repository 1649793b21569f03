// SPDX-License-Identifier: MIT
#include "ipc_child.h"

#include "base/retry.h"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <sys/wait.h>

extern "C" { // glibc 2.36 declares the calls of this header without C linkage
#include <sys/pidfd.h>
}

namespace ipc {

namespace {

/// Polling interval for a process without a descriptor.
constexpr int kLookMilliseconds = 10;

} // namespace

Deadline deadlineAfter(std::optional<std::chrono::milliseconds> limit) {
    return limit ? Deadline(Clock::now() + *limit) : std::nullopt;
}

int pollTimeout(Deadline deadline) {
    if (!deadline) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, INT32_MAX));
}

Child::Child(pid_t pid) noexcept : pid_(pid), pidFd_(pidfd_open(pid, 0)), taken_(false) {}

int Child::pollTimeout(Deadline deadline) const {
    const int left = ipc::pollTimeout(deadline);
    if (pidFd_.valid()) {
        return left;
    }
    return left < 0 ? kLookMilliseconds : std::min(left, kLookMilliseconds);
}

bool Child::hasEnded() const {
    if (taken_) {
        return true;
    }
    if (pidFd_.valid()) {
        pollfd watched{pidFd_.get(), POLLIN, 0};
        return poll(&watched, 1, 0) > 0;
    }
    // With SIGCHLD ignored the system discards an ended process at once.
    siginfo_t info{};
    const int asked = waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT);
    return asked != 0 || info.si_pid != 0;
}

bool Child::awaitEnd(Deadline deadline) const {
    while (!hasEnded()) {
        if (deadline && Clock::now() >= *deadline) {
            return false;
        }
        pollfd watched{pidFd_.get(), POLLIN, 0};
        (void)poll(&watched, 1, pollTimeout(deadline));
    }
    return true;
}

void Child::kill() const {
    if (hasEnded()) {
        return;
    }
    if (pidFd_.valid()) {
        pidfd_send_signal(pidFd_.get(), SIGKILL, nullptr, 0);
    } else {
        ::kill(pid_, SIGKILL);
    }
}

bool Child::take(std::optional<int>& status) {
    if (taken_) {
        return true;
    }
    int value = 0;
    const pid_t got = base::retried([&] { return waitpid(pid_, &value, WNOHANG); });
    if (got == 0) {
        return false;
    }
    if (got == pid_) {
        status = value;
    }
    taken_ = true;
    pidFd_.reset();
    return true;
}

} // namespace ipc
