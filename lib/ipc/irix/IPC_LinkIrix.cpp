// SPDX-License-Identifier: MIT
#include "IPC_LinkIrix.h"

#include "base/diagnostics.h"
#include "ipc_inner.h"
#include "ipc_socket.h"

#include <array>
#include <cstring>
#include <new>
#include <poll.h>
#include <string>
#include <unistd.h>
#include <utility>

fd_set IPC_LinkIrix::scset;
std::int32_t IPC_LinkIrix::initializedF = 0;

namespace {

/// Empty packets in a row after which the parent is checked.
constexpr int kEmptyReadsBeforeDoubt = 40;

/// Pause after each further empty packet while the parent lives: a stream at its end is always
/// ready, so that the reading loop does not spin.
constexpr int kPauseMilliseconds = 100;

std::unique_ptr<char[]> copyOf(const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    auto copy = std::make_unique<char[]>(size);
    std::memcpy(copy.get(), text, size);
    return copy;
}

/// The links by their sockets, all of which are in the shared set.
std::array<IPC_LinkIrix*, ipc::kSetDescriptors> gLinks{};

/// Link status and message for each result of `startsomeprocess` other than a socket.
struct StartOutcome {
    int result;
    int linkStatus;
    const char* line;
};
constexpr StartOutcome kStartOutcomes[] = {
    {-1, -1, "IPC_LinkIrix: Error starting client.\n"},
    {-2, -2, "IPC_LinkIrix: Client process is already executing.\n"},
    {0, -3, ""},
};

} // namespace

IPC_LinkIrix::IPC_LinkIrix(short localIdGiven, short localSubIdGiven, IPC_EXEC_MODE execModeGiven,
                           IPC_SIGNAL_MODE signalModeGiven, const char* name, const char* dir)
    : IPC_Link(localIdGiven, localSubIdGiven, execModeGiven, signalModeGiven) {
    prepare();
    if (name == nullptr) {
        name = "";
    }
    std::string path;
    try {
        path = name;
        if (dir != nullptr && *dir != '\0') {
            path = std::string(dir) + "/" + name;
            clientDir = copyOf(dir);
        }
        clientName = copyOf(name);
    } catch (const std::bad_alloc&) {
        base::say("IPC_LinkIrix: Out of memory.\n");
        linkStatus = -1;
        return;
    }
    connect(path.c_str(), execMode);
}

IPC_LinkIrix::IPC_LinkIrix(short localIdGiven, short localSubIdGiven, int port)
    : IPC_Link(localIdGiven, localSubIdGiven, IPC_EXEC_ALWAYS, IPC_SIGNAL_OFF) {
    prepare();
    connect(port);
}

IPC_LinkIrix::~IPC_LinkIrix() {
    close();
    // Kept: Destroying a socket link lowers the population by two.
    // A reader would expect it to be lowered once, because creating the link raises it once; the
    // base class lowers it again.
    --population;
    cleanup();
}

void IPC_LinkIrix::prepare() {
    if (initializedF == 0) {
        initialize_socket_set();
        initializedF = 1;
    }
    initialize();
}

int IPC_LinkIrix::initialize() {
    clientName.reset();
    clientDir.reset();
    parentPid = -1;
    childPid = -1;
    emptyReads = 0;
    sockfd = -1;
    return -1;
}

void IPC_LinkIrix::initialize_socket_set() {
    FD_ZERO(&scset);
}

void IPC_LinkIrix::cleanup() {
    clientName.reset();
    clientDir.reset();
}

void IPC_LinkIrix::connect(const char* path, IPC_EXEC_MODE mode) {
    if (sockfd != -1) {
        return;
    }
    int pid = -1;
    const int result =
        startsomeprocess(path, mode, localId, localSubId, &scset, &pid, &peerId, &peerSubId);
    childPid = pid;
    if (result > 0) {
        sockfd = result;
        enlist();
        return;
    }
    for (const StartOutcome& outcome : kStartOutcomes) {
        if (outcome.result == result) {
            linkStatus = outcome.linkStatus;
            base::say("%s", outcome.line);
        }
    }
}

void IPC_LinkIrix::connect(int port) {
    if (sockfd != -1) {
        return;
    }
    sockfd = getservsock(port);
    if (sockfd >= 0 && !ipc::addToSet(sockfd, &scset)) {
        base::say("IPC_LinkIrix: Too many open descriptors.\n");
        ::close(sockfd);
        sockfd = -1;
    }
    if (sockfd < 0) {
        base::say("IPC_LinkIrix: Error initializing socket to parent.\n");
        sockfd = -1;
        linkStatus = 1;
        return;
    }
    enlist();
    if (sendinitrequest(localId, localSubId, sockfd, &packet) < 0) {
        base::say("IPC_LinkIrix: Error while sending init data.\n");
        linkStatus = 1;
    }
    const int answer = getinitdata(localId, localSubId, sockfd, &packet);
    if (answer <= 0) {
        base::say(answer < 0 ? "IPC_LinkIrix: Error reading init data.\n"
                             : "IPC_LinkIrix: Received kill from parent.\n");
        linkStatus = 1;
    }
    // Kept: The parent's ids are stored even if the handshake failed.
    // A reader would expect them to stay unknown. They come from the packet buffer, which holds
    // this end's own request if no reply arrived.
    peerId = packet.datacmd[ipc::kWordSenderId];
    peerSubId = packet.datacmd[ipc::kWordSenderSubId];
    parentPid = packet.longdata[0];
}

