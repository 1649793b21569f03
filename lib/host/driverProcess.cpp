// SPDX-License-Identifier: MIT
#include "driverProcess.h"

#include "interrupt.h"
#include "ipc_wire.h"
#include "requestNames.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/wait.h>
#include <thread>
#include <utility>

namespace tdr {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// A packet is a few kilobytes on the loopback: once its first byte is here, the rest follows at
/// once or never.
constexpr auto kRestOfPacket = 5s;

/// How long a driver that has hung up may take to end before it is killed: long enough to write out
/// what is buffered, short enough for a person who waits.
constexpr auto kLastBreath = 2s;

/// A killed process goes at once unless the kernel holds it (a dead network disk).
constexpr auto kAfterKill = 10s;
constexpr auto kTracerPause = 1ms; // between tries to take a traced process's status

Failure badArgument(std::string what) {
    return {FailureKind::BadArgument, std::move(what), {}, {}};
}

DriverEnd endOf(int waitStatus) {
    const bool exited = WIFEXITED(waitStatus);
    return {true, exited ? WEXITSTATUS(waitStatus) : 0, exited ? 0 : WTERMSIG(waitStatus)};
}

bool pollReadable(const pollfd& entry) {
    return entry.revents != 0;
}

/// True for the start failures whose errno explains them; for the others it is a left-over.
bool tellsErrno(ipc::PeerFailure failure) {
    constexpr std::array kWithout = {ipc::PeerFailure::Died,    ipc::PeerFailure::Late,
                                     ipc::PeerFailure::Garbled, ipc::PeerFailure::Refused,
                                     ipc::PeerFailure::Reply,   ipc::PeerFailure::UnknownRequest};
    return std::ranges::find(kWithout, failure) == kWithout.end();
}

std::string seconds(std::chrono::milliseconds limit) {
    return std::to_string((limit.count() + 999) / 1000) + " s";
}

} // namespace

DriverProcess::DriverProcess(std::filesystem::path program, StartOptions options)
    : program_(std::move(program)), options_(std::move(options)) {}

DriverProcess::~DriverProcess() {
    if (alive() && interrupted()) {
        kill(); // somebody has pressed Ctrl-C: no time for manners
    } else if (alive()) {
        [[maybe_unused]] const auto ended = end();
    }
}

// --- Start ---------------------------------------------------------------------------------------

Result<std::unique_ptr<DriverProcess>> DriverProcess::start(const std::filesystem::path& program,
                                                            StartOptions options) {
    std::unique_ptr<DriverProcess> process(new DriverProcess(program, std::move(options)));
    process->begin("start", process->options_.limits.start);
    ipc::PeerOptions peerOptions;
    peerOptions.path = program.string();
    if (!program.has_parent_path()) {
        peerOptions.path.insert(0, "./"); // a name alone would be searched along PATH
    }
    peerOptions.localId = process->options_.hostId;
    peerOptions.localSubId = process->options_.hostSubId;
    peerOptions.limit = process->options_.limits.start;
    peerOptions.cancelFd = interruptFd();
    peerOptions.captureStderr = true;
    ipc::PeerStart started = ipc::startPeer(peerOptions);
    process->peer_ = std::move(started.peer);
    process->lines_.open(std::move(process->peer_.stderrPipe), process->options_.onDriverLine);
    if (started.failure != ipc::PeerFailure::None) {
        return process->startFailure(started);
    }
    Status ok = process->awaitStartUpOk();
    if (!ok) {
        return ok.failure();
    }
    return process;
}

Failure DriverProcess::startFailure(const ipc::PeerStart& start) {
    lines_.finish();
    peer_.socket.reset();
    if (start.failure == ipc::PeerFailure::Cancelled) {
        return interruption();
    }
    Failure failure{FailureKind::CouldNotStart,
                    program_.string() + " could not be started: " + ipc::describe(start.failure),
                    {},
                    lines_.last()};
    if (start.error != 0 && tellsErrno(start.failure)) {
        failure.what += std::string(": ") + std::strerror(start.error);
    }
    // A driver that was killed for being late tells nothing by that.
    if (start.waitStatus && start.failure == ipc::PeerFailure::Died) {
        failure.end = endOf(*start.waitStatus);
    }
    return failure;
}

