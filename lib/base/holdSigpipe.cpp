// SPDX-License-Identifier: MIT
#include "base/holdSigpipe.h"

#include <cerrno>
#include <ctime>

namespace base {

namespace {

sigset_t onlySigpipe() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

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
    while (!pendingBefore_ && sigtimedwait(&pipe, nullptr, &noWait) < 0 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
    errno = kept;
}

} // namespace base
