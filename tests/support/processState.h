// SPDX-License-Identifier: MIT
// Inspecting other processes.
#pragma once

#include <fstream>
#include <functional>
#include <set>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

/// Pids of the children of `parent`.
inline std::set<pid_t> childrenOf(pid_t parent) {
    const std::string pid = std::to_string(parent);
    std::ifstream list("/proc/" + pid + "/task/" + pid + "/children");
    std::set<pid_t> children;
    for (pid_t child = 0; list >> child;) {
        children.insert(child);
    }
    return children;
}

/// The letter of a process's state, or 0 if there is no such process.
inline char stateOf(pid_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string id;
    std::string name;
    char state = 0;
    return stat >> id >> name >> state ? state : '\0';
}

/// Waits for a child and returns its exit status, 256 + the signal that ended it, or -1.
inline int exitStatusOf(pid_t child) {
    int status = -1;
    if (waitpid(child, &status, 0) != child) {
        return -1;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
}

/// Starts a child process that runs `body` and ends with its result.
inline pid_t startChild(const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(body());
    }
    return child;
}
inline int exitStatusInChild(const std::function<int()>& body) {
    return exitStatusOf(startChild(body));
}

} // namespace support
