// SPDX-License-Identifier: MIT
#include "ipc_peer.h"

#include "ipc_caller.h"
#include "ipc_inner.h"
#include "ipc_socket.h"
#include "ipc_wire.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

namespace ipc {
namespace {

/// Interval between attempts to take an exit status that a tracer takes first.
constexpr int kTracerMilliseconds = 1;

/// How long a peer that closed its connection may take to exit, so that its exit status is known.
constexpr std::chrono::milliseconds kEnd{200};

constexpr int kExecFailedStatus = -1;

struct Description {
    PeerFailure failure;
    const char* text;
};
constexpr Description kDescriptions[] = {
    {PeerFailure::None, "no failure"},
    {PeerFailure::NotExecutable, "the program does not exist or is not executable"},
    {PeerFailure::AlreadyRunning, "the program is already running"},
    {PeerFailure::CannotOpen, "the program could not be opened to check whether it is running"},
    {PeerFailure::Socket, "could not create a socket"},
    {PeerFailure::Bind, "the socket could not be bound"},
    {PeerFailure::SocketName, "the socket's port could not be read"},
    {PeerFailure::Listen, "the socket could not listen"},
    {PeerFailure::Pipe, "could not create a pipe"},
    {PeerFailure::Fork, "could not create a process"},
    {PeerFailure::Died, "the program ended or closed the connection before it was ready"},
    {PeerFailure::Late, "the program was not ready in time"},
    {PeerFailure::Accept, "the program's connection could not be accepted"},
    {PeerFailure::Read, "the program's init request could not be read"},
    {PeerFailure::Garbled, "the program sent something that is not a packet"},
    {PeerFailure::Refused, "the program refused"},
    {PeerFailure::UnknownRequest, "the program's first packet was not an init request"},
    {PeerFailure::Reply, "the init request could not be answered"},
    {PeerFailure::Cancelled, "the start was cancelled"},
};

Trouble checkProgram(const PeerOptions& options) {
    // Kept: The program is tested at its path but executed by a search of PATH.
    // A reader would expect both to be the same file. A name without a slash must be executable in
    // the current directory, but the first program of that name along PATH runs.
    if (access(options.path.c_str(), X_OK) != 0) {
        return {PeerFailure::NotExecutable, errno};
    }
    if (!options.onlyIfNotRunning) {
        return {};
    }
    const base::UniqueFd program(open(options.path.c_str(), O_RDWR | O_CLOEXEC));
    if (program.valid()) {
        return {};
    }
    return {errno == ETXTBSY ? PeerFailure::AlreadyRunning : PeerFailure::CannotOpen, errno};
}

/// A pipe whose ends are closed on exec; none on failure (errno).
bool openPipe(base::UniqueFd& readEnd, base::UniqueFd& writeEnd) {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return false;
    }
    readEnd = aboveStandard(base::UniqueFd(ends[0]));
    writeEnd = aboveStandard(base::UniqueFd(ends[1]));
    return readEnd.valid() && writeEnd.valid();
}

/// The child's data, prepared before the fork: between fork and exec no call may lock or allocate,
/// and the parent's memory must not change.
struct ChildPlan {
    std::array<char*, 4> arguments{}; ///< path, option, port, null
    int stderrFd = -1;                ///< becomes descriptor 2; -1: unchanged
    bool defaultChildSignal = true;
    bool ownGroup = false;
};

/// Resets the signals that the parent catches to their default action: a handler in the child would
/// run in the parent's memory, for a signal (a Ctrl-C at the terminal) that the parent gets too.
void dropCatchers() {
    struct sigaction defaultAction {};
    defaultAction.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action {};
        if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_DFL &&
            action.sa_handler != SIG_IGN) {
            sigaction(number, &defaultAction, nullptr);
        }
    }
}

