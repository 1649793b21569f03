// SPDX-License-Identifier: MIT
// SIGPIPE: held back while a packet is written, looked for afterwards.
#include "ipc_socket.h"

#include <csignal>

namespace {

/// Set by the catcher; 1 after a SIGPIPE.
volatile std::sig_atomic_t hair_ball = 0;

sigset_t onlySigpipe() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

void setSigpipeAction(void (*action)(int)) {
    struct sigaction wanted {};
    wanted.sa_handler = action;
    sigemptyset(&wanted.sa_mask);
    sigaction(SIGPIPE, &wanted, nullptr);
}

} // namespace

void no_pipe_kills() {
    const sigset_t pipe = onlySigpipe();
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
}

int clogged_pipe() {
    const sigset_t pipe = onlySigpipe();
    hair_ball = 0;
    setSigpipeAction(clogged);
    pthread_sigmask(SIG_UNBLOCK, &pipe, nullptr);
    // Kept: After each packet SIGPIPE has its default action.
    // One would expect the action from before the packet to come back. It is reset instead, so that
    // a program that goes on writing to its dead parent by other ways ends; a host that wants its
    // own action kept holds an ipc::KeepSigpipe.
    setSigpipeAction(SIG_DFL);
    return hair_ball;
}

void clogged(int /*signalNumber*/) {
    hair_ball = 1;
}

namespace ipc {

KeepSigpipe::KeepSigpipe() {
    sigaction(SIGPIPE, nullptr, &action_);
    pthread_sigmask(SIG_BLOCK, nullptr, &mask_);
}

KeepSigpipe::~KeepSigpipe() {
    sigaction(SIGPIPE, &action_, nullptr);
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
}

} // namespace ipc
