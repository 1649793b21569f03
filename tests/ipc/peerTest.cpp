// SPDX-License-Identifier: MIT
// Starting real programs, well-behaved and others.
#include "IPC_LinkIrix.h"
#include "ipcTesting.h"
#include "ipc_inner.h"
#include "support/leakCounters.h"
#include "support/processState.h"
#include "support/tempDir.h"

#include <algorithm>
#include <atomic>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>

using namespace testing_ipc;
using namespace std::string_literals;
using namespace std::chrono_literals;
using ipc::PeerFailure;

namespace {

/// Longer than any test may take: a limit that must not end a start.
constexpr auto kAmple = 30s;

class PeerStarting : public support::NothingLeft {
  protected:
    void TearDown() override {
        std::signal(SIGCHLD, SIG_DFL);
        while (waitpid(-1, nullptr, 0) > 0) {
        }
        NothingLeft::TearDown();
    }

    /// Path of the test program under a name that selects its behaviour.
    std::string program(const std::string& behaviour) {
        std::string path = dir_ / behaviour;
        std::filesystem::create_symlink(TDR_SCRIPTED_DRIVER, path);
        return path;
    }

    ipc::PeerOptions optionsFor(const std::string& path) {
        ipc::PeerOptions options;
        options.path = path;
        options.localId = 7;
        options.localSubId = 8;
        options.limit = kAmple;
        options.captureStderr = true;
        return options;
    }

    support::TempDir dir_;
    const KeepAction pipe_{SIGPIPE};
};

/// Everything from a pipe until its last writer ends.
std::string drain(const base::UniqueFd& pipe) {
    return support::contentOf("/proc/self/fd/" + std::to_string(pipe.get()));
}

TEST_F(PeerStarting, OnlyTheGivenFaceListensToOtherMachines) {
    for (const bool all : {false, true}) {
        base::UniqueFd listener;
        unsigned short port = 0;
        ASSERT_TRUE(ipc::openListener(all, 0, listener, port).none());
        sockaddr_in address{};
        socklen_t size = sizeof address;
        getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &size);
        EXPECT_EQ(ntohl(address.sin_addr.s_addr), all ? INADDR_ANY : INADDR_LOOPBACK);
        EXPECT_EQ(ntohs(address.sin_port), port);
    }
}

TEST_F(PeerStarting, SocketsKeepClearOfStandardDescriptors) {
    const int fd = support::exitStatusInChild([] {
        close(STDIN_FILENO);
        unsigned short port = 0;
        return createsocket(&port);
    });
    EXPECT_GT(fd, STDERR_FILENO);
}

TEST_F(PeerStarting, AGoodPeerIsConnectedAndGreeted) {
    ipc::PeerStart start = ipc::startPeer(optionsFor(program("greeted")));
    ASSERT_EQ(start.failure, PeerFailure::None) << describe(start.failure);
    EXPECT_EQ(start.peer.peerId, 102);
    EXPECT_EQ(start.peer.peerSubId, 39);
    EXPECT_GT(start.peer.socket.get(), 2);
    EXPECT_TRUE(sendsAtOnce(start.peer.socket.get()));
    pollfd ended{start.peer.process.fd(), POLLIN, 0};
    EXPECT_EQ(poll(&ended, 1, 0), 0);
    start.peer.socket.reset();
    EXPECT_EQ(poll(&ended, 1, -1), 1);
    EXPECT_EQ(support::exitStatusOf(start.peer.process.pid()), 0) << "the peer saw no good reply";
    EXPECT_EQ(drain(start.peer.stderrPipe), "");
}

TEST_F(PeerStarting, ThePeerStartsWithCleanSignalsAndDescriptors) {
    std::signal(SIGPIPE, SIG_IGN);
    const KeepAction child(SIGCHLD);
    std::signal(SIGCHLD, SIG_IGN);
    sigset_t some;
    sigset_t mask;
    sigemptyset(&some);
    sigaddset(&some, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &some, &mask);
    const ipc::PeerStart start = ipc::startPeer(optionsFor(program("inherited")));
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, &mask, &after);
    ASSERT_EQ(start.failure, PeerFailure::None);
    EXPECT_EQ(start.peer.peerId, 0) << "1 SIGCHLD ignored, 2 SIGPIPE ignored, 4 signals blocked";
    const auto open = support::openDescriptors();
    const auto before = std::count_if(open.begin(), open.end(), [](const std::string& fd) {
        return fd.find("socket:") != std::string::npos && fcntl(std::stoi(fd), F_GETFD) == 0;
    });
    EXPECT_EQ(start.peer.peerSubId, before) << "sockets inherited";
    EXPECT_EQ(sigismember(&after, SIGUSR1), 1);
    EXPECT_EQ(KeepAction::current(SIGPIPE), SIG_IGN);
    EXPECT_EQ(KeepAction::current(SIGCHLD), SIG_IGN);
}

std::atomic<pid_t> owner;
std::atomic<bool> ranElsewhere;
void noteProcess(int) {
    ranElsewhere = ranElsewhere || getpid() != owner;
}