/// The child's side of the fork. Not inlined, so that it does not use the stack frame to which the
/// parent returns.
[[noreturn, gnu::noinline]] void runProgram(const ChildPlan& plan) {
    struct sigaction defaultAction {};
    defaultAction.sa_handler = SIG_DFL;
    sigaction(SIGPIPE, &defaultAction, nullptr);
    if (plan.defaultChildSignal) {
        sigaction(SIGCHLD, &defaultAction, nullptr);
    }
    dropCatchers();
    if (plan.ownGroup) {
        setpgid(0, 0);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    while (plan.stderrFd >= 0 && dup2(plan.stderrFd, STDERR_FILENO) < 0) {
        if (errno != EINTR && errno != EBUSY) {
            _exit(kExecFailedStatus); // its reports of damage must not go elsewhere
        }
    }
    execvp(plan.arguments[0], plan.arguments.data());
    const char* const reason = strerrordesc_np(errno);
    std::signal(SIGPIPE, SIG_IGN); // the exit status is more specific
    std::array<iovec, 3> line{};
    const std::array<const char*, 3> texts = {
        "doexec: exec failed: ", reason != nullptr ? reason : "?", "\n"};
    std::ranges::transform(texts, line.begin(), [](const char* text) {
        return iovec{const_cast<char*>(text), std::strlen(text)}; // writev does not write to it
    });
    (void)!writev(STDERR_FILENO, line.data(), static_cast<int>(line.size()));
    _exit(kExecFailedStatus);
}

/// Forks with all signals blocked until no handler of the parent can run in the child. The child
/// shares the parent's memory until it executes the program: copying the page tables of a host with
/// gigabytes of pictures would take longer than the rest of the start.
pid_t forkProgram(const ChildPlan& plan) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t pid = vfork(); // NOLINT(clang-analyzer-security.insecureAPI.vfork)
    if (pid == 0) {
        runProgram(plan); // NOLINT(clang-analyzer-unix.Vfork): makes only the calls of posix_spawn
    }
    const int error = errno;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    errno = error;
    return pid;
}

/// Starts the process.
Trouble spawn(const PeerOptions& options, unsigned short port, int stderrFd, Peer& peer) {
    std::string path = options.path;
    std::string option = "-ipc_link_port";
    std::string number = std::to_string(port);
    const ChildPlan plan{{path.data(), option.data(), number.data(), nullptr},
                         stderrFd,
                         !options.ignoreChildSignal,
                         options.ownGroup};
    const pid_t pid = forkProgram(plan);
    if (pid < 0) {
        return {PeerFailure::Fork, errno};
    }
    peer.process = Child(pid);
    return {};
}

bool isCancelled(const PeerOptions& options) {
    pollfd watched{options.cancelFd, POLLIN, 0};
    return poll(&watched, 1, 0) > 0; // never for a descriptor of -1
}

bool worthAnotherTry(int error) {
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR || error == ECONNABORTED;
}

/// Waits until the peer itself connects, ends, or is late.
Trouble awaitConnection(const PeerOptions& options, int listener, Deadline deadline, Peer& peer) {
    for (;;) {
        pollfd watched[] = {
            {listener, POLLIN, 0}, {peer.process.fd(), POLLIN, 0}, {options.cancelFd, POLLIN, 0}};
        const bool late = pollTimeout(deadline) == 0;
        (void)poll(watched, std::size(watched), peer.process.pollTimeout(deadline));
        base::UniqueFd caller = acceptConnection(listener);
        if (!caller.valid() && !worthAnotherTry(errno)) {
            return {PeerFailure::Accept, errno};
        }
        // Any process can connect. A connection from another one is closed, and the wait continues.
        if (caller.valid() && isLocalCall(caller.get()) &&
            isCallOf(peer.process.pid(), caller.get()) && !peer.process.hasEnded()) {
            peer.socket = std::move(caller);
            return {};
        }
        if (peer.process.hasEnded()) {
            return {PeerFailure::Died, ESRCH};
        }
        if (isCancelled(options)) {
            return {PeerFailure::Cancelled};
        }
        if (late) {
            return {PeerFailure::Late, ETIMEDOUT};
        }
    }
}

/// Ends the child of a failed start, with the group that it leads, and waits for it, unless the
/// system does. Its stderr stays readable.
void endPeer(PeerStart& start, bool leadsGroup, bool waitForIt) {
    Child& process = start.peer.process;
    const bool ended = process.hasEnded();
    if (leadsGroup && !ended && process.pid() > 0) {
        ::kill(-process.pid(), SIGKILL);
    }
    process.kill();
    std::optional<int> status;
    while (waitForIt && !(process.awaitEnd({}) && process.take(status))) {
        poll(nullptr, 0, kTracerMilliseconds);
    }
    if (ended) {
        start.waitStatus = status;
    }
    start.peer.socket.reset();
    process = {};
}