Status DriverProcess::awaitStartUpOk() {
    Status received = receive();
    Failure failure;
    if (!received) {
        failure = received.failure();
    } else if (packetIs(ipc::kClassStatus, ipc::kStatusOk)) {
        return {};
    } else {
        kill();
        failure.what = program_.string() + " could not be started: it answered with an error";
        failure.lastLine = lines_.last();
    }
    if (failure.kind != FailureKind::Interrupted) {
        failure.kind = FailureKind::CouldNotStart;
    }
    return failure;
}

void DriverProcess::begin(std::string name, std::chrono::milliseconds limit) {
    request_ = std::move(name);
    limit_ = limit;
    deadline_ = Clock::now() + limit;
}

// --- Requests ------------------------------------------------------------------------------------

Status DriverProcess::send(const Request& request) {
    const std::string name = nameOfRequest(request.messageClass, request.code);
    if (!alive()) {
        return Failure{FailureKind::Died,
                       name + ": the session with " + program_.string() + " is over",
                       {},
                       lines_.last()};
    }
    if (request.longs.size() > ipc::kMaxLongs) {
        return badArgument(name + ": more than 256 longs do not fit a packet");
    }
    if (request.text && (request.text->size() >= ipc::kMaxChars ||
                         request.text->find('\0') != std::string_view::npos)) {
        return badArgument(name + ": a text of more than 2047 bytes or with a zero byte in it");
    }
    lines_.drain();
    lines_.mark();
    begin(name, options_.limits.request);
    packet_ = {};
    packet_.numof_cmds = ipc::kCommandWords;
    packet_.datacmd[ipc::kWordSenderId] = options_.hostId;
    packet_.datacmd[ipc::kWordSenderSubId] = options_.hostSubId;
    packet_.datacmd[ipc::kWordReceiverId] = peer_.peerId;
    packet_.datacmd[ipc::kWordReceiverSubId] = peer_.peerSubId;
    packet_.datacmd[ipc::kWordClass] = request.messageClass;
    packet_.datacmd[ipc::kWordCode] = request.code;
    packet_.numof_longs = static_cast<std::int32_t>(request.longs.size());
    std::ranges::copy(request.longs, packet_.longdata);
    if (request.text) {
        packet_.numof_strings = 1;
        packet_.numof_chars = static_cast<std::int32_t>(request.text->size()) + 1;
        std::ranges::copy(*request.text, packet_.chardata);
    }
    const ipc::SendEnd sent = ipc::sendPacket(peer_.socket.get(), packet_);
    return sent == ipc::SendEnd::Sent ? Status() : Status(died());
}

Status DriverProcess::receive() {
    Status ready = awaitPacket();
    if (!ready) {
        return ready;
    }
    const auto limit = std::min(deadline_, Clock::now() + kRestOfPacket);
    const ipc::PacketRead read =
        ipc::receivePacket(peer_.socket.get(), packet_, limit, interruptFd());
    switch (read.end) {
    case ipc::ReadEnd::Complete:
        lines_.settle(); // what a driver says, it says before it answers
        return packet_.numof_cmds == ipc::kCommandWords ? Status() : Status(broken());
    case ipc::ReadEnd::Closed:
    case ipc::ReadEnd::Failed:
        return died();
    case ipc::ReadEnd::Cancelled:
        kill();
        return interruption();
    case ipc::ReadEnd::TimedOut:
    case ipc::ReadEnd::BadCount:
        break;
    }
    return broken();
}