TEST_F(PeerStarting, NoCatcherOfTheParentRunsInThePeer) {
    const KeepAction resize(SIGWINCH); // which others ignore
    const pid_t group = getpgrp();
    setpgid(0, 0);
    owner = getpid();
    std::signal(SIGWINCH, noteProcess);
    std::atomic<bool> done = false;
    std::thread storm([&] {
        while (!done) {
            kill(0, SIGWINCH); // as from a terminal: also to the child, once it exists
        }
    });
    const ipc::PeerOptions options = optionsFor(program("dies"));
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(ipc::startPeer(options).failure, PeerFailure::Died);
    }
    done = true;
    storm.join();
    setpgid(0, group);
    EXPECT_FALSE(ranElsewhere);
}

bool isChildAsleep() {
    const auto children = support::childrenOf(getpid());
    return !children.empty() && support::stateOf(*children.begin()) == 'S';
}

TEST_F(PeerStarting, AStartIsGivenUpAtOnce) {
    for (const char* behaviour : {"mute", "unheard", "halfInit"}) {
        SCOPED_TRACE(behaviour);
        const base::UniqueFd cancel(eventfd(0, EFD_CLOEXEC));
        ipc::PeerOptions options = optionsFor(program(behaviour));
        options.limit.reset(); // nothing else ends the wait
        options.cancelFd = cancel.get();
        std::thread other([&] {
            while (!isChildAsleep()) { // "mute" only runs; the others have connected by then
                std::this_thread::yield();
            }
            eventfd_write(cancel.get(), 1);
        });
        ipc::PeerStart start = ipc::startPeer(options);
        other.join();
        EXPECT_EQ(start.failure, PeerFailure::Cancelled) << describe(start.failure);
        EXPECT_FALSE(support::hasChildren());
        EXPECT_EQ(ipc::startPeer(options).failure, PeerFailure::Cancelled);
        EXPECT_FALSE(support::hasChildren()) << "started although it was cancelled before";
    }
}

TEST_F(PeerStarting, AProgramThatCannotBeExecutedAfterAllSaysWhy) {
    const std::string path = dir_.write("broken", "#!/no/such/interpreter\n", 0755);
    const ipc::PeerStart start = ipc::startPeer(optionsFor(path));
    EXPECT_EQ(start.failure, PeerFailure::Died);
    ASSERT_TRUE(start.waitStatus.has_value());
    EXPECT_EQ(WEXITSTATUS(*start.waitStatus), 255);
    EXPECT_EQ(drain(start.peer.stderrPipe),
              "doexec: exec failed: "s + std::strerror(ENOENT) + "\n");
}

TEST_F(PeerStarting, WhatIsNotExecutableIsNotStarted) {
    const std::pair<std::string, int> cases[] = {{dir_ / "missing", ENOENT},
                                                 {dir_.write("plain", "text"), EACCES}};
    for (const auto& [path, error] : cases) {
        const ipc::PeerStart start = ipc::startPeer(optionsFor(path));
        EXPECT_EQ(start.failure, PeerFailure::NotExecutable);
        EXPECT_EQ(start.error, error);
        const CaptureStderr said;
        int pid = 99;
        EXPECT_EQ(doexec(path.c_str(), IPC_EXEC_ALWAYS, &pid), -1);
        EXPECT_EQ(pid, 99);
        EXPECT_EQ(said.text(), "doexec:: "s + std::strerror(error) + "\n");
    }
}

TEST_F(PeerStarting, TheGivenFaceTellsWhatWentWrong) {
    struct Case {
        const char* behaviour;
        int result;
        short peerId;     ///< -5: unchanged
        std::string said; ///< at last
    };
    const std::string reason = std::strerror(ESRCH);
    const std::string died = "no licence found\ndoexec: prctl: " + reason + "\n" +
                             "startsomeprocess: Error initializing socket to \"%s\".\n";
    const Case cases[] = {
        {"dies", -1, -5, died},
        {"kill", 0, -5, "startsomeprocess: Got kill.\n"},
        {"unknown", -1, 102, "startsomeprocess: Unknown init response (77) from '%s'.\n"},
        {"closesOneSide", -1, 0, "startsomeprocess: Unknown init response (0) from '%s'.\n"},
        {"garbage", -1, -5,
         "waitforprocessresponse: Error while reading socket.\n"
         "startsomeprocess: Error waiting for \"%s\".\n"},
    };
    for (const Case& bad : cases) {
        SCOPED_TRACE(bad.behaviour);
        const std::string path = program(bad.behaviour);
        Set set{};
        const Set empty{};
        int pid = -1;
        short id = -5;
        short subId = -5;
        const CaptureStderr said;
        EXPECT_EQ(startsomeprocess(path.c_str(), IPC_EXEC_ALWAYS, 7, 8, &set, &pid, &id, &subId),
                  bad.result);
        EXPECT_EQ(id, bad.peerId);
        std::string expected = bad.said;
        if (const auto at = expected.find("%s"); at != std::string::npos) {
            expected.replace(at, 2, path);
        }
        EXPECT_TRUE(said.text().ends_with(expected)) << said.text();
        EXPECT_EQ(std::memcmp(&set, &empty, sizeof set), 0) << "a dead socket stays in the set";
    }
}

