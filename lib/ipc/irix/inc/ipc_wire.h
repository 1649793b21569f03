// SPDX-License-Identifier: MIT
// One packet over a stream socket, without a word on stderr: reading with a time limit, of which
// `readsockdata` is made, for a host that must not wait for ever on a stuck peer; and writing that
// leaves SIGPIPE's action alone, for a host that has one of its own or other threads.
#pragma once

#include "IPC_Link.h"

#include <chrono>
#include <optional>

namespace ipc {

using Clock = std::chrono::steady_clock;

/// The moment at which a wait ends; nothing stands for a wait without limit.
using Deadline = std::optional<Clock::time_point>;

/// The moment `limit` from now, or no limit.
[[nodiscard]] Deadline deadlineAfter(std::optional<std::chrono::milliseconds> limit);

/// What is left until `deadline` as `poll` wants it: milliseconds rounded up, 0 when it has passed,
/// -1 without limit.
[[nodiscard]] int pollTimeout(Deadline deadline);

/// How the reading of one packet ended.
enum class ReadEnd {
    Complete,  ///< all nine fields are in
    Closed,    ///< the peer closed the stream; what it had sent is in, the rest is zero
    Failed,    ///< a read failed; `error` says why
    TimedOut,  ///< the deadline passed
    Cancelled, ///< the descriptor for that became readable
    BadCount,  ///< a count is negative or above its capacity; the socket has been shut down
};

/// The outcome of `receivePacket`.
struct PacketRead {
    ReadEnd end = ReadEnd::Complete;
    std::size_t bytes = 0;  ///< bytes taken off the stream
    std::size_t field = 0;  ///< number (from 0) of the wire field at which it ended, when it failed
    int error = 0;          ///< errno, for `Failed`
    std::int32_t count = 0; ///< the offending count, for `BadCount`
};

/// Clears `packet` and reads one packet from `fd` into it. Never takes a byte of the packet that
/// follows. Gives up when `cancelFd` is readable (-1: none), which is only watched, not read. After
/// anything but `Complete` the stream is out of step and of no more use.
[[nodiscard]] PacketRead receivePacket(int fd, IPC_DataPacket& packet, Deadline deadline = {},
                                       int cancelFd = -1);

/// Writes one packet in the bytes of `sendsockdata`. False when a count is negative or above its
/// capacity (nothing is sent) or a write failed; a peer that has gone raises no signal.
[[nodiscard]] bool sendPacket(int fd, IPC_DataPacket& packet);

} // namespace ipc
