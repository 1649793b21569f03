// SPDX-License-Identifier: MIT
// The child's half of the handshake against a parent that follows a script.
#include "IPC_LinkIrix.h"
#include "ipcTesting.h"
#include "support/leakCounters.h"

#include <chrono>
#include <fcntl.h>
#include <poll.h>

using namespace testing_ipc;
using namespace std::string_literals;

namespace {

class Handshake : public support::NothingLeft {
  private:
    const KeepAction child_{SIGCHLD};
    const KeepAction pipe_{SIGPIPE};
};

TEST_F(Handshake, TheRequestAndTheReplyIntroduceTheEnds) {
    for (const short messageClass : {short{1}, short{3}, short{6}}) {
        SCOPED_TRACE(messageClass);
        std::signal(SIGCHLD, SIG_DFL);
        ScriptedParent parent(replies(packetOf({11, 12, 102, 39}, messageClass, 101), 4711));
        {
            const IPC_LinkIrix link(102, 39, parent.port());
            EXPECT_EQ(link.linkStatus, 0);
            EXPECT_EQ(link.peerId, 11);
            EXPECT_EQ(link.peerSubId, 12);
            EXPECT_EQ(link.parentPid, 4711);
            EXPECT_EQ(link.signalMode, IPC_SIGNAL_OFF);
            EXPECT_TRUE(ipc::isInSet(link.sockfd, &IPC_LinkIrix::scset));
            EXPECT_TRUE(sendsAtOnce(link.sockfd));
            EXPECT_EQ(fcntl(link.sockfd, F_GETFD), FD_CLOEXEC) << "outside commands inherit it";
        }
        EXPECT_TRUE(same(parent.request, packetOf({102, 39, -1, -1}, 3, 300)));
        EXPECT_EQ(KeepAction::current(SIGCHLD), SIG_IGN);
    }
}

TEST_F(Handshake, AnyOtherReplyFailsButItsSenderIsNoted) {
    const struct {
        const char* name;
        ScriptedParent::Script script;
        int peerId;
        const char* said;
    } cases[] = {
        {"another code", replies(packetOf({11, 12}, 2, 201), 0), 11,
         "getinitdata: Invalid init from parent, received 201 instead\n"
         "IPC_LinkIrix: Received kill from parent.\n"},
        {"no reply", [](int fd) { shutdown(fd, SHUT_WR); }, 0, "received 0 instead\n"},
        {"garbage", [](int fd) { put(fd, "\xff\xff\xff\xff"); }, 0,
         "getinitdata: Error reading init data\nIPC_LinkIrix: Error reading init data.\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ScriptedParent parent(c.script);
        const CaptureStderr said;
        const IPC_LinkIrix link(102, 39, parent.port());
        EXPECT_EQ(link.linkStatus, 1);
        EXPECT_EQ(link.peerId, c.peerId);
        EXPECT_NE(said.text().find(c.said), std::string::npos) << said.text();
    }
}

TEST_F(Handshake, AReplyAfterTheFirstSecondIsNotSeen) {
    ScriptedParent parent([](int fd) {
        poll(nullptr, 0, 1500);
        sendTo(fd, packetOf({11, 12}, 1, 101));
    });
    const auto start = std::chrono::steady_clock::now();
    const CaptureStderr said;
    const IPC_LinkIrix link(102, 39, parent.port());
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(4900));
    EXPECT_EQ(link.linkStatus, 1);
    EXPECT_EQ(link.peerId, 102) << "the packet as it stands is the request";
    EXPECT_EQ(said.text(), "IPC_LinkIrix: Error reading init data.\n");
}

/// The socket to which the third alarm sends the reply.
volatile std::sig_atomic_t gReplyTo = -1;
volatile std::sig_atomic_t gAlarms = 0;
constexpr char kReplyWire[] =
    "\0\0\0\6\0\1\0\2\0\x66\0\x27\0\1\0\x65\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0";

TEST_F(Handshake, SignalsDoNotEndTheWaitForTheReply) {
    const SocketPair pair;
    gReplyTo = pair.far.get();
    const Alarms often(5000, [](int) {
        gAlarms = gAlarms + 1;
        if (gAlarms == 3) {
            (void)!write(gReplyTo, kReplyWire, sizeof kReplyWire);
        }
    });
    IPC_DataPacket packet{};
    EXPECT_EQ(getinitdata(102, 39, pair.near.get(), &packet), 1);
    EXPECT_TRUE(same(packet, packetOf({1, 2, 102, 39}, 1, 101)));
}

TEST_F(Handshake, APortWhereNobodyListensGivesNoLink) {
    const base::UniqueFd taken(socket(AF_INET, SOCK_STREAM, 0)); // bound, but not listening
    sockaddr_in address{};
    address.sin_family = AF_INET;
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    ASSERT_EQ(bind(taken.get(), generic, size), 0);
    ASSERT_EQ(getsockname(taken.get(), generic, &size), 0);
    std::signal(SIGCHLD, SIG_DFL);
    const std::string refused = "connecting socket: "s + std::strerror(ECONNREFUSED);
    const std::string invalid = "Invalid portnumber of server";
    for (const auto& [port, says] : {std::pair(int{ntohs(address.sin_port)}, refused),
                                     {0, invalid},
                                     {-1, invalid},
                                     {65536, invalid}}) {
        const CaptureStderr said;
        const IPC_LinkIrix link(102, 39, port);
        EXPECT_EQ(link.linkStatus, 1);
        EXPECT_EQ(link.sockfd, -1);
        EXPECT_EQ(said.text(), "getservsock: " + says +
                                   "\nIPC_LinkIrix: Error initializing socket to parent.\n");
    }
    EXPECT_EQ(KeepAction::current(SIGCHLD), SIG_DFL);
}

TEST_F(Handshake, ARequestToAParentThatHasGoneFails) {
    SocketPair pair;
    pair.far.reset();
    const CaptureStderr said;
    IPC_DataPacket packet = noise();
    EXPECT_EQ(sendinitrequest(102, 39, pair.near.get(), &packet), -1);
    EXPECT_NE(said.text().find("sendinitrequest: Error while sending init data\n"),
              std::string::npos);
    EXPECT_EQ(packet.longdata[0], 0x5a5a5a5a) << "payload areas are left alone";
}

TEST_F(Handshake, AWaitOnABrokenSocketIsAnError) {
    const CaptureStderr said;
    IPC_DataPacket packet{};
    const int closed = dup(STDIN_FILENO); // a number that is certainly free, whatever was inherited
    close(closed);
    EXPECT_EQ(getinitdata(102, 39, closed, &packet), -1);
    EXPECT_EQ(said.text(), "getinitdata: select error\n: "s + std::strerror(EBADF) + "\n");
    EXPECT_EQ(getinitdata(102, 39, 5000, &packet), -1);
}

} // namespace
