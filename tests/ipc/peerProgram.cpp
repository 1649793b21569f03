// SPDX-License-Identifier: MIT
// A peer for the tests to start, called as "NAME -ipc_link_port PORT"; the last part of NAME tells
// how it behaves.
#include "base/uniqueFd.h"
#include "ipc_socket.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

constexpr short kId = 102;
constexpr short kSubId = 39;

bool isIgnored(int number) {
    struct sigaction now {};
    sigaction(number, nullptr, &now);
    return now.sa_handler == SIG_IGN;
}

bool anyBlocked() {
    sigset_t mask;
    sigprocmask(SIG_BLOCK, nullptr, &mask);
    return sigisemptyset(&mask) == 0;
}

short inheritedSockets() {
    short count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const auto target = std::filesystem::read_symlink(entry.path(), gone).string();
        count = static_cast<short>(count + (target.find("socket:") == 0 ? 1 : 0));
    }
    return count;
}

void awaitEnd(int fd) {
    IPC_DataPacket packet;
    while (readsockdata(fd, &packet) == 0 && packet.numof_cmds != 0) {
    }
}

int shakeHands(int fd, short id, short subId) {
    IPC_DataPacket packet{};
    const bool done =
        sendinitrequest(id, subId, fd, &packet) == 0 && getinitdata(id, subId, fd, &packet) == 1;
    const bool asExpected = packet.datacmd[ipc::kWordReceiverId] == id &&
                            packet.datacmd[ipc::kWordReceiverSubId] == subId &&
                            packet.datacmd[ipc::kWordClass] == ipc::kClassStatus &&
                            packet.numof_longs == 0;
    awaitEnd(fd);
    return done && asExpected ? 0 : 1;
}

int sendOne(int fd, short messageClass, short code) {
    IPC_DataPacket packet{};
    ipc::fillHeader(packet, {kId, kSubId}, messageClass, code);
    sendsockdata(fd, &packet);
    awaitEnd(fd);
    return 0;
}

int sendBytes(int fd, std::string bytes) {
    (void)!write(fd, bytes.data(), bytes.size());
    awaitEnd(fd);
    return 0;
}

/// What is done once the connection is there.
struct Behaviour {
    const char* name;
    std::function<int(int fd)> run;
};
const Behaviour kBehaviours[] = {
    {"good", [](int fd) { return shakeHands(fd, kId, kSubId); }},
    {"kill", [](int fd) { return sendOne(fd, ipc::kClassEvent, ipc::kEventKill); }},
    {"unknown", [](int fd) { return sendOne(fd, ipc::kClassData, 77); }},
    {"killOfData", [](int fd) { return sendOne(fd, ipc::kClassData, ipc::kEventKill); }},
    {"requestOfData", [](int fd) { return sendOne(fd, ipc::kClassData, ipc::kInitRequest); }},
    {"garbage", [](int fd) { return sendBytes(fd, std::string(64, '\xee')); }},
    {"partial", [](int fd) { return sendBytes(fd, std::string(3, '\0') + '\6'); }},
    {"silent", [](int fd) { return sendBytes(fd, ""); }},
    {"hangup", [](int) { return 5; }},
};

} // namespace

int main(int argc, char** argv) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const std::string name = std::filesystem::path(argv[0]).filename();
    const auto signals = static_cast<short>((isIgnored(SIGCHLD) ? 1 : 0) |
                                            (isIgnored(SIGPIPE) ? 2 : 0) | (anyBlocked() ? 4 : 0));
    const short sockets = inheritedSockets();
    if (name == "dies") {
        (void)!write(STDERR_FILENO, "no licence\n", 11);
        return 3;
    }
    if (argc != 3 || std::strcmp(argv[1], "-ipc_link_port") != 0) {
        return 64;
    }
    if (name == "never") {
        for (;;) {
            pause();
        }
    }
    const base::UniqueFd fd(getservsock(std::atoi(argv[2])));
    if (!fd.valid()) {
        return 65;
    }
    if (name == "inherited") {
        return shakeHands(fd.get(), signals, sockets);
    }
    for (const Behaviour& behaviour : kBehaviours) {
        if (name == behaviour.name) {
            return behaviour.run(fd.get());
        }
    }
    return 66;
}
