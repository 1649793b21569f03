// SPDX-License-Identifier: MIT
// Starting a peer program: the inner starter behind `doexec` and `startsomeprocess`, silent and
// with options, for hosts that want a time limit, the child's stderr and no side effects on the
// process.
#pragma once

#include "IPC_Link.h"
#include "base/uniqueFd.h"
#include "ipc_child.h"

#include <chrono>
#include <optional>
#include <string>

namespace ipc {

/// How to start a peer.
struct PeerOptions {
    /// The program. It must be executable as it stands; it is then run as `execvp` runs it, so that
    /// a name without a slash is looked up along PATH.
    std::string path;

    /// This end's ids, sent with the answer to the peer's init request.
    short localId = kUnknownId;
    short localSubId = kUnknownId;

    /// Limit for the peer to connect and to send its init request; nothing: as long as it lives.
    std::optional<std::chrono::milliseconds> limit;

    /// A descriptor that becomes readable when the start is to be given up (an eventfd, a
    /// signalfd); -1: none. It is only watched, not read, and stays the caller's.
    int cancelFd = -1;

    /// Start only when the program is not being executed already.
    bool onlyIfNotRunning = false;

    /// Hand the child's stderr to the caller through a pipe.
    bool captureStderr = false;

    /// Ignore SIGCHLD in the whole process (and in the peer): nobody waits for the child. Otherwise
    /// the disposition is left alone, the peer starts with the default one, and the child of a
    /// failed start is waited for; that of a successful start is the caller's to wait for.
    bool ignoreChildSignal = false;

    /// Let the socket on which the peer is awaited be reachable from other machines too.
    bool listenOnAllInterfaces = false;
};

/// Why a start failed.
enum class PeerFailure {
    None,           ///< it did not
    NotExecutable,  ///< no such program, or no permission to run it; `error`
    AlreadyRunning, ///< the program is being executed, and `onlyIfNotRunning` was asked for
    CannotOpen,     ///< the test for that failed; `error`
    Socket,         ///< no listening socket: it could not be made ...
    Bind,           ///< ... bound ...
    SocketName,     ///< ... asked for its port ...
    Listen,         ///< ... or opened for connections; `error`
    Pipe,           ///< no pipe for stderr; `error`
    Fork,           ///< no new process; `error`
    Died,    ///< the peer ended before it connected, or before its init request was complete;
             ///< `waitStatus` where known. A program that could not be executed after all
             ///< ends with exit status 255 and says why on its stderr.
    Late,    ///< the limit passed
    Accept,  ///< its connection could not be taken; `error`
    Read,    ///< its init request could not be read; `error`
    Garbled, ///< what it sent is no packet
    Refused, ///< it answered kill
    UnknownRequest, ///< its first packet was no init request; `code`
    Reply,          ///< the answer could not be sent
    Cancelled,      ///< `cancelFd` became readable
};

/// A short text for a failure, as the end of a sentence ("the program is not executable").
[[nodiscard]] const char* describe(PeerFailure failure);

/// A started peer. Its destructor neither ends the process nor waits for it.
struct Peer {
    base::UniqueFd socket;     ///< the connection; never a standard descriptor (0 to 2)
    base::UniqueFd stderrPipe; ///< read end of its stderr, when captured; blocking
    Child process;
    short peerId = kUnknownId;
    short peerSubId = kUnknownId;
};

/// The outcome of a start. After a failure the child, if there was one, has been ended, and
/// `peer.stderrPipe` still holds what it said.
struct PeerStart {
    PeerFailure failure = PeerFailure::None;
    int error = 0;                 ///< errno, where the failure has one
    int code = 0;                  ///< command word of the packet, for `UnknownRequest`
    std::optional<int> waitStatus; ///< as `waitpid` tells it, when the child was waited for
    Peer peer;
};

/// Starts a peer and waits until it has connected; the handshake is still to come. A connection
/// that is known to come from another machine or from a process other than the peer and its
/// descendants is closed, and the wait goes on.
[[nodiscard]] PeerStart launchPeer(const PeerOptions& options) noexcept;

/// The same, and answers its init request.
[[nodiscard]] PeerStart startPeer(const PeerOptions& options) noexcept;

} // namespace ipc
