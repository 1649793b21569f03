// SPDX-License-Identifier: MIT
#include "ipc_caller.h"

#include "base/uniqueFd.h"
#include "base/uniqueFile.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <memory>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace ipc {
namespace {

// --- The far socket ------------------------------------------------------------------------------

/// The system's record of a socket. A closed one, or one that waits to be accepted, has no owner:
/// inode 0, user 0.
struct SocketInfo {
    unsigned state = TCP_CLOSE;
    uid_t owner = 0;
    std::uint32_t inode = 0;
};

/// A connection as its far end sees it. A `near` of zeros means a listening socket.
struct Sides {
    sockaddr_in far{};
    sockaddr_in near{};
};

std::optional<Sides> sidesOf(int fd) {
    Sides sides;
    socklen_t farSize = sizeof sides.far;
    socklen_t nearSize = sizeof sides.near;
    const bool known = getpeername(fd, reinterpret_cast<sockaddr*>(&sides.far), &farSize) == 0 &&
                       getsockname(fd, reinterpret_cast<sockaddr*>(&sides.near), &nearSize) == 0 &&
                       sides.far.sin_family == AF_INET;
    return known ? std::optional(sides) : std::nullopt;
}

/// Queries the kernel for one socket; nullopt if there is none or the kernel does not support the
/// query, which gives the same error.
std::optional<SocketInfo> askKernel(const Sides& sides) {
    const base::UniqueFd kernel(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
    struct {
        nlmsghdr head{};
        inet_diag_req_v2 request{};
    } question;
    question.head.nlmsg_len = sizeof question;
    question.head.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    question.head.nlmsg_flags = NLM_F_REQUEST;
    question.request.sdiag_family = AF_INET;
    question.request.sdiag_protocol = IPPROTO_TCP;
    question.request.idiag_states = ~0U;
    inet_diag_sockid& id = question.request.id;
    id.idiag_src[0] = sides.far.sin_addr.s_addr;
    id.idiag_sport = sides.far.sin_port;
    id.idiag_dst[0] = sides.near.sin_addr.s_addr;
    id.idiag_dport = sides.near.sin_port;
    id.idiag_cookie[0] = id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
    if (send(kernel.get(), &question, sizeof question, 0) < 0) {
        return std::nullopt;
    }
    alignas(nlmsghdr) std::array<char, 4096> answer{}; // complete once the query is sent
    const ssize_t got = recv(kernel.get(), answer.data(), answer.size(), MSG_DONTWAIT);
    nlmsghdr head{};
    inet_diag_msg found{};
    if (got < static_cast<ssize_t>(NLMSG_HDRLEN + sizeof found)) {
        return std::nullopt;
    }
    std::memcpy(&head, answer.data(), sizeof head);
    std::memcpy(&found, answer.data() + NLMSG_HDRLEN, sizeof found);
    if (head.nlmsg_type != SOCK_DIAG_BY_FAMILY) {
        return std::nullopt;
    }
    return SocketInfo{found.idiag_state, found.idiag_uid, found.idiag_inode};
}

/// Searches the socket in the system's table of connections; nullopt when that cannot be read or
/// does not have the near end either.
std::optional<SocketInfo> askTable(const Sides& sides) {
    const base::UniqueFile table = base::openFile("/proc/net/tcp", 'r');
    const bool listening = sides.near.sin_port == 0;
    bool meaningful = listening;
    SocketInfo found;
    char line[256];
    while (table != nullptr && std::fgets(line, sizeof line, table.get()) != nullptr) {
        unsigned from = 0;
        unsigned fromPort = 0;
        unsigned to = 0;
        unsigned toPort = 0;
        SocketInfo info;
        // NOLINTNEXTLINE(cert-err34-c): the system's own numbers
        if (std::sscanf(line, "%*d: %X:%X %X:%X %X %*X:%*X %*X:%*X %*X %u %*d %u", &from, &fromPort,
                        &to, &toPort, &info.state, &info.owner, &info.inode) != 7) {
            continue;
        }
        const auto is = [](const sockaddr_in& end, unsigned address, unsigned port) {
            return end.sin_addr.s_addr == address && ntohs(end.sin_port) == port;
        };
        const bool connected = is(sides.far, from, fromPort) && is(sides.near, to, toPort);
        const bool listens = info.state == TCP_LISTEN && ntohs(sides.far.sin_port) == fromPort &&
                             (from == INADDR_ANY || from == sides.far.sin_addr.s_addr);
        meaningful = meaningful || (is(sides.near, from, fromPort) && is(sides.far, to, toPort));
        if (listening ? listens : connected) {
            found = info;
        }
    }
    return table != nullptr && meaningful ? std::optional(found) : std::nullopt;
}

std::optional<SocketInfo> lookUp(const Sides& sides) {
    const std::optional<SocketInfo> told = askKernel(sides);
    return told ? told : askTable(sides);
}

// --- Who holds it --------------------------------------------------------------------------------

enum class Holds { No, Yes, Unknown };

struct DirCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, DirCloser>;

/// Maximum depth of a chain of wrapper processes.
constexpr int kDeepest = 16;

using ProcPath = std::array<char, 64>;

template <class... Arguments>
ProcPath procPath(const char* format, Arguments... arguments) {
    ProcPath path{};
    std::snprintf(path.data(), path.size(), format, arguments...); // NOLINT: formats are given here
    return path;
}

/// Calls `each` with every numeric entry of `path` until it returns something other than `No`.
/// Unknown when the folder cannot be read.
template <class Each>
Holds anyEntry(const ProcPath& path, Each each) {
    const Directory directory(opendir(path.data()));
    if (directory == nullptr) {
        return Holds::Unknown;
    }
    for (;;) {
        errno = 0;
        const dirent* const entry = readdir(directory.get());
        if (entry == nullptr) {
            return errno == 0 ? Holds::No : Holds::Unknown;
        }
        const char* const name = static_cast<const char*>(entry->d_name);
        int number = 0;
        const auto [end, error] = std::from_chars(name, name + std::strlen(name), number);
        if (error != std::errc() || *end != '\0') {
            continue;
        }
        if (const Holds result = each(number); result != Holds::No) {
            return result;
        }
    }
}

/// True for a process that has ended and waits for its parent: it has no descriptors, but only root
/// may list them.
bool isZombie(pid_t pid) {
    const base::UniqueFile status = base::openFile(procPath("/proc/%d/stat", pid).data(), 'r');
    std::array<char, 128> line{};
    if (!status || std::fgets(line.data(), line.size(), status.get()) == nullptr) {
        return false;
    }
    // The state follows the program's name, which may contain brackets itself.
    const char* nameEnd = std::strrchr(line.data(), ')');
    return nameEnd != nullptr && std::string_view(nameEnd).starts_with(") Z");
}

/// Whether a descriptor of this process itself is the socket.
Holds holdsItself(pid_t pid, std::uint32_t inode) {
    std::array<char, 64> wanted{};
    const int length = std::snprintf(wanted.data(), wanted.size(), "socket:[%u]", inode);
    const Holds found = anyEntry(procPath("/proc/%d/fd", pid), [&](int fd) {
        std::array<char, 64> target{};
        const ssize_t got =
            readlink(procPath("/proc/%d/fd/%d", pid, fd).data(), target.data(), target.size());
        if (got < 0 && errno != ENOENT) {
            return Holds::Unknown;
        }
        return got == length && std::memcmp(target.data(), wanted.data(), wanted.size()) == 0
                   ? Holds::Yes
                   : Holds::No;
    });
    return found == Holds::Unknown && isZombie(pid) ? Holds::No : found;
}

Holds holdsBelow(pid_t pid, std::uint32_t inode, int depth);

Holds childrenHold(pid_t pid, int thread, std::uint32_t inode, int depth) {
    const base::UniqueFile children =
        base::openFile(procPath("/proc/%d/task/%d/children", pid, thread).data(), 'r');
    Holds result = children == nullptr ? Holds::Unknown : Holds::No;
    int child = 0;
    // NOLINTNEXTLINE(cert-err34-c): the system's own numbers
    while (result != Holds::Yes && children && std::fscanf(children.get(), "%d", &child) == 1) {
        const Holds below = holdsBelow(child, inode, depth + 1);
        result = below == Holds::No ? result : below;
    }
    return result == Holds::No && std::ferror(children.get()) != 0 ? Holds::Unknown : result;
}

/// Whether this process or a descendant holds it.
Holds holdsBelow(pid_t pid, std::uint32_t inode, int depth = 0) {
    if (depth > kDeepest) {
        return Holds::Unknown;
    }
    const Holds itself = holdsItself(pid, inode);
    if (itself == Holds::Yes) {
        return itself;
    }
    const Holds below = anyEntry(procPath("/proc/%d/task", pid), [&](int thread) {
        return childrenHold(pid, thread, inode, depth);
    });
    return below == Holds::No ? itself : below;
}

/// True when /proc shows the processes of this pid namespace.
bool isProcOurs() {
    std::array<char, 16> self{};
    return readlink("/proc/self", self.data(), self.size() - 1) > 0 &&
           std::atoi(self.data()) == getpid(); // NOLINT(cert-err34-c): the system's own number
}

} // namespace

bool isLocalCall(int fd) {
    const std::optional<Sides> sides = sidesOf(fd);
    constexpr unsigned kFirstByte = 24;
    return sides && ntohl(sides->far.sin_addr.s_addr) >> kFirstByte == IN_LOOPBACKNET;
}

bool isCallOf(pid_t child, int fd) {
    const std::optional<Sides> sides = sidesOf(fd);
    if (!sides) {
        return false; // already closed
    }
    const std::optional<SocketInfo> caller = lookUp(*sides);
    if (!caller) {
        return true;
    }
    if (caller->inode == 0) {
        return false;
    }
    const Holds found = isProcOurs() ? holdsBelow(child, caller->inode) : Holds::Unknown;
    return found == Holds::Yes || (found == Holds::Unknown && caller->owner == geteuid());
}

std::optional<uid_t> strangerBehind(int fd) {
    const std::optional<Sides> sides = sidesOf(fd);
    std::optional<SocketInfo> host = sides ? lookUp(*sides) : std::nullopt;
    if (host && host->inode == 0) {
        host = lookUp({sides->far, {}}); // it still waits to be accepted by the listener
    }
    const bool ours = !host || host->inode == 0 || host->owner == 0 || host->owner == geteuid() ||
                      host->owner == getuid();
    return ours ? std::nullopt : std::optional(host->owner);
}

} // namespace ipc
