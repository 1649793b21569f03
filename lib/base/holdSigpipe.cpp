// SPDX-License-Identifier: MIT
#include "base/holdSigpipe.h"

#include "base/retry.h"

#include <cerrno>
#include <ctime>

namespace base {

sigset_t onlySigpipe() noexcept {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

namespace {

bool isPending() {
    sigset_t pending;
    sigemptyset(&pending);
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

} // namespace

HoldSigpipe::HoldSigpipe() noexcept : pendingBefore_(isPending()) {
    const sigset_t pipe = onlySigpipe();
    pthread_sigmask(SIG_BLOCK, &pipe, &mask_);
}

HoldSigpipe::~HoldSigpipe() {
    const int kept = errno;
    const sigset_t pipe = onlySigpipe();
    const timespec noWait{};
    if (!pendingBefore_) {
        retried([&] { return sigtimedwait(&pipe, nullptr, &noWait); });
    }
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    errno = kept;
}

} // namespace base
