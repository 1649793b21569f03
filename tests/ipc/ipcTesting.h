// SPDX-License-Identifier: MIT
// Shared by the tests of the link.
#pragma once

#include "ipc_socket.h"
#include "support/captureStderr.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/time.h>
#include <thread>

namespace testing_ipc {

using support::CaptureStderr;

/// Two connected stream sockets.
struct SocketPair {
    base::UniqueFd near;
    base::UniqueFd far;
    SocketPair() {
        int ends[2] = {-1, -1};
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
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
    char part[8192];
    ssize_t got = 0;
    while ((got = recv(fd, part, sizeof part, flags)) > 0) {
        all.append(part, static_cast<std::size_t>(got));
    }
    return all;
}

/// True when the other end has closed or shut down, and no bytes are left or they were discarded.
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

/// A packet full of bytes that must not survive.
inline IPC_DataPacket noise() {
    IPC_DataPacket packet;
    std::memset(&packet, 0x5a, sizeof packet);
    return packet;
}

inline void sendTo(int fd, IPC_DataPacket packet) {
    ASSERT_EQ(sendsockdata(fd, &packet), 0);
}

/// Reads the next packet, which must be this one.
inline void expectNext(int fd, const IPC_DataPacket& expected) {
    IPC_DataPacket packet = noise();
    ASSERT_EQ(readsockdata(fd, &packet), 0);
    EXPECT_TRUE(same(packet, expected));
}

/// A parent in a thread: listens, accepts one connection, reads the init request and passes the
/// socket to the script.
class ScriptedParent {
  public:
    using Script = std::function<void(int fd)>;

    explicit ScriptedParent(Script script) : listener_(createsocket(&port_)) {
        thread_ = std::jthread([this, script = std::move(script)] {
            const base::UniqueFd fd(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC));
            readsockdata(fd.get(), &request);
            script(fd.get());
            (void)takeAll(fd.get(), 0); // until the child has closed
        });
    }

    [[nodiscard]] int port() const { return port_; }
    IPC_DataPacket request{};

  private:
    unsigned short port_ = 0;
    base::UniqueFd listener_;
    std::jthread thread_;
};

/// Answers with a packet of one long.
inline ScriptedParent::Script replies(const IPC_DataPacket& header, std::int32_t pid) {
    return [=](int fd) {
        IPC_DataPacket reply = header;
        reply.numof_longs = 1;
        reply.longdata[0] = pid;
        sendTo(fd, reply);
    };
}

/// A set of these descriptors.
struct Set : fd_set {
    Set(std::initializer_list<int> fds) : fd_set{} {
        FD_ZERO(this);
        for (const int fd : fds) {
            EXPECT_TRUE(ipc::addToSet(fd, this));
        }
    }
};

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
