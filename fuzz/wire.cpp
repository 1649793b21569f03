// SPDX-License-Identifier: MIT
// The wire: bytes from a peer, packet after packet, until the stream ends or is refused. What was
// read is sent again and must come back the same.
#include "fuzzInput.h"

#include "base/uniqueFd.h"
#include "ipc_socket.h"

#include <cstring>
#include <fcntl.h>
#include <memory>
#include <sys/socket.h>

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

void expectEcho(IPC_DataPacket& packet) {
    const Pair pair = connectedPair();
    const auto echo = std::make_unique<IPC_DataPacket>();
    // By bytes, so that floats that are no numbers count as equal; the packet has no gaps.
    // NOLINTNEXTLINE(bugprone-suspicious-memory-comparison)
    const auto same = [&] { return std::memcmp(&packet, echo.get(), sizeof packet) == 0; };
    if (sendsockdata(pair.far.get(), &packet) != 0 ||
        readsockdata(pair.near.get(), echo.get()) != 0 || !same()) {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Pair pair = connectedPair();
    // Without a reader at work, no more than the socket's buffer takes.
    fcntl(pair.far.get(), F_SETFL, O_NONBLOCK);
    const ssize_t sent = size > 0 ? write(pair.far.get(), data, size) : 0;
    pair.far.reset();
    if (sent < 0) {
        return 0;
    }
    const auto packet = std::make_unique<IPC_DataPacket>();
    while (readsockdata(pair.near.get(), packet.get()) == 0 && packet->numof_cmds > 0) {
        expectEcho(*packet);
    }
    return 0;
}
