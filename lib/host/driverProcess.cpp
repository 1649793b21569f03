// SPDX-License-Identifier: MIT
// A session's start and its requests; its end is in driverEnd.cpp.
#include "driverProcess.h"

#include "interrupt.h"
#include "ipc_wire.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <utility>

namespace tdr {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// A packet is a few kilobytes over loopback: after its first byte the rest follows at once or
/// never.
constexpr auto kRestOfPacket = 5s;

/// Everything that a process has sent before its end arrives within this time, however busy the
/// machine is.
constexpr int kLastBytesMilliseconds = 200;

/// True for the start failures that errno explains; for the others errno is stale.
bool tellsErrno(ipc::PeerFailure failure) {
    constexpr std::array kWithout = {ipc::PeerFailure::Died,    ipc::PeerFailure::Late,
                                     ipc::PeerFailure::Garbled, ipc::PeerFailure::Refused,
                                     ipc::PeerFailure::Reply,   ipc::PeerFailure::UnknownRequest};
    return std::ranges::find(kWithout, failure) == kWithout.end();
}

} // namespace

DriverProcess::DriverProcess(std::filesystem::path program, StartOptions options)
    : program_(std::move(program)), options_(std::move(options)) {}

// --- Start ---------------------------------------------------------------------------------------

Result<std::unique_ptr<DriverProcess>> DriverProcess::start(const std::filesystem::path& program,
                                                            StartOptions options) {
    std::unique_ptr<DriverProcess> process(new DriverProcess(program, std::move(options)));
    process->begin(ipc::kClassInit, ipc::kInitRequest, process->options_.limits.start);
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
    peerOptions.ownGroup = process->options_.ownGroup;
    ipc::PeerStart started = ipc::startPeer(peerOptions);
    process->peer_ = std::move(started.peer);
    process->answerDue_ = true;
    process->lines_.open(std::move(process->peer_.stderrPipe),
                         std::move(process->options_.onDriverLine));
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
    if (start.failure == ipc::PeerFailure::Cancelled || interrupted()) {
        return interruption();
    }
    Failure failure{FailureKind::CouldNotStart,
                    program_.string() + " could not be started: " + ipc::describe(start.failure)};
    failure.lastLine = lines_.last();
    if (start.error != 0 && tellsErrno(start.failure)) {
        failure.what += std::string(": ") + std::strerror(start.error);
        failure.kind = start.error == ENOMEM ? FailureKind::NoMemory : failure.kind;
    }
    // The signal that killed a late driver says nothing about it.
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
    } else if (packetIsBare(ipc::kClassStatus, ipc::kStatusOk)) {
        return {};
    } else {
        kill();
        const bool error = packetIsBare(ipc::kClassStatus, ipc::kStatusError);
        failure.what = program_.string() + " could not be started: it answered with " +
                       (error ? "an error" : "neither OK nor an error");
        failure.lastLine = lines_.last();
    }
    if (failure.kind != FailureKind::Interrupted) {
        failure.kind = FailureKind::CouldNotStart;
    }
    return failure;
}

void DriverProcess::begin(std::int16_t messageClass, std::int16_t code,
                          std::chrono::milliseconds limit) {
    requestClass_ = messageClass;
    requestCode_ = code;
    limit_ = limit;
    deadline_ = Clock::now() + limit;
    if (jobDeadline_) {
        deadline_ = std::min(deadline_, *jobDeadline_);
    }
}

// --- Requests ------------------------------------------------------------------------------------

Status DriverProcess::send(const Request& request) {
    begin(request.messageClass, request.code, options_.limits.request);
    if (!alive()) {
        return failure(FailureKind::Died, "the session is over");
    }
    if (request.longs.size() > ipc::kMaxLongs) {
        return Failure{FailureKind::BadArgument,
                       requestText() + ": more than 256 longs do not fit a packet"};
    }
    if (request.text && (request.text->size() >= ipc::kMaxChars ||
                         request.text->find('\0') != std::string_view::npos)) {
        return Failure{FailureKind::BadArgument,
                       requestText() +
                           ": a text of more than 2047 bytes or with a zero byte in it"};
    }
    lines_.drain();
    lines_.mark();
    answerDue_ = true;
    Status silent = checkSilence();
    if (!silent) {
        return silent;
    }
    fillPacket(request);
    switch (
        ipc::sendPacket(peer_.socket.get(), packet_, deadline_, interruptFd(), &peer_.process)) {
    case ipc::SendEnd::Sent:
        return {};
    case ipc::SendEnd::TimedOut:
        return late();
    case ipc::SendEnd::Cancelled:
        return interruption();
    case ipc::SendEnd::BadCount:
    case ipc::SendEnd::Failed:
        break;
    }
    return died();
}

