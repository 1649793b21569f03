// SPDX-License-Identifier: MIT
// Checks of the caller: strangers that connect first, wrappers that fork, hosts of other users.
#include "ipcTesting.h"
#include "ipc_caller.h"
#include "ipc_inner.h"
#include "support/denyCall.h"
#include "support/processState.h"
#include "support/program.h"
#include "support/tempDir.h"

#include <poll.h>
#include <sys/syscall.h>

using namespace testing_ipc;
using namespace std::chrono_literals;

namespace {

constexpr uid_t kNobody = 65534;

base::UniqueFd connectTo(int port, in_addr_t from = INADDR_LOOPBACK) {
    base::UniqueFd fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(from);
    const auto* const generic = reinterpret_cast<const sockaddr*>(&address);
    EXPECT_EQ(bind(fd.get(), generic, sizeof address), 0);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    EXPECT_EQ(connect(fd.get(), generic, sizeof address), 0);
    return fd;
}

/// Connects to the port of this process's child, with an init request, before `gate` is opened for
/// the child. True if the connection was closed.
bool intrude(const std::filesystem::path& gate) {
    const std::string option("-ipc_link_port\0", 15);
    std::string words; // of the child's command line
    support::eventually("a child with a port", [&] {
        for (const pid_t child : support::childrenOf(getpid())) {
            words = support::contentOf("/proc/" + std::to_string(child) + "/cmdline");
        }
        return words.find(option) != std::string::npos;
    });
    const base::UniqueFd fd = connectTo(std::stoi(words.substr(words.find(option) + 15)));
    IPC_DataPacket request = packetOf({66, 67}, 3, 300);
    sendsockdata(fd.get(), &request); // it may already have been hung up on
    std::ofstream(gate) << "open";
    pollfd watched{fd.get(), POLLIN, 0};
    poll(&watched, 1, 20000);
    return hasGone(fd.get());
}

class Callers : public testing::Test {
  protected:
    void TearDown() override { std::signal(SIGCHLD, SIG_DFL); }
    const KeepAction pipe_{SIGPIPE};
    support::TempDir dir_;
};

TEST_F(Callers, OnlyTheStartedProgramAndItsDescendantsAreTaken) {
    std::filesystem::create_symlink(TDR_SCRIPTED_DRIVER, dir_ / "greeted");
    const std::string gate = dir_ / "gate";
    const std::string wait = "#!/bin/sh\nwhile [ ! -e '" + gate + "' ]; do sleep 0.01; done\n";
    const std::string driver = "'" + (dir_ / "greeted") + "' \"$@\"\n";
    const std::pair<const char*, std::string> wrappers[] = {
        {"replaced", wait + "exec " + driver},
        {"forked", wait + driver + "exit $?\n"},
        {"behind two", wait + "sh -c '\"$0\" \"$@\"; exit $?' " + driver + "exit $?\n"},
    };
    for (const auto& [name, script] : wrappers) {
        SCOPED_TRACE(name);
        std::filesystem::remove(gate);
        ipc::PeerOptions options;
        options.path = dir_.write(name, script, 0755);
        options.limit = 30s;
        bool hungUpOn = false;
        std::thread stranger([&] { hungUpOn = intrude(gate); });
        ipc::PeerStart start = ipc::startPeer(options);
        EXPECT_EQ(start.failure, ipc::PeerFailure::None) << describe(start.failure);
        EXPECT_EQ(start.peer.peerId, 102);
        start.peer.socket.reset();
        EXPECT_TRUE(start.peer.process.awaitEnd(ipc::deadlineAfter(30s)));
        stranger.join();
        EXPECT_TRUE(hungUpOn);
        while (waitpid(-1, nullptr, 0) > 0) {
        }
    }
}

TEST_F(Callers, AreJudgedByTheirDescriptorsThenByTheirUser) {
    const bool isRoot = geteuid() == 0;
    const struct {
        const char* name;
        uid_t user;
        bool byOther; ///< the expected process is not the one that connects
        long denied;  ///< system call that fails in the checking process; -1: none
        bool taken;
    } cases[] = {
        {"the child", geteuid(), false, -1, true},
        {"another process", geteuid(), true, -1, false},
        {"the child, without the kernel's answers", geteuid(), false, SYS_sendto, true},
        {"another process, without them", geteuid(), true, SYS_sendto, false},
        {"of our user, who knows", geteuid(), true, SYS_getdents64, true},
        {"of another user, who knows", kNobody, true, SYS_getdents64, false},
        {"nothing can be read", kNobody, true, SYS_socket, true},
    };
    for (const auto& c : cases) {
        if (c.user == kNobody && !isRoot) {
            continue;
        }
        SCOPED_TRACE(c.name);
        unsigned short port = 0;
        const base::UniqueFd listener(createsocket(&port));
        const pid_t caller = support::startChild([&] {
            const bool isUser = setresuid(c.user, c.user, c.user) == 0;
            const base::UniqueFd call = isUser ? connectTo(port) : base::UniqueFd();
            return isUser ? pause() : 1;
        });
        const base::UniqueFd fd = ipc::acceptConnection(listener.get());
        const int taken = support::exitStatusInChild([&] {
            bool denied = c.denied < 0 || support::denyCall(c.denied, EACCES);
            if (c.denied == SYS_socket) {
                denied = denied && support::denyCall(SYS_openat, EACCES);
            }
            const pid_t asked = c.byOther ? getpid() : caller;
            return denied ? static_cast<int>(ipc::isCallOf(asked, fd.get())) : 9;
        });
        EXPECT_EQ(taken, c.taken ? 1 : 0);
        kill(caller, SIGKILL);
        EXPECT_EQ(support::exitStatusOf(caller), 256 + SIGKILL);
        EXPECT_FALSE(ipc::isCallOf(caller, fd.get())) << "it has gone, and shows user 0";
    }
}

TEST_F(Callers, AreTakenWithOneSideShutDown) {
    unsigned short port = 0;
    const base::UniqueFd listener(createsocket(&port));
    base::UniqueFd caller = connectTo(port);
    const base::UniqueFd fd = ipc::acceptConnection(listener.get());
    shutdown(caller.get(), SHUT_WR);
    EXPECT_TRUE(ipc::isCallOf(getpid(), fd.get()));
    caller.reset();
    EXPECT_FALSE(ipc::isCallOf(getpid(), fd.get())) << "closed";
}

TEST_F(Callers, OfOtherMachinesAreNotTaken) {
    unsigned short port = 0;
    const base::UniqueFd listener(createsocket(&port));
    for (const in_addr_t from : {INADDR_LOOPBACK, INADDR_LOOPBACK + 77}) {
        const base::UniqueFd caller = connectTo(port, from);
        EXPECT_TRUE(ipc::isLocalCall(ipc::acceptConnection(listener.get()).get()));
    }
    const SocketPair notEvenTcp;
    EXPECT_FALSE(ipc::isLocalCall(notEvenTcp.near.get()));
}

TEST_F(Callers, ADriverRefusesAStrangersPort) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "takes two users";
    }
    constexpr uid_t kOther = 1;
    for (const auto& [driver, host] : {std::pair<uid_t, uid_t>{0, 0},
                                       {kNobody, 0},
                                       {0, kNobody},
                                       {kNobody, kNobody},
                                       {kOther, kNobody}}) {
        SCOPED_TRACE(testing::Message() << driver << " calls " << host);
        unsigned short port = 0;
        ASSERT_EQ(seteuid(host), 0); // which owns the socket then
        const base::UniqueFd listener(createsocket(&port));
        ASSERT_EQ(seteuid(0), 0);
        const CaptureStderr said;
        const int failed = support::exitStatusInChild([uid = driver, port] {
            return setresuid(uid, uid, uid) != 0 ? 9 : getservsock(port) < 0;
        });
        const bool refused = host != 0 && host != driver;
        EXPECT_EQ(failed, refused ? 1 : 0);
        EXPECT_EQ(said.text(), refused ? "getservsock: Refusing port " + std::to_string(port) +
                                             ", which belongs to user 65534.\n"
                                       : "");
    }
}

} // namespace
