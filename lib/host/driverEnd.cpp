// SPDX-License-Identifier: MIT
// The end of a session: normal, or by a failure, after which the process is gone.
#include "driverProcess.h"
#include "interrupt.h"
#include "requestNames.h"

#include <array>
#include <charconv>
#include <csignal>
#include <poll.h>
#include <sys/wait.h>
#include <thread>
#include <utility>

namespace tdr {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// How long a driver that has closed the connection may take to exit before it is killed: long
/// enough to write its buffers, short enough for a waiting user.
constexpr auto kLastBreath = 2s;

/// A killed process ends at once unless the kernel holds it (an unreachable network disk).
constexpr auto kAfterKill = 10s;
constexpr auto kTracerPause = 1ms; // between tries to take a traced process's status

/// "120 s", "0.25 s".
std::string seconds(std::chrono::milliseconds limit) {
    std::array<char, 32> text;
    const double value = std::chrono::duration<double>(limit).count();
    const auto end = std::to_chars(text.begin(), text.end(), value, std::chars_format::fixed).ptr;
    return std::string(text.begin(), end) + " s";
}

} // namespace

DriverEnd endOf(int waitStatus) {
    const bool exited = WIFEXITED(waitStatus);
    return {true, exited ? WEXITSTATUS(waitStatus) : 0, exited ? 0 : WTERMSIG(waitStatus)};
}

DriverProcess::~DriverProcess() {
    if (alive() && (answerDue_ || interrupted())) {
        kill(); // out of step or interrupted: no end request
    } else if (alive()) {
        [[maybe_unused]] const auto ended = attempt([this] { return end(); });
    }
}

// --- Failures ------------------------------------------------------------------------------------

std::string DriverProcess::requestText() const {
    return program_.filename().string() + ": " + nameOfRequest(requestClass_, requestCode_);
}

Failure DriverProcess::failure(FailureKind kind, std::string_view what) const {
    return {kind, requestText() + ": " + std::string(what), {}, lines_.last()};
}

Failure DriverProcess::refused() {
    Failure refusal = failure(FailureKind::Refused, "refused");
    refusal.lastLine = lines_.lastSinceMark();
    return refusal;
}

Failure DriverProcess::broken(const char* what) {
    kill();
    return failure(FailureKind::ProtocolBroken, what);
}

Failure DriverProcess::interruption() {
    kill();
    return {FailureKind::Interrupted, requestText() + ": interrupted"};
}

Failure DriverProcess::late() {
    const bool isJobs = jobDeadline_ && deadline_ == *jobDeadline_;
    signalGroup(SIGTERM);
    if (options_.ownGroup) {
        (void)peer_.process.awaitEnd(ipc::deadlineAfter(kLastBreath));
    }
    kill();
    return isJobs ? failure(FailureKind::TimedOut, "not done in the time for the picture")
                  : failure(FailureKind::TimedOut, "no answer within " + seconds(limit_));
}

Failure DriverProcess::linesLost() {
    kill();
    return failure(FailureKind::NoMemory, "what the driver wrote to stderr could not be taken");
}

Failure DriverProcess::died() {
    const bool byItself = awaitExit(kLastBreath, interruptFd());
    const DriverEnd ended = kill();
    if (interrupted()) { // a Ctrl-C reaches the driver too
        return interruption();
    }
    Failure death = failure(FailureKind::Died, byItself ? "the driver died" : "the driver hung up");
    if (byItself) {
        death.end = ended;
    }
    return death;
}

// --- The end -------------------------------------------------------------------------------------

Status DriverProcess::dismiss() {
    if (alive() && std::exchange(dismissed_, true)) {
        return {};
    }
    Status sent = send({ipc::kClassAction, ipc::kActionKill});
    answerDue_ = false; // this request has no answer
    return sent;
}

Result<DriverEnd> DriverProcess::end() {
    Status sent = dismiss();
    if (!sent) {
        return sent.failure();
    }
    const bool went = awaitExit(options_.limits.end, interruptFd());
    const DriverEnd ended = kill();
    if (!went && interrupted()) {
        return interruption();
    }
    if (!went) {
        return failure(FailureKind::TimedOut, "still there after " + seconds(options_.limits.end));
    }
    return ended;
}

/// To the driver and to what it has started, if it leads a group.
void DriverProcess::signalGroup(int signal) const noexcept {
    if (options_.ownGroup && peer_.process.pid() > 0 && !ended_) {
        ::kill(-peer_.process.pid(), signal);
    }
}

/// Takes the exit status of the ended process. Returns false when it is not available yet: a tracer
/// (a debugger, the leak sanitizer) takes the status of a killed process first.
bool DriverProcess::reap() noexcept {
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

bool DriverProcess::awaitExit(std::chrono::milliseconds limit, int cancelFd) noexcept {
    const auto until = Clock::now() + limit;
    while (!ended_) {
        std::array<pollfd, 3> watched = {
            {{peer_.process.fd(), POLLIN, 0}, {lines_.fd(), POLLIN, 0}, {cancelFd, POLLIN, 0}}};
        ::poll(watched.data(), watched.size(), peer_.process.pollTimeout(until));
        if (watched[1].revents != 0) {
            lines_.drain();
        }
        ended_ = peer_.process.hasEnded() && reap();
        if (!ended_ && (watched[2].revents != 0 || Clock::now() >= until)) {
            return false;
        }
    }
    return true;
}

DriverEnd DriverProcess::kill() noexcept {
    answerDue_ = false;
    if (!ended_) {
        signalGroup(SIGKILL);
        peer_.process.kill();
        awaitExit(kAfterKill);
    }
    lines_.finish();
    peer_.socket.reset();
    return end_;
}

} // namespace tdr
