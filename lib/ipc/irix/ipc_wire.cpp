// SPDX-License-Identifier: MIT
#include "ipc_wire.h"

#include "base/retry.h"
#include "ipc_wireTable.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ipc {
namespace {

/// Events other than the socket that end a wait for it.
struct Wait {
    Deadline deadline;
    int cancelFd;
    const Child* child;

    [[nodiscard]] bool isForSocketOnly() const {
        return !deadline && cancelFd < 0 && child == nullptr;
    }

    /// Waits for `events` of `fd`: `Complete` when they have occurred, also at the end of the
    /// stream.
    [[nodiscard]] ReadEnd forSocket(int fd, short events) const {
        const int childFd = child != nullptr ? child->fd() : -1;
        for (bool ended = false;;) {
            pollfd watched[] = {{fd, events, 0}, {cancelFd, POLLIN, 0}, {childFd, POLLIN, 0}};
            const int left =
                child != nullptr ? child->pollTimeout(deadline) : pollTimeout(deadline);
            const int ready = poll(watched, std::size(watched), ended ? 0 : left);
            if (ready < 0 && errno != EINTR) {
                return ReadEnd::Failed;
            }
            if (ready > 0 && watched[1].revents != 0) {
                return ReadEnd::Cancelled;
            }
            if (ready > 0 && watched[0].revents != 0) {
                return ReadEnd::Complete;
            }
            if (ended) {
                return ReadEnd::Closed;
            }
            // The process may have sent bytes just before its end was seen: check the socket once
            // more.
            ended = child != nullptr && child->hasEnded();
            if (!ended && deadline && Clock::now() >= *deadline) {
                return ReadEnd::TimedOut;
            }
        }
    }
};

/// The bytes of one packet as they arrive.
class Inflow {
  public:
    Inflow(int fd, const Wait& wait) : fd_(fd), wait_(wait) {}

    /// Reads until `need` bytes have arrived; requests up to `sure`, which the packet must have.
    /// After a close the missing ones are zero.
    ReadEnd fill(std::size_t need, std::size_t sure) {
        while (have_ < need) {
            const ReadEnd end = wait_.isForSocketOnly() ? ReadEnd::Complete // read waits
                                                        : wait_.forSocket(fd_, POLLIN);
            if (end != ReadEnd::Complete && end != ReadEnd::Closed) {
                return end;
            }
            const long got = end == ReadEnd::Closed ? 0 : base::retried([&] {
                return read(fd_, bytes_.data() + have_, sure - have_);
            });
            if (got < 0) {
                return ReadEnd::Failed;
            }
            if (got == 0) {
                std::fill(at(have_), at(need), std::uint8_t{0});
                return ReadEnd::Closed;
            }
            have_ += static_cast<std::size_t>(got);
        }
        return ReadEnd::Complete;
    }

    std::uint8_t* at(std::size_t offset) { return bytes_.data() + offset; }
    [[nodiscard]] std::size_t size() const { return have_; }

  private:
    int fd_;
    Wait wait_;
    std::size_t have_ = 0;
    std::array<std::uint8_t, kMaxPacketBytes> bytes_; // valid up to `have_`
};

/// Stores the wire form of a packet with valid counts in `bytes` and returns its size.
std::size_t encode(Packet& packet, std::array<std::uint8_t, kMaxPacketBytes>& bytes) {
    std::size_t size = 0;
    for (const WireField& field : kFields) {
        const std::size_t n = elementsOf(field, packet);
        copyElements(bytes.data() + size, placeOf(field, packet), field.elementSize, n);
        size += n * field.elementSize;
    }
    return size;
}

SendEnd sendEndOf(ReadEnd wait) {
    switch (wait) {
    case ReadEnd::TimedOut:
        return SendEnd::TimedOut;
    case ReadEnd::Cancelled:
        return SendEnd::Cancelled;
    case ReadEnd::Closed:
        errno = EPIPE;
        return SendEnd::Failed;
    default:
        return SendEnd::Failed;
    }
}

/// Ends a connection that is out of step. After a shutdown the received bytes could still be read;
/// so the descriptor, whoever owns it, is replaced by a connection whose other end is closed.
void cutOff(int fd) {
    shutdown(fd, SHUT_RDWR);
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0) {
        close(ends[1]);
        dup3(ends[0], fd, O_CLOEXEC);
        close(ends[0]);
    }
}

} // namespace

PacketRead receivePacket(int fd, IPC_DataPacket& packet, Deadline deadline, int cancelFd,
                         const Child* child) {
    packet = {};
    Inflow inflow(fd, {deadline, cancelFd, child});
    PacketRead result;
    std::size_t offset = 0;
    for (std::size_t i = 0; i < kFieldCount && result.end == ReadEnd::Complete; ++i) {
        const WireField& field = kFields[i];
        const std::size_t n = elementsOf(field, packet);
        const std::size_t end = offset + n * field.elementSize;
        result.field = i;
        result.end = inflow.fill(end, end + kSureToFollow[i]);
        result.error = result.end == ReadEnd::Failed ? errno : 0;
        if (result.end == ReadEnd::Complete || result.end == ReadEnd::Closed) {
            copyElements(placeOf(field, packet), inflow.at(offset), field.elementSize, n);
        }
        if (!isPlausible(field, packet)) {
            result.end = ReadEnd::BadCount;
            result.count = loadCount(packet, field.at);
        }
        offset = end;
    }
    result.bytes = inflow.size();
    result.outOfStep =
        result.end == ReadEnd::BadCount || (result.end == ReadEnd::Failed && result.bytes > 0);
    if (result.outOfStep) {
        packet = {};
        cutOff(fd);
    }
    return result;
}

SendEnd sendPacket(int fd, IPC_DataPacket& packet, Deadline deadline, int cancelFd,
                   const Child* child) {
    const auto isGood = [&](const WireField& field) { return isPlausible(field, packet); };
    if (!std::all_of(std::begin(kFields), std::end(kFields), isGood)) {
        return SendEnd::BadCount;
    }
    std::array<std::uint8_t, kMaxPacketBytes> bytes;
    const std::size_t size = encode(packet, bytes);
    const Wait wait{deadline, cancelFd, child};
    for (std::size_t sent = 0; sent < size;) {
        const ssize_t put = base::retried([&] {
            return send(fd, bytes.data() + sent, size - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        });
        if (put >= 0) {
            sent += static_cast<std::size_t>(put);
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            const ReadEnd end = wait.forSocket(fd, POLLOUT);
            if (end != ReadEnd::Complete) {
                return sendEndOf(end);
            }
        } else {
            return SendEnd::Failed;
        }
    }
    return SendEnd::Sent;
}

} // namespace ipc
