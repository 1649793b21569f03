// SPDX-License-Identifier: MIT
// A host in a few lines, on the bare packet functions: answers a driver's handshake, sends requests
// and reads replies. It does not use the host library, so that neither hides the other's faults.
#pragma once

#include "base/uniqueFd.h"
#include "ipc_socket.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <vector>

namespace support {

inline constexpr std::int16_t kHostId = 7;
inline constexpr std::int16_t kHostSubId = 8;

/// A packet from the host to a driver.
struct Message {
    int messageClass;
    int code;
    std::vector<std::int32_t> longs = {};
    std::vector<std::string> strings = {};

    [[nodiscard]] IPC_DataPacket packet() const {
        IPC_DataPacket p{};
        ipc::fillHeader(p, {kHostId, kHostSubId, ipc::kDriverId, ipc::kDriverSubId},
                        static_cast<short>(messageClass), static_cast<short>(code));
        p.numof_longs = static_cast<std::int32_t>(longs.size());
        std::ranges::copy(longs, p.longdata);
        p.numof_strings = static_cast<std::int32_t>(strings.size());
        char* end = p.chardata;
        for (const std::string& s : strings) {
            end = std::copy_n(s.c_str(), s.size() + 1, end);
        }
        p.numof_chars = static_cast<std::int32_t>(end - p.chardata);
        return p;
    }
};

inline Message query(int code, std::vector<std::int32_t> longs = {}) {
    return {ipc::kClassInfo, code, std::move(longs)};
}
inline Message action(int code, std::vector<std::int32_t> longs = {},
                      std::vector<std::string> strings = {}) {
    return {ipc::kClassAction, code, std::move(longs), std::move(strings)};
}

/// Listens on a new port; `connectDriver` runs the host's half of the handshake while something
/// else (a driver's constructor, a started program) runs the driver's half.
class FakeHost {
  public:
    FakeHost() : listening_(createsocket(&port_)) {}
    ~FakeHost() {
        if (handshake_.joinable()) {
            handshake_.join();
        }
        std::signal(SIGCHLD, SIG_DFL); // a driver in this process ignores it once connected
    }

    [[nodiscard]] int port() const { return port_; }
    [[nodiscard]] int fd() const { return connection_.get(); }

    /// Waits for the driver in a thread and answers its first packet.
    void connectDriver() {
        handshake_ = std::thread([this] {
            if (!readable(listening_.get(), kPatience)) {
                return;
            }
            connection_.reset(accept4(listening_.get(), nullptr, nullptr, SOCK_CLOEXEC));
            IPC_DataPacket request{};
            if (readsockdata(connection_.get(), &request) == 0) {
                send(Message{ipc::kClassStatus, ipc::kInitDataReady});
            }
        });
    }
    void awaitDriver() { handshake_.join(); }

    void send(const Message& message) { send(message.packet()); }
    void send(IPC_DataPacket p) { ASSERT_EQ(sendsockdata(connection_.get(), &p), 0); }

    /// The driver's next packet; fails the test if none arrives.
    IPC_DataPacket receive() {
        IPC_DataPacket p{};
        if (!readable(connection_.get(), kPatience)) {
            ADD_FAILURE() << "no packet from the driver";
            return p;
        }
        EXPECT_EQ(readsockdata(connection_.get(), &p), 0);
        return p;
    }

    /// "class/code" of every packet that has arrived already, in order, for example "1/101".
    std::string replies() {
        std::string text;
        while (readable(connection_.get(), 0)) {
            IPC_DataPacket p{};
            if (readsockdata(connection_.get(), &p) != 0 || p.numof_cmds == 0) {
                break;
            }
            text += (text.empty() ? "" : " ") + std::to_string(p.datacmd[ipc::kWordClass]) + "/" +
                    std::to_string(p.datacmd[ipc::kWordCode]);
        }
        return text;
    }

    void hangUp() { connection_.reset(); }

  private:
    static constexpr int kPatience = 20000; // ms; reached only by a failing test

    static bool readable(int fd, int milliseconds) {
        pollfd p{fd, POLLIN, 0};
        return poll(&p, 1, milliseconds) == 1;
    }

    unsigned short port_ = 0;
    base::UniqueFd listening_;
    base::UniqueFd connection_;
    std::thread handshake_;
};

} // namespace support
