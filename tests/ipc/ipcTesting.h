// SPDX-License-Identifier: MIT
// Shared by the tests of the link.
#pragma once

#include "IPC_Link.h"
#include "base/uniqueFd.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <initializer_list>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace testing_ipc {

/// Two connected stream sockets.
struct SocketPair {
    base::UniqueFd near;
    base::UniqueFd far;
    explicit SocketPair(int type = SOCK_STREAM) {
        int ends[2] = {-1, -1};
        if (socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, ends) != 0) {
            std::abort();
        }
        near.reset(ends[0]);
        far.reset(ends[1]);
    }
};

/// Sends bytes without SIGPIPE if the peer has gone.
inline void put(int fd, std::string_view bytes) {
    (void)!send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

/// Everything that can be read without waiting, or up to the end of the stream.
inline std::string takeAll(int fd, int flags = MSG_DONTWAIT) {
    std::string all;
    std::array<char, 8192> part{};
    ssize_t got = 0;
    while ((got = recv(fd, part.data(), part.size(), flags)) > 0) {
        all.append(part.data(), static_cast<std::size_t>(got));
    }
    return all;
}

/// True when the other end has closed or shut down and no bytes are left.
inline bool atEnd(int fd) {
    char byte = 0;
    return recv(fd, &byte, 1, MSG_DONTWAIT) == 0;
}

/// The same, or the other end has discarded unread bytes.
inline bool hasGone(int fd) {
    char byte = 0;
    return recv(fd, &byte, 1, MSG_DONTWAIT) == 0 || errno == ECONNRESET;
}

/// True when TCP does not delay small packets on this socket.
inline bool sendsAtOnce(int fd) {
    int on = 0;
    socklen_t size = sizeof on;
    return getsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, &size) == 0 && on != 0;
}

inline bool same(const IPC_DataPacket& a, const IPC_DataPacket& b) {
    // The record has no padding, and a float is the same only when its bits are.
    return std::memcmp(&a, &b, sizeof a) == 0; // NOLINT(bugprone-suspicious-memory-comparison)
}

/// An otherwise empty packet of this header.
inline IPC_DataPacket packetOf(ipc::Ends ends, short messageClass, short code) {
    IPC_DataPacket packet{};
    ipc::fillHeader(packet, ends, messageClass, code);
    return packet;
}

/// Saves a signal's action and restores it.
class KeepAction {
  public:
    explicit KeepAction(int number) : number_(number) { sigaction(number, nullptr, &before_); }
    ~KeepAction() { sigaction(number_, &before_, nullptr); }
    KeepAction(const KeepAction&) = delete;
    KeepAction& operator=(const KeepAction&) = delete;

    [[nodiscard]] static auto current(int number) {
        struct sigaction now {};
        sigaction(number, nullptr, &now);
        return now.sa_handler;
    }

  private:
    int number_;
    struct sigaction before_ {};
};

/// Interrupts the process repeatedly while it exists.
class Alarms {
  public:
    explicit Alarms(
        int microseconds, sighandler_t handler = [](int) {}) {
        struct sigaction action {};
        action.sa_handler = handler; // without SA_RESTART
        sigaction(SIGALRM, &action, nullptr);
        const itimerval often{{0, microseconds}, {0, microseconds}};
        setitimer(ITIMER_REAL, &often, nullptr);
    }
    ~Alarms() {
        const itimerval never{};
        setitimer(ITIMER_REAL, &never, nullptr);
    }
    Alarms(const Alarms&) = delete;
    Alarms& operator=(const Alarms&) = delete;

  private:
    const KeepAction before_{SIGALRM};
};

} // namespace testing_ipc
