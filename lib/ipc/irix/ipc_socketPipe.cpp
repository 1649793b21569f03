// SPDX-License-Identifier: MIT
// SIGPIPE: held back while a packet is written, then checked for.
#include "base/holdSigpipe.h"
#include "ipc_socket.h"

#include <csignal>

namespace {

/// Set by the handler; 1 after a SIGPIPE.
volatile std::sig_atomic_t hair_ball = 0;

void setSigpipeAction(void (*action)(int)) {
    struct sigaction wanted {};
    wanted.sa_handler = action;
    sigemptyset(&wanted.sa_mask);
    sigaction(SIGPIPE, &wanted, nullptr);
}

} // namespace

void no_pipe_kills() {
    const sigset_t pipe = base::onlySigpipe();
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
}

int clogged_pipe() {
    const sigset_t pipe = base::onlySigpipe();
    hair_ball = 0;
    setSigpipeAction(clogged);
    pthread_sigmask(SIG_UNBLOCK, &pipe, nullptr);
    // Kept: After each packet SIGPIPE has its default action.
    // A reader would expect the previous action to be restored. It is reset instead; a host with
    // its own action sends with ipc::sendPacket.
    setSigpipeAction(SIG_DFL);
    return hair_ball;
}

void clogged(int /*signalNumber*/) {
    hair_ball = 1;
}
