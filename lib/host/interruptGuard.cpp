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

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};

std::atomic<int> caught = 0;
std::atomic<int> wakeFd = -1;
std::array<struct sigaction, kSignals.size()> before;

static_assert(std::atomic<int>::is_always_lock_free, "used in a signal handler");

/// Notes the first signal and wakes every wait, now and later: nobody reads the event away.
void noteSignal(int signal) {
    const int kept = errno;
    int none = 0;
    caught.compare_exchange_strong(none, signal);
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(wakeFd, &one, sizeof one);
    errno = kept;
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
    struct sigaction action {};
    action.sa_handler = noteSignal;
    action.sa_flags = SA_RESTART;
    sigfillset(&action.sa_mask);
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals[i], nullptr, &before[i]);
        if (before[i].sa_handler != SIG_IGN) {
            ::sigaction(kSignals[i], &action, nullptr);
        }
    }
}

InterruptGuard::~InterruptGuard() {
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals[i], &before[i], nullptr);
    }
    ::close(wakeFd.exchange(-1));
}

int InterruptGuard::signal() {
    return caught;
}

void InterruptGuard::endBySignal(int signal) {
    ::signal(signal, SIG_DFL);
    ::raise(signal);
    std::_Exit(128 + signal); // only when the signal is blocked
}

} // namespace tdr
