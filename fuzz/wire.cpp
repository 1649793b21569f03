// SPDX-License-Identifier: MIT
// The wire: bytes from a peer, packet after packet, until the stream ends or is refused. Each
// packet is sent again and must come back the same.
#include "fuzzInput.h"

#include "base/uniqueFd.h"
#include "ipc_socket.h"

#include <cstring>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

struct Pair {
    base::UniqueFd near;
    base::UniqueFd far;
};

Pair connectedPair() {
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        std::abort();
    }
    return {base::UniqueFd(ends[0]), base::UniqueFd(ends[1])};
}

/// Sends the packet and reads it back. All runs share the sockets, which are empty after each.
void expectEcho(IPC_DataPacket& packet) {
    static const Pair pair = connectedPair();
    static IPC_DataPacket echo;
    // Compares bytes, so that NaNs are equal; the packet has no padding.
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
    const auto same = [&] { return std::memcmp(&packet, &echo, sizeof packet) == 0; };
    if (sendsockdata(pair.far.get(), &packet) != 0 || readsockdata(pair.near.get(), &echo) != 0 ||
        !same()) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A file in memory takes any size and ends with the input. A new one each time, because a
    // stream out of step is closed on its descriptor.
    const base::UniqueFd input(memfd_create("input", MFD_CLOEXEC));
    static IPC_DataPacket packet;
    const int fd = input.get();
    if (pwrite(fd, data, size, 0) != static_cast<ssize_t>(size) || lseek(fd, 0, SEEK_SET) != 0) {
        std::abort();
    }
    while (readsockdata(fd, &packet) == 0 && packet.numof_cmds > 0) {
        expectEcho(packet);
    }
    return 0;
}
