// SPDX-License-Identifier: MIT
// The wire form of a packet: one table of its nine fields, with one writer and one reader that use
// it.
#include "base/byteOrder.h"
#include "base/diagnostics.h"
#include "base/holdSigpipe.h"
#include "base/retry.h"
#include "ipc_inner.h"
#include "ipc_socket.h"
#include "ipc_wire.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using Packet = IPC_DataPacket;

/// `WireField::countAt` of a field that is itself a count: a single number.
constexpr std::size_t kSingle = SIZE_MAX;

/// What a failed write does first: print its message, or check for a broken pipe.
enum class OnFailedWrite : bool { TellThenAsk, AskThenTell };

/// One field of the wire form.
struct WireField {
    std::size_t at;          ///< offset in the packet
    std::size_t elementSize; ///< bytes of one element, in the packet and on the wire
    std::size_t countAt;     ///< offset of the number of elements in the packet, or kSingle
    std::int32_t capacity;   ///< for a count: the largest allowed value
    bool skippedWhenEmpty;   ///< no write call without elements
    OnFailedWrite onFailedWrite;
    const char* name;
    const char* writeText; ///< prefix of the system's reason
    const char* readText;  ///< whole line
};

constexpr auto kTell = OnFailedWrite::TellThenAsk;
// Kept: Long and float payloads report a broken pipe without a message.
// One would expect every field to print its message when its write fails. These two check for a
// broken pipe first and then print nothing; callers print their own line.
constexpr auto kAsk = OnFailedWrite::AskThenTell;

// Kept: The last five texts for failed reads have no full stop.
// One would expect all nine to end alike.
//
// Each string has its own zero byte, so there are never more strings than characters.
constexpr WireField kFields[] = {
    {offsetof(Packet, numof_cmds), 4, kSingle, ipc::kMaxCommands, false, kTell, "numof_cmds",
     "sendsockdata: writing numof_cmds", "readsockdata: Error reading numof_cmds.\n"},
    {offsetof(Packet, datacmd), 2, offsetof(Packet, numof_cmds), 0, false, kTell, "datacmd",
     "sendsockdata: writing datacmd", "readsockdata: Error reading datacmd.\n"},
    {offsetof(Packet, numof_strings), 4, kSingle, ipc::kMaxChars, false, kTell, "numof_strings",
     "sendsockdata: writing numof_strings", "readsockdata: Error reading numof_strings.\n"},
    {offsetof(Packet, numof_chars), 4, kSingle, ipc::kMaxChars, false, kTell, "numof_chars",
     "sendsockdata: writing numof_chars", "readsockdata: Error reading numof_chars.\n"},
    {offsetof(Packet, chardata), 1, offsetof(Packet, numof_chars), 0, true, kTell, "chardata",
     "sendsockdata: writing chardata", "readsockdata: Error reading chardata\n"},
    {offsetof(Packet, numof_longs), 4, kSingle, ipc::kMaxLongs, false, kTell, "numof_longs",
     "sendsockdata: writing numof_longs", "readsockdata: Error reading numof_longs\n"},
    {offsetof(Packet, longdata), 4, offsetof(Packet, numof_longs), 0, true, kAsk, "longdata",
     "sendsockdata: writing longdata", "readsockdata: Error reading longdata\n"},
    {offsetof(Packet, numof_floats), 4, kSingle, ipc::kMaxFloats, false, kTell, "numof_floats",
     "sendsockdata: writing numof_floats", "readsockdata: Error reading numof_floats\n"},
    {offsetof(Packet, floatdata), 4, offsetof(Packet, numof_floats), 0, true, kAsk, "floatdata",
     "sendsockdata: writing floatdata", "readsockdata: Error reading floatdata\n"},
};
constexpr std::size_t kFieldCount = std::size(kFields);

/// Largest field, and largest packet, on the wire.
constexpr std::size_t kMaxFieldBytes = ipc::kMaxChars;
constexpr std::size_t kMaxPacketBytes =
    5 * 4 + ipc::kMaxCommands * 2 + ipc::kMaxChars + ipc::kMaxLongs * 4 + ipc::kMaxFloats * 4;

