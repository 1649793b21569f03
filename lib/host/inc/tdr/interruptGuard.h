// SPDX-License-Identifier: MIT
// Ctrl-C without leftovers.
#pragma once

namespace tdr {

/// While one lives, SIGINT, SIGTERM and SIGHUP no longer end the process: they make every wait of
/// this library, the current one and all later ones, return `FailureKind::Interrupted`. The caller
/// unwinds as after any failure, so that destructors end the drivers and remove blocks and
/// temporary files, and may then call `endBySignal`. A signal that was ignored before (as under
/// nohup) stays ignored. For programs, not for libraries: it changes the process's signal actions
/// until it is destroyed. At most one at a time.
class InterruptGuard {
  public:
    InterruptGuard();
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

    /// The signal that came while the last guard lived, or 0.
    [[nodiscard]] static int signal();

    /// Ends this process by `signal` with its default action, so that a shell sees what happened.
    [[noreturn]] static void endBySignal(int signal);
};

} // namespace tdr