/// A driver sends only answers. If bytes are waiting before a request, it has answered once too
/// often and is out of step: they would be taken for the answer to the next request.
Status DriverProcess::checkSilence() {
    char byte = 0;
    const ssize_t got = ::recv(peer_.socket.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    if (got > 0) {
        return broken("the driver answered before it was asked, which breaks the protocol");
    }
    const bool silent = got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR);
    return silent ? Status() : Status(died());
}

void DriverProcess::fillPacket(const Request& request) {
    ipc::fillHeader(packet_, {options_.hostId, options_.hostSubId, peer_.peerId, peer_.peerSubId},
                    request.messageClass, request.code);
    packet_.numof_longs = static_cast<std::int32_t>(request.longs.size());
    std::ranges::copy(request.longs, packet_.longdata);
    if (request.text) {
        packet_.numof_strings = 1;
        packet_.numof_chars = static_cast<std::int32_t>(request.text->size()) + 1;
        *std::ranges::copy(*request.text, packet_.chardata).out = '\0';
    }
}

Status DriverProcess::receive() {
    answerDue_ = true;
    Status ready = awaitPacket();
    if (!ready) {
        return ready;
    }
    const auto limit = std::min(deadline_, Clock::now() + kRestOfPacket);
    const ipc::PacketRead read =
        ipc::receivePacket(peer_.socket.get(), packet_, limit, interruptFd(), &peer_.process);
    switch (read.end) {
    case ipc::ReadEnd::Complete:
        break;
    case ipc::ReadEnd::Closed:
    case ipc::ReadEnd::Failed:
        return died();
    case ipc::ReadEnd::Cancelled:
        return interruption();
    case ipc::ReadEnd::TimedOut:
    case ipc::ReadEnd::BadCount:
        return broken();
    }
    if (packet_.numof_cmds != ipc::kCommandWords) {
        return broken();
    }
    lines_.settle(); // a driver writes its lines before it answers
    if (lines_.lost()) {
        return linesLost();
    }
    answerDue_ = false;
    return {};
}

/// Waits for the first byte of a packet, and reads the driver's stderr meanwhile: a full pipe would
/// stop the driver.
Status DriverProcess::awaitPacket() {
    for (;;) {
        std::array<pollfd, 4> watched = {{{peer_.socket.get(), POLLIN, 0},
                                          {lines_.fd(), POLLIN, 0},
                                          {interruptFd(), POLLIN, 0},
                                          {peer_.process.fd(), POLLIN, 0}}};
        const int count =
            ::poll(watched.data(), watched.size(), peer_.process.pollTimeout(deadline_));
        if (count > 0 && watched[2].revents != 0) {
            return interruption();
        }
        if (count > 0 && watched[1].revents != 0) {
            lines_.drain();
        }
        if (count > 0 && watched[0].revents != 0) {
            return {};
        }
        if (peer_.process.hasEnded()) {
            return awaitLastBytes();
        }
        if (Clock::now() >= deadline_) {
            return late();
        }
    }
}

/// The process has ended. Its last bytes may still be on their way; another process that keeps the
/// connection open does not count.
Status DriverProcess::awaitLastBytes() {
    pollfd last{peer_.socket.get(), POLLIN, 0};
    return ::poll(&last, 1, kLastBytesMilliseconds) > 0 ? Status() : Status(died());
}

bool DriverProcess::packetIs(std::int16_t messageClass, std::int16_t code) const {
    return packet_.datacmd[ipc::kWordClass] == messageClass &&
           packet_.datacmd[ipc::kWordCode] == code;
}

bool DriverProcess::packetHolds(std::int32_t longs, std::int32_t strings) const {
    const auto chars = static_cast<std::size_t>(packet_.numof_chars);
    const bool terminated = chars == 0 || packet_.chardata[chars - 1] == '\0';
    return packet_.numof_longs == longs && packet_.numof_strings == strings &&
           packet_.numof_floats == 0 && terminated &&
           std::count(packet_.chardata, packet_.chardata + chars, '\0') == strings;
}

bool DriverProcess::packetIsBare(std::int16_t messageClass, std::int16_t code) const {
    return packetIs(messageClass, code) && packetHolds(0, 0);
}

} // namespace tdr
