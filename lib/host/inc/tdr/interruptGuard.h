// SPDX-License-Identifier: MIT
// Cleaning up after Ctrl-C and other signals.
#pragma once

namespace tdr {

/// While a guard exists, no signal that can be caught ends the process, from SIGINT to the
/// real-time ones, except those that report a fault in the program itself (SIGSEGV, SIGABRT and the
/// like). A signal makes every wait of this library, the current one and all later ones, return
/// `FailureKind::Interrupted`. The caller unwinds as after any failure, so that destructors end the
/// drivers and remove blocks and temporary files, and may then call `endBySignal`. SIGPIPE and
/// SIGXFSZ have no effect, because the call that raised them also fails. An ignored signal (as
/// under nohup) stays ignored. For programs, not for libraries: it changes the process's signal
/// actions until it is destroyed. At most one at a time.
class InterruptGuard {
  public:
    InterruptGuard();
    ~InterruptGuard();
    InterruptGuard(const InterruptGuard&) = delete;
    InterruptGuard& operator=(const InterruptGuard&) = delete;

    /// While a pause exists inside a guard, signals end the process as without the guard: for times
    /// when there is nothing to clean up.
    class Pause {
      public:
        Pause();
        ~Pause();
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;

      private:
        bool active_;
    };

    /// While one exists, pauses have no effect: what contains them has something to clean up.
    class Cleanup {
      public:
        Cleanup();
        ~Cleanup();
        Cleanup(const Cleanup&) = delete;
        Cleanup& operator=(const Cleanup&) = delete;
    };

    /// The signal that arrived while the last guard existed, or 0.
    [[nodiscard]] static int signal();

    /// A descriptor that is readable once a signal has arrived, for the caller's own waits; -1
    /// without a guard.
    [[nodiscard]] static int wakeDescriptor();

    /// Ends this process by `signal` with its default action, so that a shell sees the signal.
    [[noreturn]] static void endBySignal(int signal);
};

} // namespace tdr
