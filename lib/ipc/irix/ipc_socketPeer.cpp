// SPDX-License-Identifier: MIT
// Starting and reaching peers, with messages on stderr, on top of the inner starter.
#include "base/diagnostics.h"
#include "ipc_caller.h"
#include "ipc_diagnostics.h"
#include "ipc_inner.h"
#include "ipc_peer.h"
#include "ipc_socket.h"

#include <cerrno>
#include <iterator>
#include <new>
#include <poll.h>
#include <unistd.h>

namespace {

using ipc::PeerFailure;

/// Waits until a newly started peer has sent something; false when it ended first, even if another
/// process keeps the connection.
bool awaitFirstByte(const ipc::Peer& peer) {
    for (bool ended = false;; ended = peer.process.hasEnded()) {
        pollfd watched[] = {{peer.socket.get(), POLLIN, 0}, {peer.process.fd(), POLLIN, 0}};
        const int timeout = ended ? 0 : peer.process.pollTimeout({});
        if (poll(watched, std::size(watched), timeout) > 0 && watched[0].revents != 0) {
            return true;
        }
        if (ended) {
            return false;
        }
    }
}

/// Waits for the first packet of a newly started peer, whose socket is in a set, and answers it.
int greetStarted(const char* path, ipc::Ends ends, const ipc::Peer& peer, short* peerId,
                 short* peerSubId) {
    const int fd = peer.socket.get();
    if (!awaitFirstByte(peer)) {
        base::say("startsomeprocess: The program ended and left its connection behind.\n");
        base::say("startsomeprocess: Error waiting for \"%s\".\n", path);
        return -1;
    }
    fd_set own;
    FD_ZERO(&own);
    ipc::addToSet(fd, &own);
    IPC_DataPacket first{};
    const int from = waitforprocessresponse(&first, &own, IPC_QUEUE_SOCKETS);
    if (from < 0) {
        base::say("startsomeprocess: Error waiting for \"%s\".\n", path);
        return -1;
    }
    if (from == 0) {
        base::say("startsomeprocess: Got 0 from waitforprocessresponse()\n");
    }
    IPC_DataPacket reply;
    const PeerFailure outcome = ipc::judgeInitRequest(first, ends, reply);
    if (outcome == PeerFailure::Refused) {
        base::say("startsomeprocess: Got kill.\n");
        return 0;
    }
    *peerId = ends.peerId;
    *peerSubId = ends.peerSubId;
    if (outcome == PeerFailure::UnknownRequest) {
        base::say("startsomeprocess: Unknown init response (%d) from '%s'.\n",
                  first.datacmd[ipc::kWordCode], path);
        return -1;
    }
    if (sendsockdata(fd, &reply) != 0) {
        base::say("startsomeprocess: Error while sending init data.\n");
        return -1;
    }
    return fd;
}

/// Asks the process at the other end of `serverFd` to connect and accepts its connection; none on
/// failure.
base::UniqueFd invite(ipc::Ends ends, int serverFd) {
    unsigned short port = 0;
    const base::UniqueFd listener(createsocket(&port));
    if (!listener.valid()) {
        base::say("connecttoprocess: Cannot create socket\n");
        return {};
    }
    IPC_DataPacket request{};
    ipc::fillHeader(request, ends, ipc::kClassAction, ipc::kActionConnectBack);
    request.numof_longs = 1;
    request.longdata[0] = port;
    if (sendsockdata(serverFd, &request) < 0) {
        base::say("connecttoprocess: Error sending init data.\n");
        return {};
    }
    base::UniqueFd fd;
    do {
        fd = ipc::acceptConnection(listener.get());
    } while (fd.valid() ? !ipc::isLocalCall(fd.get()) : errno == EINTR);
    if (!fd.valid()) {
        base::say("connecttoprocess: Failed to open gizmo.\n");
    }
    return fd;
}

/// Waits for an init request and answers it over `fd`, which is in `set`.
int greetInvited(ipc::Ends ends, int fd, fd_set* set) {
    IPC_DataPacket packet{};
    if (waitforprocessresponse(&packet, set, IPC_QUEUE_SOCKETS) < 0) {
        base::say("connecttoprocess: Error waiting\n");
        return -1;
    }
    const short code = packet.datacmd[ipc::kWordCode];
    if (code == ipc::kEventKill) {
        base::say("connecttoprocess: Got kill.\n");
        return 0;
    }
    if (code != ipc::kInitRequest) {
        base::say("connecttoprocess: Unknown init response."
                  "Received %d instead of IPC_INITDATARDY.\n",
                  code);
        return -1;
    }
    // Kept: A process that was asked to connect gets class 3 and the process id as its reply.
    // A reader would expect the answer that a started program gets (class 1, no long), and a check
    // of the received class as there.
    ipc::fillHeader(packet, ends, ipc::kClassInit, ipc::kInitDataReady);
    packet.numof_longs = 1;
    packet.longdata[0] = getpid();
    if (sendsockdata(fd, &packet) < 0) {
        base::say("connecttoprocess: Error while sending init data.\n");
        return -1;
    }
    return fd;
}

/// Puts a new socket into `set` or reports why that is impossible.
bool enlist(const char* who, int fd, fd_set* set) {
    if (ipc::addToSet(fd, set)) {
        return true;
    }
    base::say("%s: Too many open descriptors (%d, at most %d).\n", who, fd,
              ipc::kSetDescriptors - 1);
    return false;
}

/// Passes the outcome of a handshake on; closes the socket unless it is returned.
int settle(int outcome, base::UniqueFd fd, fd_set* set) {
    if (outcome > 0) {
        return fd.release();
    }
    ipc::removeFromSet(fd.get(), set);
    return outcome;
}

} // namespace

