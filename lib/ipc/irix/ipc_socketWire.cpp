// SPDX-License-Identifier: MIT
// Writing and reading packets on a socket by the public functions, with messages on stderr.
#include "base/retry.h"
#include "ipc_diagnostics.h"
#include "ipc_inner.h"
#include "ipc_socket.h"
#include "ipc_wireTable.h"

#include <cerrno>
#include <unistd.h>

namespace {

bool writeField(int fd, const ipc::WireField& field, IPC_DataPacket& packet) {
    const std::size_t n = ipc::elementsOf(field, packet);
    if (n == 0 && field.skippedWhenEmpty) {
        return true;
    }
    std::uint8_t bytes[ipc::kMaxFieldBytes];
    ipc::copyElements(bytes, ipc::placeOf(field, packet), field.elementSize, n);
    // Kept: A short write of a packet's field counts as written.
    // A reader would expect the rest to be written after it. The sockets are blocking, so a short
    // write happens only just before a failure, which then affects the next field.
    return write(fd, bytes, n * field.elementSize) >= 0;
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
