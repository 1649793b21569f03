// SPDX-License-Identifier: MIT
#include "tdr/interruptGuard.h"

#include "interrupt.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <sys/eventfd.h>
#include <unistd.h>

namespace tdr {

namespace {

enum class Held : std::uint8_t {
    No,        ///< does not end a process, cannot be caught, or reports a fault in the program
    Interrupt, ///< asks the process to end
    Notice,    ///< the call that raised it also fails and gives the reason
};

/// How each signal of the system is handled: the listed ones as given, all others, including the
/// real-time ones, interrupt.
Held heldAs(int signal) {
    constexpr std::array kLeftAlone = {SIGKILL, SIGSTOP, SIGTSTP,  SIGTTIN, SIGTTOU, SIGCONT,
                                       SIGCHLD, SIGURG,  SIGWINCH, SIGSEGV, SIGBUS,  SIGILL,
                                       SIGFPE,  SIGTRAP, SIGABRT,  SIGSYS};
    for (const int other : kLeftAlone) {
        if (signal == other) {
            return Held::No;
        }
    }
    return signal == SIGPIPE || signal == SIGXFSZ ? Held::Notice : Held::Interrupt;
}

constexpr int kMostSignals = 65; // numbers from 1

std::atomic<int> caught = 0;
std::atomic<int> wakeFd = -1;
std::atomic<int> cleanups = 0;
std::atomic<bool> paused = false;
std::atomic<bool> passedOn = false; ///< a signal has its action from before the guard again
std::array<struct sigaction, kMostSignals> before;

static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free,
              "used in a signal handler");

/// Gives a signal its action from before the guard and raises it again: it takes effect when the
/// handler returns, which blocks all signals.
void passOn(int signal) {
    passedOn = true;
    ::sigaction(signal, &before[static_cast<std::size_t>(signal)], nullptr);
    ::raise(signal);
}

/// Records the first signal and wakes every wait, now and later: the event is never read.
void noteSignal(int signal) {
    const int kept = errno;
    if (paused) {
        passOn(signal);
        errno = kept;
        return;
    }
    int none = 0;
    caught.compare_exchange_strong(none, signal);
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wakeFd, &one, sizeof one);
    errno = kept;
}

/// A handler rather than SIG_IGN, which the programs that we start would inherit.
void doNothing(int) {}

void hold(Held which, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigfillset(&action.sa_mask);
    for (int signal = 1; signal < kMostSignals; ++signal) {
        struct sigaction old {};
        if (heldAs(signal) != which || ::sigaction(signal, nullptr, &old) != 0 ||
            old.sa_handler == handler) { // held already
            continue;
        }
        before[static_cast<std::size_t>(signal)] = old;
        if (old.sa_handler != SIG_IGN) {
            ::sigaction(signal, &action, nullptr);
        }
    }
}

void letGo(Held which) {
    for (int signal = 1; signal < kMostSignals; ++signal) {
        if (heldAs(signal) == which) {
            ::sigaction(signal, &before[static_cast<std::size_t>(signal)], nullptr);
        }
    }
}

} // namespace

int interruptFd() {
    return wakeFd;
}

bool interrupted() {
    return wakeFd >= 0 && caught != 0;
}

InterruptGuard::InterruptGuard() {
    caught = 0;
    wakeFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    hold(Held::Notice, doNothing);
    if (wakeFd >= 0) { // otherwise signals end the process as usual
        hold(Held::Interrupt, noteSignal);
    }
}

InterruptGuard::~InterruptGuard() {
    if (wakeFd >= 0) {
        letGo(Held::Interrupt);
    }
    letGo(Held::Notice);
    if (const int fd = wakeFd.exchange(-1); fd >= 0) {
        ::close(fd);
    }
}

/// The handler stays: replacing it for every signal takes longer than reading a small file.
InterruptGuard::Pause::Pause() : active_(cleanups == 0 && !paused.exchange(true)) {}

InterruptGuard::Pause::~Pause() {
    if (!active_) {
        return;
    }
    paused = false;
    if (passedOn.exchange(false)) { // a handler from before the guard has returned
        hold(Held::Interrupt, noteSignal);
    }
}

InterruptGuard::Cleanup::Cleanup() {
    ++cleanups;
}

InterruptGuard::Cleanup::~Cleanup() {
    --cleanups;
}

int InterruptGuard::signal() {
    return caught;
}

int InterruptGuard::wakeDescriptor() {
    return wakeFd;
}

void InterruptGuard::endBySignal(int signal) {
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    ::signal(signal, SIG_DFL);
    ::pthread_sigmask(SIG_UNBLOCK, &only, nullptr);
    ::raise(signal);
    std::_Exit(128 + signal);
}

} // namespace tdr
