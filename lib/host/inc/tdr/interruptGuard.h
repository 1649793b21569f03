// SPDX-License-Identifier: MIT
// Ctrl-C without leftovers.
#pragma once

namespace tdr {

/// While one lives, no signal ends the process that can be kept from it, from SIGINT to the
/// real-time ones; only those that tell of a fault in the program itself (SIGSEGV, SIGABRT and
/// their like) do. A signal makes every wait of this library, the current one and all later ones,
/// return `FailureKind::Interrupted`. The caller unwinds as after any failure, so that destructors
/// end the drivers and remove blocks and temporary files, and may then call `endBySignal`. SIGPIPE
/// and SIGXFSZ do nothing: the call that raised them fails, too. A signal that was ignored before
/// (as under nohup) stays ignored. For programs, not for libraries: it changes the process's signal
/// actions until it is destroyed. At most one at a time.
class InterruptGuard {
  public:
    InterruptGuard();
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

    /// While one lives inside a guard, signals end the process as they did before the guard: for a
    /// time in which nothing is there to be cleaned up.
    class Pause {
      public:
        Pause();
        ~Pause();
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;
    };

    /// The signal that came while the last guard lived, or 0.
    [[nodiscard]] static int signal();

    /// A descriptor that is readable once a signal has come, for waits of the caller's own; -1
    /// while no guard lives.
    [[nodiscard]] static int wakeDescriptor();

    /// Ends this process by `signal` with its default action, so that a shell sees what happened.
    [[noreturn]] static void endBySignal(int signal);
};

} // namespace tdr
