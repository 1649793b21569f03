// SPDX-License-Identifier: MIT
// One driver process and the link to it: starts it, exchanges packets with it under a limit, and
// makes sure that it is gone when it should be. What the packets mean is the callers' business.
//
// A failure that leaves the link out of step (no answer in time, a wrong answer, a death) ends the
// process at once with SIGKILL and waits for it, before the caller hears of it: nobody can look up
// a shared block by its key after that, and the caller may remove it. The same holds for a call
// that runs out of memory while an answer is due; calls are made inside `attempt`, which sees to
// it.
#pragma once

#include "IPC_Link.h"
#include "base/uniqueFd.h"
#include "ipc_peer.h"
#include "noThrow.h"
#include "stderrLines.h"
#include "tdr/driver.h"

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

/// What a request carries.
struct Request {
    std::int16_t messageClass = 0;
    std::int16_t code = 0;
    std::span<const std::int32_t> longs;
    std::optional<std::string_view> text;
};

/// The end that `waitpid` tells of.
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

    /// Makes one call of the session: requests, their answers and what is made of them. Nothing is
    /// thrown, and a session whose request stays without its answer is over.
    template <typename Call>
    auto attempt(Call&& call) noexcept -> decltype(call()) {
        auto outcome = withoutThrowing(call);
        if (answerDue_) {
            kill();
        }
        return outcome;
    }

    /// Sends a request. Its answer is to be taken by `receive`, and its deadline counts from here.
    Status send(const Request& request);

    /// Waits for the next packet of the answer to the last request; it is in `packet()` afterwards,
    /// and what the driver wrote to stderr before it has been taken.
    Status receive();
    [[nodiscard]] const IPC_DataPacket& packet() const { return packet_; }

    /// True when the packet is of this class and code.
    [[nodiscard]] bool packetIs(std::int16_t messageClass, std::int16_t code) const;
    /// True when the packet carries this many longs and strings, each of which ends in its zero,
    /// and nothing else.
    [[nodiscard]] bool packetHolds(std::int32_t longs, std::int32_t strings) const;
    /// True when the packet is of this class and code and carries nothing.
    [[nodiscard]] bool packetIsBare(std::int16_t messageClass, std::int16_t code) const;

    /// The failure for the driver's error reply to the last request. The session goes on.
    Failure refused();
    /// The failure for an answer that does not fit the last request. Ends the driver.
    Failure broken(const char* what = "an answer that breaks the protocol");

    /// What the session knows of the driver, for choosing how to move whole pictures.
    struct Knowledge {
        std::optional<bool> caches; ///< see Driver::transfersCaches
        bool connected = false;     ///< a file is open
        bool preRead = false;       ///< an outside command is set
        bool postWrite = false;     ///< an outside command is set
    };
    Knowledge known;

    /// Orders the driver to end, once.
    Status dismiss();
    /// Orders the driver to end, if that was not done yet, and waits for it; kills it when it does
    /// not go in time.
    Result<DriverEnd> end();
    /// Makes sure that the process is gone, waits for it and lets go of the link.
    DriverEnd kill() noexcept;

  private:
    DriverProcess(std::filesystem::path program, StartOptions options);
    /// Begins a request, by its class and code for messages, and its limit.
    void begin(std::int16_t messageClass, std::int16_t code, std::chrono::milliseconds limit);
    void fillPacket(const Request& request);
    Status checkSilence();
    Status awaitPacket();
    Status awaitLastBytes();
    Status awaitStartUpOk();
    bool reap() noexcept;
    /// Waits until the process has ended, `limit` has passed, or `cancelFd` is readable; true when
    /// it has ended.
    bool awaitExit(std::chrono::milliseconds limit, int cancelFd = -1) noexcept;
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
    std::int16_t requestClass_ = 0; ///< what was asked last, for messages
    std::int16_t requestCode_ = 0;
    std::chrono::milliseconds limit_{}; ///< how long its answer may take
    std::chrono::steady_clock::time_point deadline_;
    bool answerDue_ = false; ///< a request has been sent, or begun, and its answer not been taken
    bool dismissed_ = false; ///< it was ordered to end
    bool ended_ = false;     ///< somebody has waited for the process
    DriverEnd end_;
};

} // namespace tdr
