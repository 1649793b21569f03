// SPDX-License-Identifier: MIT
// One packet over a stream socket, without a word on stderr: reading with a time limit, of which
// `readsockdata` is made, for a host that must not wait for ever on a stuck peer; and writing that
// leaves SIGPIPE's action alone, for a host that has one of its own or other threads.
#pragma once

#include "IPC_Link.h"
#include "ipc_child.h"

#include <cstddef>

namespace ipc {

/// How the reading of one packet ended.
enum class ReadEnd {
    Complete,  ///< all nine fields are in
    Closed,    ///< the peer closed the stream, or its process ended and somebody else keeps the
               ///< stream open; what it had sent is in, the rest is zero
    Failed,    ///< a read failed; `error` says why
    TimedOut,  ///< the deadline passed
    Cancelled, ///< the descriptor for that became readable
    BadCount,  ///< a count is negative or above its capacity
};

/// The outcome of `receivePacket`.
struct PacketRead {
    ReadEnd end = ReadEnd::Complete;
    std::size_t bytes = 0;  ///< bytes taken off the stream
    std::size_t field = 0;  ///< number (from 0) of the wire field at which it ended, when it failed
    int error = 0;          ///< errno, for `Failed`
    std::int32_t count = 0; ///< the offending count, for `BadCount`
    /// A count was bad, or a read failed inside the packet: nothing that follows can be a packet.
    /// `packet` is empty then, and `fd` has become the descriptor of a connection that has ended.
    bool outOfStep = false;
};

/// Clears `packet` and reads one packet from `fd` into it. Never takes a byte of the packet that
/// follows. Gives up when `cancelFd` is readable (-1: none), which is only watched, not read. The
/// end of `child` (null: not known) is the end of what it has sent. After anything but `Complete`
/// the stream is out of step and of no more use.
[[nodiscard]] PacketRead receivePacket(int fd, IPC_DataPacket& packet, Deadline deadline = {},
                                       int cancelFd = -1, const Child* child = nullptr);

/// How the sending of one packet ended.
enum class SendEnd {
    Sent,      ///< all of it is on its way
    BadCount,  ///< a count is negative or above its capacity; nothing was sent
    Failed,    ///< the peer has gone, or its process has ended; errno says why
    TimedOut,  ///< the peer did not take it all before the deadline
    Cancelled, ///< the descriptor for that became readable
};

/// Writes one packet to the socket `fd`, in the bytes of `sendsockdata`; the other arguments are
/// those of `receivePacket`. A peer that has gone raises no signal. After anything but `Sent` and
/// `BadCount` the stream is out of step.
[[nodiscard]] SendEnd sendPacket(int fd, IPC_DataPacket& packet, Deadline deadline = {},
                                 int cancelFd = -1, const Child* child = nullptr);

} // namespace ipc
