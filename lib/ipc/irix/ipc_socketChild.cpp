// SPDX-License-Identifier: MIT
// The child's half of the handshake.
#include "base/byteOrder.h"
#include "base/diagnostics.h"
#include "base/retry.h"
#include "ipc_caller.h"
#include "ipc_inner.h"
#include "ipc_socket.h"

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

namespace {

constexpr int kReplyTries = 5;
constexpr timeval kReplyTry{1, 0};

sockaddr_in addressOf(in_addr_t host, unsigned short port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(host);
    address.sin_port = htons(port);
    return address;
}

/// `connect`, which continues by itself after a signal; this then waits for it.
bool connectRetrying(int fd, const sockaddr_in& address) {
    if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return true;
    }
    if (errno != EINTR) {
        return false;
    }
    pollfd watched{fd, POLLOUT, 0};
    const int ready = base::retried([&] { return poll(&watched, 1, -1); });
    int error = 0;
    socklen_t size = sizeof error;
    if (ready < 0 || getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &size) != 0) {
        return false;
    }
    errno = error;
    return error == 0;
}

/// Waits for `fd` to become readable: 1, 0 when the tries ran out, -1 on a failure.
int awaitReply(int fd) {
    fd_set set;
    FD_ZERO(&set);
    if (!ipc::addToSet(fd, &set)) {
        errno = EBADF;
        return -1;
    }
    timeval timeout = kReplyTry;
    for (int tries = 0; tries < kReplyTries;) {
        const int ready = select(ipc::kWaitWidth, &set, nullptr, nullptr, &timeout);
        if (ready > 0 && FD_ISSET(fd, &set)) {
            return 1;
        }
        if (ready < 0 && errno != EINTR) {
            return -1;
        }
        if (ready < 0) {
            FD_SET(fd, &set);
            continue;
        }
        // Kept: A reply to the init request must come within the first second.
        // A reader would expect each of the five tries to watch the socket. The set is not filled
        // again after a try that timed out, so the later ones only wait, and the child gives up
        // after about five seconds.
        ++tries;
        timeout = kReplyTry;
    }
    return 0;
}

} // namespace

int getservsock(int port) {
    if (port < 1 || port > UINT16_MAX) {
        base::say("getservsock: Invalid portnumber of server\n");
        return -1;
    }
    base::UniqueFd fd =
        ipc::aboveStandard(base::UniqueFd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)));
    if (!fd.valid()) {
        base::sayError("getservsock: opening stream socket", errno);
        return -1;
    }
    no_tcp_delay(fd.get());
    if (!connectRetrying(fd.get(), addressOf(INADDR_ANY, static_cast<unsigned short>(port)))) {
        base::sayError("getservsock: connecting socket", errno);
        return -1;
    }
    if (const auto stranger = ipc::strangerBehind(fd.get())) {
        base::say("getservsock: Refusing port %d, which belongs to user %u.\n", port, *stranger);
        return -1;
    }
    std::signal(SIGCHLD, SIG_IGN);
    return fd.release();
}

int sendinitrequest(short localId, short localSubId, int fd, IPC_DataPacket* p) {
    ipc::fillHeader(*p, {localId, localSubId}, ipc::kClassInit, ipc::kInitRequest);
    if (sendsockdata(fd, p) < 0) {
        base::say("sendinitrequest: Error while sending init data\n");
        return -1;
    }
    return 0;
}

int getinitdata(short /*localId*/, short /*localSubId*/, int fd, IPC_DataPacket* p) {
    const int ready = awaitReply(fd);
    if (ready < 0) {
        // Kept: The message about a failed select in the handshake has a newline before the reason.
        // A reader would expect the prefix and the reason on one line; the prefix carries a
        // newline.
        base::sayError("getinitdata: select error\n", errno);
        return -1;
    }
    if (ready == 0) {
        return -1;
    }
    if (readsockdata(fd, p) < 0) {
        base::say("getinitdata: Error reading init data\n");
        return -1;
    }
    // Kept: The class of the parent's init reply is not checked.
    // A reader would expect class 1 to be required. Parents that started the child answer with
    // class 1, parents that asked a running process to connect with class 3.
    if (p->datacmd[ipc::kWordCode] == ipc::kInitDataReady) {
        return 1;
    }
    base::say("getinitdata: Invalid init from parent, received %d instead\n",
              p->datacmd[ipc::kWordCode]);
    return 0;
}
