// SPDX-License-Identifier: MIT
// One driver process and the link to it: starts it, exchanges packets with it within a time limit,
// and makes sure that it ends. The callers know the meaning of the packets.
//
// A failure that leaves the link out of step (no answer in time, a wrong answer, a death) ends the
// process at once with SIGKILL and waits for it before the call returns: after that no process
// looks up a shared block by its key, and the caller may remove it. The same holds for a call that
// runs out of memory while an answer is due; calls run inside `attempt`, which ensures this.
#pragma once

#include "IPC_Link.h"
#include "base/uniqueFd.h"
#include "ipc_peer.h"
#include "noThrow.h"
#include "stderrLines.h"
#include "tdr/session.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace tdr {

/// The contents of a request.
struct Request {
    std::int16_t messageClass = 0;
    std::int16_t code = 0;
    std::span<const std::int32_t> longs = {};
    std::optional<std::string_view> text = {};
};

/// The end that a `waitpid` status describes.
[[nodiscard]] DriverEnd endOf(int waitStatus);

class DriverProcess {
  public:
    /// Starts the program and waits for its start-up OK.
    static Result<std::unique_ptr<DriverProcess>> start(const std::filesystem::path& program,
                                                        StartOptions options);
    ~DriverProcess();
    DriverProcess(const DriverProcess&) = delete;
    DriverProcess& operator=(const DriverProcess&) = delete;

    [[nodiscard]] const std::filesystem::path& program() const { return program_; }
    [[nodiscard]] pid_t pid() const { return peer_.process.pid(); }
    [[nodiscard]] bool alive() const { return peer_.socket.valid(); }
    [[nodiscard]] const std::string& lastLine() const { return lines_.last(); }
    [[nodiscard]] const std::string& damage() const { return lines_.damage(); }
    void forgetDamage() { lines_.forgetDamage(); }

    /// See Session::setDeadline.
    void setDeadline(std::optional<std::chrono::steady_clock::time_point> deadline) {
        jobDeadline_ = deadline;
    }

    /// Runs one call of the session: requests, answers and the result. Never throws; if a request
    /// stays without its answer, the session ends.
    template <typename Call>
    auto attempt(Call&& call) noexcept -> decltype(call()) {
        auto outcome = withoutThrowing(call);
        if (answerDue_) {
            kill();
        }
        return outcome;
    }

    /// Sends a request. `receive` takes its answer; the deadline starts here.
    Status send(const Request& request);

    /// Waits for the next packet of the answer to the last request and stores it in `packet()`. The
    /// lines that the driver wrote to stderr before it have then been read.
    Status receive();
    [[nodiscard]] const IPC_DataPacket& packet() const { return packet_; }

    /// True when the packet is of this class and code.
    [[nodiscard]] bool packetIs(std::int16_t messageClass, std::int16_t code) const;
    /// True when the packet carries exactly this many longs and strings, each with its zero byte.
    [[nodiscard]] bool packetHolds(std::int32_t longs, std::int32_t strings) const;
    /// True when the packet is of this class and code and has no payload.
    [[nodiscard]] bool packetIsBare(std::int16_t messageClass, std::int16_t code) const;

    /// The failure for the driver's error reply to the last request. The session continues.
    Failure refused();
    /// The failure for an answer that does not fit the last request. Ends the driver.
    Failure broken(const char* what = "an answer that breaks the protocol");

    /// What the session knows about the driver, to choose how to transfer whole pictures.
    struct Knowledge {
        std::optional<bool> caches[2]; ///< see Session::transfersCaches; by Access
        bool connected = false;        ///< a file is open
        bool preRead = false;          ///< an outside command is set
        bool postWrite = false;        ///< an outside command is set
    };
    Knowledge known;

    /// Sends the end request, once.
    Status dismiss();
    /// Sends the end request, unless already sent, and waits for the driver; kills it if it does
    /// not end in time.
    Result<DriverEnd> end();
    /// Kills the process if it still runs, waits for it and closes the link.
    DriverEnd kill() noexcept;

  private:
    DriverProcess(std::filesystem::path program, StartOptions options);
    /// Begins a request: notes its class and code for messages, and its limit.
    void begin(std::int16_t messageClass, std::int16_t code, std::chrono::milliseconds limit);
    void fillPacket(const Request& request);
    Status checkSilence();
    Status awaitPacket();
    Status awaitLastBytes();
    Status awaitStartUpOk();
    bool reap() noexcept;
    void signalGroup(int signal) const noexcept;
    /// Waits until the process has ended, `limit` has passed, or `cancelFd` is readable; true when
    /// it has ended.
    bool awaitExit(std::chrono::milliseconds limit, int cancelFd = -1) noexcept;
    /// A failure that names the request and ends with the driver's last line.
    [[nodiscard]] Failure failure(FailureKind kind, std::string_view what) const;
    Failure died();
    Failure late();
    Failure linesLost();
    Failure interruption();
    Failure startFailure(const ipc::PeerStart& start);
    [[nodiscard]] std::string requestText() const;

    std::filesystem::path program_;
    StartOptions options_;
    ipc::Peer peer_;
    StderrLines lines_;
    IPC_DataPacket packet_{};
    std::int16_t requestClass_ = 0; ///< the last request, for messages
    std::int16_t requestCode_ = 0;
    std::chrono::milliseconds limit_{}; ///< how long its answer may take
    std::chrono::steady_clock::time_point deadline_;
    std::optional<std::chrono::steady_clock::time_point> jobDeadline_;
    bool answerDue_ = false; ///< a request has been begun and its answer not received
    bool dismissed_ = false; ///< the end request has been sent
    bool ended_ = false;     ///< the process has been waited for
    DriverEnd end_;
};

} // namespace tdr
