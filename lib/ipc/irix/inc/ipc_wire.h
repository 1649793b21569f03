// SPDX-License-Identifier: MIT
// One packet over a stream socket, without diagnostics: reading with a time limit, for a host that
// must not wait for ever on a stuck peer (`readsockdata` is built on it); and writing that does not
// change SIGPIPE's action, for a host that has its own action or other threads.
#pragma once

#include "IPC_Link.h"
#include "ipc_child.h"

#include <cstddef>

namespace ipc {

/// How the reading of one packet ended.
enum class ReadEnd {
    Complete,  ///< all nine fields are in
    Closed,    ///< the peer closed the stream, or its process ended and another one keeps the
               ///< stream open; bytes not received are zero
    Failed,    ///< a read failed; `error` says why
    TimedOut,  ///< the deadline passed
    Cancelled, ///< the descriptor for that became readable
    BadCount,  ///< a count is negative or above its capacity
};

/// The outcome of `receivePacket`.
struct PacketRead {
    ReadEnd end = ReadEnd::Complete;
    std::size_t bytes = 0;  ///< bytes taken off the stream
    std::size_t field = 0;  ///< number (from 0) of the wire field at which a failed read ended
    int error = 0;          ///< errno, for `Failed`
    std::int32_t count = 0; ///< the offending count, for `BadCount`
    /// A count was bad, or a read failed inside the packet: the rest of the stream cannot be
    /// parsed. `packet` is then empty, and `fd` is the descriptor of a closed connection.
    bool outOfStep = false;
};

/// Clears `packet` and reads one packet from `fd` into it. Never reads a byte of the next packet.
/// Gives up when `cancelFd` is readable (-1: none), which is only polled, not read. The stream also
/// ends with `child` (null: not known). After any result except `Complete` the stream is out of
/// step and unusable.
[[nodiscard]] PacketRead receivePacket(int fd, IPC_DataPacket& packet, Deadline deadline = {},
                                       int cancelFd = -1, const Child* child = nullptr);

/// How the sending of one packet ended.
enum class SendEnd {
    Sent,      ///< all of it has been sent
    BadCount,  ///< a count is negative or above its capacity; nothing was sent
    Failed,    ///< the peer has gone, or its process has ended; errno says why
    TimedOut,  ///< the peer did not accept all of it before the deadline
    Cancelled, ///< the descriptor for that became readable
};

/// Writes one packet to the socket `fd`, with the same bytes as `sendsockdata`; the other arguments
/// are those of `receivePacket`. A peer that has gone raises no signal. After any result except
/// `Sent` and `BadCount` the stream is out of step.
[[nodiscard]] SendEnd sendPacket(int fd, IPC_DataPacket& packet, Deadline deadline = {},
                                 int cancelFd = -1, const Child* child = nullptr);

} // namespace ipc
