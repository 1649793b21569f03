// SPDX-License-Identifier: MIT
#include "pingPong.h"

#include "ipc_socket.h"

#include <array>
#include <stdexcept>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

namespace {

// The fields of a packet that are always written: command count, six command words, and the counts
// of strings, characters, longs and floats.
constexpr std::array<std::size_t, 6> kFields = {4, 12, 4, 4, 4, 4};
constexpr std::size_t kPacketBytes = 32;

bool writePacket(int fd) {
    static constexpr std::array<char, kPacketBytes> zeros{};
    for (const std::size_t bytes : kFields) {
        if (write(fd, zeros.data(), bytes) < 0) {
            return false;
        }
    }
    return true;
}

bool readPacket(int fd) {
    fd_set set;
    FD_ZERO(&set);
    FD_SET(fd, &set);
    std::array<char, kPacketBytes> packet;
    return select(1024, &set, nullptr, nullptr, nullptr) == 1 &&
           recv(fd, packet.data(), packet.size(), MSG_WAITALL) ==
               static_cast<ssize_t>(packet.size());
}

} // namespace

PingPong::PingPong() {
    unsigned short port = 0;
    const int listening = createsocket(&port);
    peer_ = fork();
    if (peer_ == 0) {
        const int fd = getservsock(port);
        while (readPacket(fd) && writePacket(fd)) {
        }
        _exit(0);
    }
    socket_ = accept(listening, nullptr, nullptr);
    close(listening);
    if (socket_ < 0) {
        throw std::runtime_error("no connection to the peer");
    }
    no_tcp_delay(socket_);
}

PingPong::~PingPong() {
    close(socket_);
    waitpid(peer_, nullptr, 0);
}

void PingPong::roundTrip() {
    if (!writePacket(socket_) || !readPacket(socket_)) {
        throw std::runtime_error("the peer has gone");
    }
}

} // namespace bench