Status DriverProcess::awaitPacket() {
    for (;;) {
        std::array<pollfd, 3> watched = {{{peer_.socket.get(), POLLIN, 0},
                                          {lines_.fd(), POLLIN, 0},
                                          {interruptFd(), POLLIN, 0}}};
        const int count = ::poll(watched.data(), watched.size(), ipc::pollTimeout(deadline_));
        if (pollReadable(watched[2])) {
            kill();
            return interruption();
        }
        if (pollReadable(watched[1])) {
            lines_.drain();
        }
        if (pollReadable(watched[0])) {
            return {};
        }
        if (count == 0 || Clock::now() >= deadline_) {
            kill();
            return Failure{FailureKind::TimedOut,
                           requestText() + ": no answer within " + seconds(limit_),
                           {},
                           lines_.last()};
        }
    }
}

bool DriverProcess::packetIs(std::int16_t messageClass, std::int16_t code) const {
    return packet_.datacmd[ipc::kWordClass] == messageClass &&
           packet_.datacmd[ipc::kWordCode] == code;
}

std::string DriverProcess::requestText() const {
    return program_.filename().string() + ": " + request_;
}

Failure DriverProcess::interruption() const {
    return {FailureKind::Interrupted, requestText() + ": interrupted", {}, {}};
}

Failure DriverProcess::refused() {
    return {FailureKind::Refused, requestText() + ": refused", {}, lines_.lastSinceMark()};
}

Failure DriverProcess::broken() {
    kill();
    return {FailureKind::ProtocolBroken,
            requestText() + ": an answer that breaks the protocol",
            {},
            lines_.last()};
}

// --- The end -------------------------------------------------------------------------------------

Failure DriverProcess::died() {
    const bool byItself = awaitExit(kLastBreath);
    const DriverEnd ended = kill();
    Failure failure{FailureKind::Died, requestText() + ": the driver died", {}, lines_.last()};
    if (byItself) {
        failure.end = ended;
    } else {
        failure.what = requestText() + ": the driver hung up";
    }
    return failure;
}

Status DriverProcess::dismiss() {
    if (alive() && std::exchange(dismissed_, true)) {
        return {};
    }
    return send({ipc::kClassAction, ipc::kActionKill, {}, {}});
}

Result<DriverEnd> DriverProcess::end() {
    Status sent = dismiss();
    if (!sent) {
        return sent.failure();
    }
    const bool went = awaitExit(options_.limits.end);
    const DriverEnd ended = kill();
    if (!went) {
        return Failure{FailureKind::TimedOut,
                       requestText() + ": still there after " + seconds(options_.limits.end),
                       {},
                       lines_.last()};
    }
    return ended;
}

/// Takes the exit status of the ended process. Returns false when it cannot be had yet: a process
/// that was killed under a tracer's eyes (a debugger, the leak sanitizer) is the tracer's first.
bool DriverProcess::reap() {
    std::optional<int> status;
    if (!peer_.process.take(status)) {
        std::this_thread::sleep_for(kTracerPause);
        return false;
    }
    if (status) { // none when the host ignores SIGCHLD: the kernel has waited for it
        end_ = endOf(*status);
    }
    return true;
}

bool DriverProcess::awaitExit(std::chrono::milliseconds limit) {
    const auto until = Clock::now() + limit;
    while (!ended_) {
        std::array<pollfd, 2> watched = {
            {{peer_.process.fd(), POLLIN, 0}, {lines_.fd(), POLLIN, 0}}};
        ::poll(watched.data(), watched.size(), peer_.process.pollTimeout(until));
        if (pollReadable(watched[1])) {
            lines_.drain();
        }
        ended_ = peer_.process.hasEnded() && reap();
        if (!ended_ && Clock::now() >= until) {
            return false;
        }
    }
    return true;
}

DriverEnd DriverProcess::kill() {
    if (!ended_) {
        peer_.process.kill();
        awaitExit(kAfterKill);
    }
    lines_.finish();
    peer_.socket.reset();
    return end_;
}

} // namespace tdr
