// SPDX-License-Identifier: MIT
// Descriptor sets: waiting on them, ending their sockets.
#include "base/diagnostics.h"
#include "ipc_inner.h"
#include "ipc_socket.h"

#include <cerrno>
#include <unistd.h>

namespace {

/// The descriptor of the window system's events; -1: none.
int gEventQueueFd = -1;

/// The lowest descriptor that is both in `set` and ready; -1 for none.
int lowestReady(const fd_set* set, const fd_set* ready) {
    for (int fd = 0; fd < ipc::kSetDescriptors; ++fd) {
        if (FD_ISSET(fd, set) && FD_ISSET(fd, ready)) {
            return fd;
        }
    }
    return -1;
}

/// Waits on `set` and, when it is not -1, on `queue`. An interrupted wait continues with the
/// remaining time.
int waitReadable(const fd_set* set, int queue, timeval* timeout, fd_set* ready) {
    int count = -1;
    do {
        *ready = *set;
        if (queue >= 0) {
            FD_SET(queue, ready);
        }
        count = select(ipc::kWaitWidth, ready, nullptr, nullptr, timeout);
    } while (count < 0 && errno == EINTR);
    return count;
}

} // namespace

namespace ipc {

bool addToSet(int fd, fd_set* set) {
    if (fd < 0 || fd >= kSetDescriptors) {
        return false;
    }
    FD_SET(fd, set);
    return true;
}

bool isInSet(int fd, const fd_set* set) {
    return fd >= 0 && fd < kSetDescriptors && FD_ISSET(fd, set);
}

void removeFromSet(int fd, fd_set* set) {
    if (fd >= 0 && fd < kSetDescriptors) {
        FD_CLR(fd, set);
    }
}

bool watchesEventQueue(IPC_QUEUE_MODE queueMode) {
    return queueMode != IPC_QUEUE_SOCKETS && gEventQueueFd >= 0;
}

} // namespace ipc

void setEventQueueFd(int fd) {
    gEventQueueFd = fd;
}

int getsockfd(fd_set* set, IPC_QUEUE_MODE queueMode, IPC_BLOCKING_MODE blockingMode, long seconds,
              long microseconds) {
    const int queue = ipc::watchesEventQueue(queueMode) ? gEventQueueFd : -1;
    if (queue >= ipc::kWaitWidth) {
        base::sayError("getsockfd:  qgetfd failed", EBADF);
        return -1;
    }
    const bool limited = blockingMode == IPC_BLOCKING_TIMED;
    timeval timeout{seconds, microseconds};
    fd_set ready;
    if (waitReadable(set, queue, limited ? &timeout : nullptr, &ready) < 0) {
        base::sayError("getsockfd: select", errno);
        return -1;
    }
    if (const int fd = lowestReady(set, &ready); fd >= 0) {
        return fd;
    }
    if (queue >= 0 && FD_ISSET(queue, &ready)) {
        return 0;
    }
    if (limited) {
        return -2;
    }
    // Kept: The message for a wait without a result names getsockgd.
    // A reader would expect the function's own name.
    base::say("getsockgd: False condition\n");
    return -1;
}

int waitforprocessresponse(IPC_DataPacket* p, fd_set* set, IPC_QUEUE_MODE queueMode) {
    const int fd = getsockfd(set, queueMode, IPC_BLOCKING_FOREVER, 0, 0);
    if (fd < 0) {
        base::say("waitforprocessresponse: General error getting ready fd.\n");
        return -1;
    }
    if (fd == 0) {
        base::say("waitforprocessresponse: Got a NULL (gl event pending)\n");
        return 0;
    }
    if (readsockdata(fd, p) < 0) {
        base::say("waitforprocessresponse: Error while reading socket.\n");
        return -1;
    }
    return fd;
}

void killsocks(short localId, short localSubId, fd_set* set) {
    IPC_DataPacket kill{};
    ipc::fillHeader(kill, {localId, localSubId}, ipc::kClassEvent, ipc::kEventKillAll);
    for (int fd = 0; fd < ipc::kSetDescriptors; ++fd) {
        if (!FD_ISSET(fd, set)) {
            continue;
        }
        if (sendsockdata(fd, &kill) < 0) {
            base::say("Error while sending kill to %d\n", fd);
        }
        FD_CLR(fd, set);
        close(fd);
    }
}

int closesock(int* fd, fd_set* set) {
    if (*fd == -1) {
        return -1;
    }
    if (!ipc::isInSet(*fd, set)) {
        base::say("closesock: fd not set\n");
        return -1;
    }
    close(*fd);
    FD_CLR(*fd, set);
    return 0;
}