/// Everything up to the connection.
Trouble launch(const PeerOptions& options, Deadline deadline, Peer& peer) {
    if (const Trouble trouble = checkProgram(options); !trouble.none()) {
        return trouble;
    }
    if (isCancelled(options)) {
        return {PeerFailure::Cancelled};
    }
    if (options.ignoreChildSignal) {
        std::signal(SIGCHLD, SIG_IGN);
    }
    base::UniqueFd listener;
    unsigned short port = 0;
    Trouble trouble = openListener(options.listenOnAllInterfaces, SOCK_NONBLOCK, listener, port);
    if (!trouble.none()) {
        return trouble;
    }
    base::UniqueFd stderrWriteEnd;
    if (options.captureStderr && !openPipe(peer.stderrPipe, stderrWriteEnd)) {
        return {PeerFailure::Pipe, errno};
    }
    trouble = spawn(options, port, stderrWriteEnd.get(), peer);
    stderrWriteEnd.reset();
    return trouble.none() ? awaitConnection(options, listener.get(), deadline, peer) : trouble;
}

/// Reads the peer's first packet and answers it.
Trouble greet(const PeerOptions& options, Deadline deadline, PeerStart& start) {
    IPC_DataPacket first;
    const PacketRead read = receivePacket(start.peer.socket.get(), first, deadline,
                                          options.cancelFd, &start.peer.process);
    switch (read.end) {
    case ReadEnd::Complete:
        break;
    case ReadEnd::Closed:
        (void)start.peer.process.awaitEnd(deadlineAfter(kEnd));
        return {PeerFailure::Died, read.error};
    case ReadEnd::Failed:
        return {PeerFailure::Read, read.error};
    case ReadEnd::TimedOut:
        return {PeerFailure::Late};
    case ReadEnd::Cancelled:
        return {PeerFailure::Cancelled};
    case ReadEnd::BadCount:
        return {PeerFailure::Garbled};
    }
    start.code = first.datacmd[kWordCode];
    Ends ends{options.localId, options.localSubId};
    IPC_DataPacket reply;
    const PeerFailure outcome = judgeInitRequest(first, ends, reply);
    start.peer.peerId = ends.peerId;
    start.peer.peerSubId = ends.peerSubId;
    if (outcome != PeerFailure::None) {
        return {outcome};
    }
    const SendEnd sent =
        sendPacket(start.peer.socket.get(), reply, deadline, options.cancelFd, &start.peer.process);
    const int error = errno;
    switch (sent) {
    case SendEnd::Sent:
        return {};
    case SendEnd::Cancelled:
        return {PeerFailure::Cancelled};
    case SendEnd::TimedOut:
        return {PeerFailure::Late};
    case SendEnd::BadCount:
    case SendEnd::Failed:
        break;
    }
    return {PeerFailure::Reply, error};
}

PeerStart start(const PeerOptions& options, bool greeting) {
    const Deadline deadline = deadlineAfter(options.limit);
    PeerStart start;
    Trouble trouble;
    try {
        trouble = launch(options, deadline, start.peer);
    } catch (const std::bad_alloc&) { // before the process exists
        trouble = {PeerFailure::Fork, ENOMEM};
    }
    if (trouble.none() && greeting) {
        trouble = greet(options, deadline, start);
    }
    start.failure = trouble.failure;
    start.error = trouble.error;
    if (!trouble.none()) {
        endPeer(start, options.ownGroup, !options.ignoreChildSignal);
    }
    return start;
}

} // namespace

const char* describe(PeerFailure failure) {
    static_assert(std::size(kDescriptions) == static_cast<std::size_t>(PeerFailure::Cancelled) + 1);
    return std::ranges::find(kDescriptions, failure, &Description::failure)->text;
}

PeerFailure judgeInitRequest(const IPC_DataPacket& first, Ends& ends, IPC_DataPacket& reply) {
    const short messageClass = first.datacmd[kWordClass];
    const short code = first.datacmd[kWordCode];
    if (messageClass == kClassEvent && code == kEventKill) {
        return PeerFailure::Refused;
    }
    ends.peerId = first.datacmd[kWordSenderId];
    ends.peerSubId = first.datacmd[kWordSenderSubId];
    if (messageClass != kClassInit || code != kInitRequest) {
        return PeerFailure::UnknownRequest;
    }
    reply = {};
    fillHeader(reply, ends, kClassStatus, kInitDataReady);
    return PeerFailure::None;
}

PeerStart launchPeer(const PeerOptions& options) noexcept {
    return start(options, false);
}

PeerStart startPeer(const PeerOptions& options) noexcept {
    return start(options, true);
}

} // namespace ipc
