// SPDX-License-Identifier: MIT
// Writing and reading packets on a socket by the public functions, with messages on stderr.
#include "base/retry.h"
#include "ipc_diagnostics.h"
#include "ipc_inner.h"
#include "ipc_socket.h"
#include "ipc_wireTable.h"

#include <cerrno>
#include <iterator>
#include <sys/socket.h>
#include <unistd.h>

namespace {

bool isWritten(const ipc::WireField& field, const IPC_DataPacket& packet) {
    return !field.skippedWhenEmpty || ipc::elementsOf(field, packet) != 0;
}

/// The last field of the packet that is written.
const ipc::WireField* lastField(const IPC_DataPacket& packet) {
    const ipc::WireField* last = std::end(ipc::kFields) - 1;
    return isWritten(*last, packet) ? last : last - 1; // which is a count
}

/// One write call. TCP may hold the bytes back until the next call if `more` follow: a segment for
/// every field would wake the peer as often.
ssize_t writeBytes(int fd, const std::uint8_t* bytes, std::size_t count, bool more) {
    const ssize_t put = more ? send(fd, bytes, count, MSG_MORE) : write(fd, bytes, count);
    return put < 0 && more && errno == ENOTSOCK ? write(fd, bytes, count) : put;
}

bool writeField(int fd, const ipc::WireField& field, IPC_DataPacket& packet) {
    if (!isWritten(field, packet)) {
        return true;
    }
    const std::size_t n = ipc::elementsOf(field, packet);
    std::uint8_t bytes[ipc::kMaxFieldBytes];
    ipc::copyElements(bytes, ipc::placeOf(field, packet), field.elementSize, n);
    // The first field goes out by itself, so that a peer that has gone is noticed in this packet.
    const bool more = &field != std::begin(ipc::kFields) && &field != lastField(packet);
    // Kept: A short write of a packet's field counts as written.
    // A reader would expect the rest to be written after it. The sockets are blocking, so a short
    // write happens only just before a failure, which then affects the next field.
    return writeBytes(fd, bytes, n * field.elementSize, more) >= 0;
}

int reportFailedWrite(const ipc::WireField& field, int error) {
    if (field.onFailedWrite == ipc::OnFailedWrite::AskThenTell) {
        if (clogged_pipe() != 0) {
            return -2;
        }
        ipc::sayFailedWrite(field, error);
        return -1;
    }
    ipc::sayFailedWrite(field, error);
    return clogged_pipe() != 0 ? -2 : -1;
}

} // namespace

int sendsockdata(int fd, IPC_DataPacket* p) {
    for (const ipc::WireField& field : ipc::kFields) {
        if (!ipc::isPlausible(field, *p)) {
            ipc::sayUnsendable(field, *p);
            return -1;
        }
    }
    no_pipe_kills();
    for (const ipc::WireField& field : ipc::kFields) {
        if (!writeField(fd, field, *p)) {
            return reportFailedWrite(field, errno);
        }
    }
    return clogged_pipe() != 0 ? -2 : 0;
}

namespace ipc {

PacketRead receiveReporting(int fd, IPC_DataPacket& packet) {
    const PacketRead read = receivePacket(fd, packet);
    if (read.end != ReadEnd::Complete && read.end != ReadEnd::Closed) {
        sayFailedRead(read);
    }
    return read;
}

} // namespace ipc

int readsockdata(int fd, IPC_DataPacket* p) {
    const ipc::ReadEnd end = ipc::receiveReporting(fd, *p).end;
    return end == ipc::ReadEnd::Complete || end == ipc::ReadEnd::Closed ? 0 : -1;
}

int readbuf(int fd, void* buf, int n) {
    int have = 0;
    while (have < n) {
        const ssize_t got = base::retried([&] {
            return read(fd, static_cast<char*>(buf) + have, static_cast<std::size_t>(n - have));
        });
        if (got < 0) {
            ipc::sayFailedRead(errno);
            return -1;
        }
        if (got == 0) {
            break;
        }
        have += static_cast<int>(got);
    }
    return have;
}