/// Bytes that follow field `i` whatever the counts are: the counts after it.
constexpr std::array<std::size_t, kFieldCount> kSureToFollow = [] {
    std::array<std::size_t, kFieldCount> bytes{};
    for (std::size_t i = kFieldCount - 1; i > 0; --i) {
        bytes[i - 1] = bytes[i] + (kFields[i].countAt == kSingle ? kFields[i].elementSize : 0);
    }
    return bytes;
}();

std::int32_t loadCount(const Packet& packet, std::size_t at) {
    std::int32_t count = 0;
    std::memcpy(&count, reinterpret_cast<const char*>(&packet) + at, sizeof count);
    return count;
}

/// Number of elements of a field, from the packet's checked counts.
std::size_t elementsOf(const WireField& field, const Packet& packet) {
    return field.countAt == kSingle ? 1
                                    : static_cast<std::size_t>(loadCount(packet, field.countAt));
}

/// True unless the field is a count outside its range.
bool isPlausible(const WireField& field, const Packet& packet) {
    if (field.countAt != kSingle) {
        return true;
    }
    const std::int32_t count = loadCount(packet, field.at);
    return count >= 0 && count <= field.capacity;
}

/// Copies `n` elements between a packet and the wire, which is big-endian. The same swap works in
/// both directions.
void copyElements(std::uint8_t* to, const std::uint8_t* from, std::size_t elementSize,
                  std::size_t n) {
    if (elementSize == 2) {
        for (std::size_t i = 0; i < n; ++i) {
            const std::uint16_t value = base::loadBe16(from + 2 * i);
            std::memcpy(to + 2 * i, &value, sizeof value);
        }
    } else if (elementSize == 4) {
        for (std::size_t i = 0; i < n; ++i) {
            const std::uint32_t value = base::loadBe32(from + 4 * i);
            std::memcpy(to + 4 * i, &value, sizeof value);
        }
    } else if (n != 0) {
        std::memcpy(to, from, n);
    }
}

std::uint8_t* placeOf(const WireField& field, Packet& packet) {
    return reinterpret_cast<std::uint8_t*>(&packet) + field.at;
}

bool writeField(int fd, const WireField& field, Packet& packet) {
    const std::size_t n = elementsOf(field, packet);
    if (n == 0 && field.skippedWhenEmpty) {
        return true;
    }
    std::uint8_t bytes[kMaxFieldBytes];
    copyElements(bytes, placeOf(field, packet), field.elementSize, n);
    // Kept: A short write of a packet's field counts as written.
    // One would expect the rest to be written after it. The sockets are blocking, so a short write
    // happens only just before a failure, which then affects the next field.
    return write(fd, bytes, n * field.elementSize) >= 0;
}

void tellFailedWrite(const WireField& field, int error) {
    const base::HoldSigpipe apart;
    base::sayError(field.writeText, error);
}

int reportFailedWrite(const WireField& field, int error) {
    if (field.onFailedWrite == OnFailedWrite::AskThenTell) {
        if (clogged_pipe() != 0) {
            return -2;
        }
        tellFailedWrite(field, error);
        return -1;
    }
    tellFailedWrite(field, error);
    return clogged_pipe() != 0 ? -2 : -1;
}

long readSome(int fd, void* buf, std::size_t n) {
    return base::retried([&] { return read(fd, buf, n); });
}

/// Events other than the socket that end a wait for it.
struct Wait {
    ipc::Deadline deadline;
    int cancelFd;
    const ipc::Child* child;

    [[nodiscard]] bool isForSocketOnly() const {
        return !deadline && cancelFd < 0 && child == nullptr;
    }

