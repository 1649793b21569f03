// SPDX-License-Identifier: MIT
// The sockets that both halves of the handshake open.
#include "ipc_inner.h"
#include "ipc_socket.h"

#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace ipc {

base::UniqueFd aboveStandard(base::UniqueFd fd) {
    constexpr int kFirstOther = 3;
    if (!fd.valid() || fd.get() >= kFirstOther) {
        return fd;
    }
    return base::UniqueFd(fcntl(fd.get(), F_DUPFD_CLOEXEC, kFirstOther));
}

Trouble openListener(bool allInterfaces, int flags, base::UniqueFd& listener,
                     unsigned short& port) {
    listener =
        aboveStandard(base::UniqueFd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | flags, 0)));
    if (!listener.valid()) {
        return {PeerFailure::Socket, errno};
    }
    no_tcp_delay(listener.get());
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(allInterfaces ? INADDR_ANY : INADDR_LOOPBACK);
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener.get(), generic, sizeof address) != 0) {
        return {PeerFailure::Bind, errno};
    }
    socklen_t size = sizeof address;
    if (getsockname(listener.get(), generic, &size) != 0) {
        return {PeerFailure::SocketName, errno};
    }
    if (listen(listener.get(), 1) != 0) {
        return {PeerFailure::Listen, errno};
    }
    port = ntohs(address.sin_port);
    return {};
}

base::UniqueFd acceptConnection(int listener) {
    base::UniqueFd fd =
        aboveStandard(base::UniqueFd(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)));
    if (fd.valid()) {
        no_tcp_delay(fd.get());
    }
    return fd;
}

} // namespace ipc

int no_tcp_delay(int fd) {
    // The number of the protocol "tcp" everywhere. A lookup of the name would go through the
    // system's name services, which crash when out of memory.
    constexpr int kProtocol = IPPROTO_TCP;
    const int on = 1;
    return setsockopt(fd, kProtocol, TCP_NODELAY, &on, sizeof on);
}
