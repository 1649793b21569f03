// SPDX-License-Identifier: MIT
// Shared by the sources of the socket transport.
#pragma once

#include "IPC_Link.h"
#include "base/uniqueFd.h"
#include "ipc_peer.h"
#include "ipc_wire.h"

namespace ipc {

/// A duplicate above the three standard descriptors: where sockets are results 0 has another
/// meaning, and a child replaces its stderr. None on failure (errno).
[[nodiscard]] base::UniqueFd aboveStandard(base::UniqueFd fd);

/// A failure and its errno, 0 if there is none.
struct Trouble {
    PeerFailure failure = PeerFailure::None;
    int error = 0;

    [[nodiscard]] bool none() const { return failure == PeerFailure::None; }
};

/// Opens a socket that listens on a free port with a backlog of 1; `flags` may be SOCK_NONBLOCK.
[[nodiscard]] Trouble openListener(bool allInterfaces, int flags, base::UniqueFd& listener,
                                   unsigned short& port);

/// Accepts a connection that waits on `listener`; none on failure (errno).
[[nodiscard]] base::UniqueFd acceptConnection(int listener);

/// Examines a peer's first packet: stores its ids in `ends`, and builds the answer to an init
/// request (`None`) without sending it.
[[nodiscard]] PeerFailure judgeInitRequest(const IPC_DataPacket& first, Ends& ends,
                                           IPC_DataPacket& reply);

/// `receivePacket` with the lines of `readsockdata`.
PacketRead receiveReporting(int fd, IPC_DataPacket& packet);

/// True when a wait in this mode also ends on events of the window system.
[[nodiscard]] bool watchesEventQueue(IPC_QUEUE_MODE queueMode);

} // namespace ipc