TEST_F(PeerStarting, Mode0DoesNotStartARunningProgramAgain) {
    const std::string path = dir_ / "greeted"; // a file that no other process executes
    std::filesystem::copy_file(TDR_SCRIPTED_DRIVER, path);
    IPC_LinkIrix first(7, 8, IPC_EXEC_IF_NOT_RUNNING, IPC_SIGNAL_ON, path.c_str(), nullptr);
    ASSERT_EQ(first.linkStatus, 0);
    const CaptureStderr said;
    int pid = 99;
    EXPECT_EQ(doexec(path.c_str(), IPC_EXEC_IF_NOT_RUNNING, &pid), 0);
    EXPECT_EQ(pid, 99);
    EXPECT_EQ(said.text(), "");
    const IPC_LinkIrix second(7, 8, IPC_EXEC_IF_NOT_RUNNING, IPC_SIGNAL_ON, path.c_str(), nullptr);
    EXPECT_EQ(second.linkStatus, -2);
    EXPECT_EQ(second.childPid, -1);
    EXPECT_EQ(said.text(), "startsomeprocess:  \"" + path +
                               "\" is already executing.\n"
                               "IPC_LinkIrix: Client process is already executing.\n");
}

TEST_F(PeerStarting, ALinkStartsAProgramInADirectory) {
    program("inherited");
    const std::string dir = dir_.path().string();
    IPC_LinkIrix link(7, 8, IPC_EXEC_ALWAYS, IPC_SIGNAL_ON, "inherited", dir.c_str());
    ASSERT_EQ(link.linkStatus, 0);
    EXPECT_STREQ(link.clientName.get(), "inherited");
    EXPECT_EQ(link.clientDir.get(), dir);
    EXPECT_EQ(link.peerId, 1) << "the peer inherits that SIGCHLD is ignored";
    EXPECT_EQ(KeepAction::current(SIGCHLD), SIG_IGN);
    EXPECT_GT(link.childPid, 0);
    EXPECT_TRUE(ipc::isInSet(link.sockfd, &IPC_LinkIrix::scset));
    const int fd = link.sockfd;
    link.connect("/no/such/program", IPC_EXEC_ALWAYS);
    EXPECT_EQ(link.sockfd, fd) << "a connected link stays as it is";

    const CaptureStderr said;
    const IPC_LinkIrix none(7, 8, IPC_EXEC_ALWAYS, IPC_SIGNAL_ON, "/no/such/program", "");
    EXPECT_EQ(none.linkStatus, -1);
    EXPECT_EQ(none.clientDir, nullptr);
    EXPECT_NE(said.text().find("IPC_LinkIrix: Error starting client.\n"), std::string::npos);
    const IPC_LinkIrix refused(7, 8, IPC_EXEC_ALWAYS, IPC_SIGNAL_ON, program("kill").c_str(),
                               nullptr);
    EXPECT_EQ(refused.linkStatus, -3);
    EXPECT_GT(refused.childPid, 0);
}

TEST_F(PeerStarting, ARunningProcessIsAskedToConnect) {
    const struct {
        const char* name;
        short messageClass, code;
        int sign; ///< of the result
        const char* said;
    } cases[] = {
        {"init request of any class", 6, 300, 1, ""},
        {"kill of any class", 6, 201, 0, "connecttoprocess: Got kill.\n"},
        {"something else", 3, 101, -1,
         "connecttoprocess: Unknown init response.Received 101 instead of IPC_INITDATARDY.\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const SocketPair server;
        IPC_DataPacket request{};
        IPC_DataPacket reply{};
        std::thread process([&] {
            readsockdata(server.far.get(), &request);
            const base::UniqueFd fd(getservsock(request.longdata[0]));
            sendTo(fd.get(), packetOf({5, 6, 1, 2}, c.messageClass, c.code));
            readsockdata(fd.get(), &reply);
        });
        Set set{};
        const CaptureStderr said;
        int fd = connecttoprocess(1, 2, 5, 6, server.near.get(), &set);
        process.join();
        EXPECT_EQ((fd > 0) - (fd < 0), c.sign);
        EXPECT_EQ(said.text(), c.said);
        IPC_DataPacket expected = packetOf({1, 2, 5, 6}, 4, 402);
        expected.numof_longs = 1;
        expected.longdata[0] = request.longdata[0];
        EXPECT_TRUE(same(request, expected));
        if (fd > 0) {
            expected = packetOf({1, 2, 5, 6}, 3, 101);
            expected.numof_longs = 1;
            expected.longdata[0] = getpid();
            EXPECT_TRUE(same(reply, expected));
            EXPECT_EQ(closesock(&fd, &set), 0);
        }
    }
}

} // namespace
