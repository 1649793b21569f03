// SPDX-License-Identifier: MIT
// What the sources of the socket transport share among themselves.
#pragma once

#include "IPC_Link.h"
#include "base/uniqueFd.h"
#include "ipc_peer.h"
#include "ipc_wire.h"

namespace ipc {

/// A descriptor for the same thing that is none of the three standard ones: 0 stands for other
/// outcomes where sockets are results, and a child replaces its stderr. None on failure (errno).
[[nodiscard]] base::UniqueFd aboveStandard(base::UniqueFd fd);

/// Opens a socket that listens on a free port with a backlog of 1; `flags` may be SOCK_NONBLOCK.
[[nodiscard]] PeerFailure openListener(bool allInterfaces, int flags, base::UniqueFd& listener,
                                       unsigned short& port);

/// Takes a connection that waits on `listener`; none on failure (errno).
[[nodiscard]] base::UniqueFd acceptConnection(int listener);

/// What to do about a peer's first packet: notes its ids in `ends`, and builds the answer to an
/// init request (`None`), which is still to be sent.
[[nodiscard]] PeerFailure judgeInitRequest(const IPC_DataPacket& first, Ends& ends,
                                           IPC_DataPacket& reply);

/// `receivePacket` with the lines of `readsockdata`.
PacketRead receiveReporting(int fd, IPC_DataPacket& packet);

/// True when a wait in this mode ends on events of the window system, too.
[[nodiscard]] bool watchesEventQueue(IPC_QUEUE_MODE queueMode);

} // namespace ipc
