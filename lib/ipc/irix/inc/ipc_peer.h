// SPDX-License-Identifier: MIT
// Starting a peer program. `doexec` and `startsomeprocess` are built on this; it prints nothing and
// has options, for hosts that need a time limit, the child's stderr and no side effects on the
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
    /// The program. This path itself must be executable; `execvp` then runs it, so a name without a
    /// slash is searched along PATH.
    std::string path;

    /// This end's ids, sent with the answer to the peer's init request.
    short localId = kUnknownId;
    short localSubId = kUnknownId;

    /// Limit for the peer to connect and to send its init request; none: as long as it runs.
    std::optional<std::chrono::milliseconds> limit;

    /// A descriptor that becomes readable to cancel the start (an eventfd, a signalfd); -1: none.
    /// It is only polled, not read; the caller keeps it.
    int cancelFd = -1;

    /// Start only if the program is not running.
    bool onlyIfNotRunning = false;

    /// Connect the child's stderr to the caller through a pipe.
    bool captureStderr = false;

    /// Ignore SIGCHLD in the whole process (and in the peer), so that no process waits for the
    /// child. Otherwise the disposition is unchanged, the peer starts with the default one, a
    /// failed start waits for its child, and the caller waits for the child of a successful start.
    bool ignoreChildSignal = false;

    /// Make the child the leader of a new process group, so that it can be ended together with what
    /// it has started.
    bool ownGroup = false;

    /// Make the listening socket reachable from other machines too.
    bool listenOnAllInterfaces = false;
};

/// Why a start failed.
enum class PeerFailure {
    None,           ///< no failure
    NotExecutable,  ///< no such program, or no permission to run it; `error`
    AlreadyRunning, ///< the program is running, and `onlyIfNotRunning` is set
    CannotOpen,     ///< the test for that failed; `error`
    Socket,         ///< no listening socket: it could not be created ...
    Bind,           ///< ... bound ...
    SocketName,     ///< ... asked for its port ...
    Listen,         ///< ... or opened for connections; `error`
    Pipe,           ///< no pipe for stderr; `error`
    Fork,           ///< no new process; `error`
    Died,    ///< the peer ended before it connected, or before its init request was complete;
             ///< `waitStatus` where known. A program that could not be executed after all
             ///< ends with exit status 255 and says why on its stderr.
    Late,    ///< the limit passed
    Accept,  ///< its connection could not be accepted; `error`
    Read,    ///< its init request could not be read; `error`
    Garbled, ///< it sent a malformed packet
    Refused, ///< it answered kill
    UnknownRequest, ///< its first packet was not an init request; `code`
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
/// `peer.stderrPipe` still holds its messages.
struct PeerStart {
    PeerFailure failure = PeerFailure::None;
    int error = 0;                 ///< errno, where the failure has one
    int code = 0;                  ///< command word of the packet, for `UnknownRequest`
    std::optional<int> waitStatus; ///< as from `waitpid`, if the child was waited for
    Peer peer;
};

/// Starts a peer and waits until it has connected; the handshake follows. A connection that is
/// known to come from another machine, or from a process other than the peer and its descendants,
/// is closed, and the wait continues.
[[nodiscard]] PeerStart launchPeer(const PeerOptions& options) noexcept;

/// The same, and answers its init request.
[[nodiscard]] PeerStart startPeer(const PeerOptions& options) noexcept;

} // namespace ipc