    /// Waits for `events` of `fd`: `Complete` when they have occurred, also at the end of the
    /// stream.
    [[nodiscard]] ipc::ReadEnd forSocket(int fd, short events) const {
        const int childFd = child != nullptr ? child->fd() : -1;
        for (bool ended = false;;) {
            pollfd watched[] = {{fd, events, 0}, {cancelFd, POLLIN, 0}, {childFd, POLLIN, 0}};
            const int left =
                child != nullptr ? child->pollTimeout(deadline) : ipc::pollTimeout(deadline);
            const int ready = poll(watched, std::size(watched), ended ? 0 : left);
            if (ready < 0 && errno != EINTR) {
                return ipc::ReadEnd::Failed;
            }
            if (ready > 0 && watched[1].revents != 0) {
                return ipc::ReadEnd::Cancelled;
            }
            if (ready > 0 && watched[0].revents != 0) {
                return ipc::ReadEnd::Complete;
            }
            if (ended) {
                return ipc::ReadEnd::Closed;
            }
            // The process may have sent bytes just before its end was seen: check the socket once
            // more.
            ended = child != nullptr && child->hasEnded();
            if (!ended && deadline && ipc::Clock::now() >= *deadline) {
                return ipc::ReadEnd::TimedOut;
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
    ipc::ReadEnd fill(std::size_t need, std::size_t sure) {
        while (have_ < need) {
            const ipc::ReadEnd end = wait_.isForSocketOnly() ? ipc::ReadEnd::Complete // read waits
                                                             : wait_.forSocket(fd_, POLLIN);
            if (end != ipc::ReadEnd::Complete && end != ipc::ReadEnd::Closed) {
                return end;
            }
            const long got = end == ipc::ReadEnd::Closed
                                 ? 0
                                 : readSome(fd_, bytes_.data() + have_, sure - have_);
            if (got < 0) {
                return ipc::ReadEnd::Failed;
            }
            if (got == 0) {
                std::fill(at(have_), at(need), std::uint8_t{0});
                return ipc::ReadEnd::Closed;
            }
            have_ += static_cast<std::size_t>(got);
        }
        return ipc::ReadEnd::Complete;
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

ipc::SendEnd sendEndOf(ipc::ReadEnd wait) {
    switch (wait) {
    case ipc::ReadEnd::TimedOut:
        return ipc::SendEnd::TimedOut;
    case ipc::ReadEnd::Cancelled:
        return ipc::SendEnd::Cancelled;
    case ipc::ReadEnd::Closed:
        errno = EPIPE;
        return ipc::SendEnd::Failed;
    default:
        return ipc::SendEnd::Failed;
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

void reportFailedRead(const ipc::PacketRead& read) {
    const WireField& field = kFields[read.field];
    if (read.end == ipc::ReadEnd::BadCount) {
        base::say("readsockdata: Refusing a packet with %s %d (at most %d) - closing connection.\n",
                  field.name, read.count, field.capacity);
        return;
    }
    base::sayError("readbuf: read failure", read.error);
    base::say("%s", field.readText);
}

} // namespace

namespace ipc {

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

PacketRead receiveReporting(int fd, IPC_DataPacket& packet) {
    const PacketRead read = receivePacket(fd, packet);
    if (read.end != ReadEnd::Complete && read.end != ReadEnd::Closed) {
        reportFailedRead(read);
    }
    return read;
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

int sendsockdata(int fd, IPC_DataPacket* p) {
    for (const WireField& field : kFields) {
        if (!isPlausible(field, *p)) {
            base::say("sendsockdata: Refusing to send a packet with %s %d (at most %d).\n",
                      field.name, loadCount(*p, field.at), field.capacity);
            return -1;
        }
    }
    no_pipe_kills();
    for (const WireField& field : kFields) {
        if (!writeField(fd, field, *p)) {
            return reportFailedWrite(field, errno);
        }
    }
    return clogged_pipe() != 0 ? -2 : 0;
}

int readsockdata(int fd, IPC_DataPacket* p) {
    const ipc::ReadEnd end = ipc::receiveReporting(fd, *p).end;
    return end == ipc::ReadEnd::Complete || end == ipc::ReadEnd::Closed ? 0 : -1;
}

int readbuf(int fd, void* buf, int n) {
    int have = 0;
    while (have < n) {
        const long got =
            readSome(fd, static_cast<char*>(buf) + have, static_cast<std::size_t>(n - have));
        if (got < 0) {
            base::sayError("readbuf: read failure", errno);
            return -1;
        }
        if (got == 0) {
            break;
        }
        have += static_cast<int>(got);
    }
    return have;
}

int no_tcp_delay(int fd) {
    // The number of the protocol "tcp" everywhere. A lookup of the name would go through the
    // system's name services, which crash when out of memory.
    constexpr int kProtocol = IPPROTO_TCP;
    const int on = 1;
    return setsockopt(fd, kProtocol, TCP_NODELAY, &on, sizeof on);
}
