// SPDX-License-Identifier: MIT
#include "processMark.h"

#include "base/uniqueFd.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cinttypes>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace tdr {

namespace {

constexpr std::string_view kPrefix = "tdr-";

/// A process within one boot of this machine.
struct Process {
    std::uint64_t world = 0;
    std::uint64_t pid = 0;
    std::uint64_t start = 0; ///< in the kernel's ticks
};

/// The beginning of a kernel file; empty when it cannot be read.
std::string textOf(const char* path) {
    const base::UniqueFd fd(::open(path, O_RDONLY | O_CLOEXEC));
    char text[1024];
    const ssize_t got = fd.valid() ? ::read(fd.get(), text, sizeof text) : -1;
    return {text, got > 0 ? static_cast<std::size_t>(got) : 0};
}

/// A number that identifies a namespace of the kernel; 0 if it is unknown.
std::uint64_t namespaceId(const char* path) {
    struct stat status {};
    return ::stat(path, &status) == 0 ? status.st_ino : 0;
}

std::uint64_t hashOf(std::string_view text) { // FNV-1a
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char byte : text) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3;
    }
    return hash;
}

std::uint64_t thisWorld() {
    const std::string boot = textOf("/proc/sys/kernel/random/boot_id");
    const std::uint64_t pids = namespaceId("/proc/self/ns/pid");
    if (boot.empty() || pids == 0) {
        return 0;
    }
    return hashOf(boot + " " + std::to_string(pids) + " " +
                  std::to_string(namespaceId("/proc/self/ns/time")));
}

/// The start time of a process, from the 22nd field of its state. The 2nd is its name, which may
/// contain any characters.
std::optional<std::uint64_t> startIn(std::string_view state) {
    const std::size_t nameEnd = state.rfind(')');
    std::size_t at = nameEnd == std::string_view::npos ? nameEnd : nameEnd + 1;
    for (int field = 3; field < 22 && at != std::string_view::npos; ++field) {
        at = state.find(' ', at + 1);
    }
    std::uint64_t start = 0;
    if (at == std::string_view::npos ||
        std::from_chars(state.data() + at + 1, state.data() + state.size(), start).ec !=
            std::errc()) {
        return {};
    }
    return start;
}

const Process& ownProcess() {
    static const Process own = [] {
        const auto start = startIn(textOf("/proc/self/stat"));
        return Process{start ? thisWorld() : 0, static_cast<std::uint64_t>(::getpid()),
                       start.value_or(0)};
    }();
    return own;
}

/// Removes a number and the "-" after it from the front of `text`.
bool takeNumber(std::string_view& text, int base, std::uint64_t& number) {
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number, base);
    if (error != std::errc() || rest == end || *rest != '-') {
        return false;
    }
    text.remove_prefix(static_cast<std::size_t>(rest - text.data()) + 1);
    return true;
}

std::optional<Process> processIn(std::string_view name) {
    if (!name.starts_with(kPrefix)) {
        return {};
    }
    name.remove_prefix(kPrefix.size());
    Process process;
    const bool whole = takeNumber(name, 16, process.world) && takeNumber(name, 10, process.pid) &&
                       takeNumber(name, 10, process.start);
    return whole ? std::optional(process) : std::nullopt;
}

/// /proc may belong to another pid namespace; then its numbers are not ours.
bool procIsOurs() {
    char text[32];
    const ssize_t size = ::readlink("/proc/self", text, sizeof text);
    return size > 0 &&
           std::string_view(text, static_cast<std::size_t>(size)) == std::to_string(::getpid());
}

} // namespace

std::string ownMark() {
    static std::atomic<unsigned> number = 0;
    const Process& own = ownProcess();
    char text[100];
    std::snprintf(text, sizeof text, "%s%016" PRIx64 "-%" PRIu64 "-%" PRIu64 "-%u", kPrefix.data(),
                  own.world, own.pid, own.start, ++number);
    return text;
}

bool isOfDeadProcess(std::string_view name) {
    const auto process = processIn(name);
    if (!process || process->world == 0 || process->world != ownProcess().world) {
        return false;
    }
    const auto pid = static_cast<pid_t>(process->pid);
    if (pid <= 0) {
        return false;
    }
    if (::kill(pid, 0) != 0 && errno != EPERM) { // another user's process is one, too
        return errno == ESRCH;
    }
    const auto start = startIn(textOf(("/proc/" + std::to_string(pid) + "/stat").c_str()));
    return procIsOurs() && start &&
           *start != process->start; // the number now belongs to another process
}

} // namespace tdr