int createsocket(unsigned short* port) {
    base::UniqueFd listener;
    const ipc::Trouble trouble = ipc::openListener(true, 0, listener, *port);
    if (trouble.none()) {
        return listener.release();
    }
    ipc::sayReason(trouble);
    return -1;
}

namespace {

/// The inner `doexec`; the caller watches the process.
int launch(const char* path, IPC_EXEC_MODE mode, ipc::Peer& peer) try {
    ipc::PeerOptions options;
    options.path = path;
    options.onlyIfNotRunning = mode == IPC_EXEC_IF_NOT_RUNNING;
    options.ignoreChildSignal = true;
    options.listenOnAllInterfaces = true;
    ipc::PeerStart start = ipc::launchPeer(options);
    if (start.failure == PeerFailure::AlreadyRunning) {
        return 0;
    }
    if (start.failure != PeerFailure::None) {
        ipc::sayFailedStart({start.failure, start.error}, path);
        return -1;
    }
    peer = std::move(start.peer);
    return peer.socket.get();
} catch (const std::bad_alloc&) {
    ipc::sayFailedStart({PeerFailure::Fork, ENOMEM}, path);
    return -1;
}

} // namespace

int doexec(const char* path, IPC_EXEC_MODE mode, int* pid) {
    ipc::Peer peer;
    const int result = launch(path, mode, peer);
    if (result > 0) {
        *pid = peer.process.pid();
        (void)peer.socket.release();
    }
    return result;
}

int startsomeprocess(const char* path, IPC_EXEC_MODE mode, short localId, short localSubId,
                     fd_set* set, int* pid, short* peerId, short* peerSubId) {
    ipc::Peer peer;
    const int fd = launch(path, mode, peer);
    if (fd < 0) {
        base::say("startsomeprocess: Error initializing socket to \"%s\".\n", path);
        return -1;
    }
    if (fd == 0) {
        base::say("startsomeprocess:  \"%s\" is already executing.\n", path);
        return -2;
    }
    *pid = peer.process.pid();
    if (!enlist("startsomeprocess", fd, set)) {
        return -1;
    }
    const int outcome = greetStarted(path, {localId, localSubId}, peer, peerId, peerSubId);
    return settle(outcome, std::move(peer.socket), set);
}

int connecttoprocess(short localId, short localSubId, short peerId, short peerSubId, int serverFd,
                     fd_set* set) {
    const ipc::Ends ends{localId, localSubId, peerId, peerSubId};
    base::UniqueFd fd = invite(ends, serverFd);
    if (!fd.valid() || !enlist("connecttoprocess", fd.get(), set)) {
        return -1;
    }
    const int outcome = greetInvited(ends, fd.get(), set);
    return settle(outcome, std::move(fd), set);
}