int IPC_LinkIrix::transmit(IPC_DataPacket* p, int stampSender) {
    if (sockfd == -1) {
        return -1;
    }
    IPC_Link::transmit(p, stampSender);
    const int result = sendsockdata(sockfd, p);
    if (result == 0) {
        return 0;
    }
    if (result == -1) {
        base::say("IPC_LinkIrix: Error while sending data.\n");
        return -1;
    }
    base::say("IPC_LinkIrix: Broken pipe detected - closing link.\n");
    hangUp();
    // Kept: A broken pipe returns the value of killOnDestroy.
    // A reader would expect a negative result; a broken pipe shows in the closed link.
    return killOnDestroy;
}

int IPC_LinkIrix::waitForPacket(IPC_QUEUE_MODE queueMode, IPC_BLOCKING_MODE blockingMode,
                                long seconds, long microseconds) {
    if (shareSocketSet != 0) {
        return getsockfd(&scset, queueMode, blockingMode, seconds, microseconds);
    }
    fd_set own;
    FD_ZERO(&own);
    ipc::addToSet(sockfd, &own);
    return getsockfd(&own, queueMode, blockingMode, seconds, microseconds);
}

int IPC_LinkIrix::receive(IPC_QUEUE_MODE queueMode, IPC_BLOCKING_MODE blockingMode, long seconds,
                          long microseconds, IPC_DataPacket* p) {
    if (sockfd < 0 && (shareSocketSet == 0 || isAlone(queueMode))) {
        return -2;
    }
    const int fd = waitForPacket(queueMode, blockingMode, seconds, microseconds);
    if (fd == -2 || fd == 0) {
        return 0;
    }
    if (fd < 0) {
        base::say("IPC_LinkIrix: Error getting ready descriptor.\n");
        return -1;
    }
    const ipc::PacketRead read = ipc::receiveReporting(fd, *p);
    if (read.outOfStep) {
        hangUpOn(fd);
    }
    if (read.end != ipc::ReadEnd::Complete && read.end != ipc::ReadEnd::Closed) {
        return -1;
    }
    if (read.end == ipc::ReadEnd::Closed) {
        *p = {}; // nothing of a packet that the peer's end has cut may be carried out
    }
    emptyReads = p->numof_cmds == 0 ? emptyReads + 1 : 0;
    if (emptyReads >= kEmptyReadsBeforeDoubt) {
        lookForParent(p);
    }
    return 1;
}

/// Stores in `p` the packet that announces the parent's death.
void IPC_LinkIrix::lookForParent(IPC_DataPacket* p) {
    if (getppid() == parentPid) {
        poll(nullptr, 0, kPauseMilliseconds);
        return;
    }
    *p = {};
    ipc::fillHeader(*p, {peerId, peerSubId, localId, localSubId}, ipc::kClassEvent,
                    ipc::kEventParentDied);
}

int IPC_LinkIrix::get_next_socket(IPC_QUEUE_MODE queueMode, IPC_BLOCKING_MODE blockingMode,
                                  long seconds, long microseconds) {
    return getsockfd(&scset, queueMode, blockingMode, seconds, microseconds);
}

/// Records that this link's socket is in the shared set.
void IPC_LinkIrix::enlist() {
    gLinks[static_cast<std::size_t>(sockfd)] = this;
}

/// Closes the link without sending anything to a peer that would not understand it or has gone.
void IPC_LinkIrix::hangUp() {
    const std::int32_t kill = std::exchange(killOnDestroy, 0);
    close();
    killOnDestroy = kill;
}

/// Closes the link of this socket. A socket of the shared set without a link is removed from the
/// set and left to its owner.
void IPC_LinkIrix::hangUpOn(int fd) {
    if (fd == sockfd) {
        hangUp();
    } else if (IPC_LinkIrix* const other = gLinks[static_cast<std::size_t>(fd)]) {
        other->hangUp();
    } else {
        ipc::removeFromSet(fd, &scset);
    }
}

/// True when no link of the process is connected and no window system is watched, so that a wait
/// would never end.
bool IPC_LinkIrix::isAlone(IPC_QUEUE_MODE queueMode) {
    fd_set none;
    FD_ZERO(&none);
    return std::memcmp(&none, &scset, sizeof none) == 0 && !ipc::watchesEventQueue(queueMode);
}

void IPC_LinkIrix::close() {
    if (sockfd == -1) {
        return;
    }
    if (killOnDestroy != 0) {
        clearData(ipc::kClassAction, ipc::kActionKill, &packet);
        // The destructor calls this class's own operation.
        // NOLINTNEXTLINE(clang-analyzer-optin.cplusplus.VirtualCall)
        if (transmit(&packet, 0) < 0) {
            base::say("IPC_LinkIrix: Error while sending data.\n");
        }
    }
    gLinks[static_cast<std::size_t>(sockfd)] = nullptr;
    closesock(&sockfd, &scset);
    sockfd = -1;
}
