// SPDX-License-Identifier: MIT
// Writing to a reader that may have gone.
#pragma once

#include <csignal>

namespace base {

/// The signal set with only SIGPIPE.
[[nodiscard]] sigset_t onlySigpipe() noexcept;

/// Holds SIGPIPE back while it exists and discards one that is raised meanwhile; one that was
/// pending stays. For a write whose own result is checked: it fails with EPIPE instead of ending
/// the process. Only this thread's signal mask changes, never the action, which belongs to the
/// whole process. Keeps errno.
class HoldSigpipe {
  public:
    HoldSigpipe() noexcept;
    ~HoldSigpipe();
    HoldSigpipe(const HoldSigpipe&) = delete;
    HoldSigpipe& operator=(const HoldSigpipe&) = delete;

  private:
    sigset_t mask_{};
    bool pendingBefore_;
};

} // namespace base
