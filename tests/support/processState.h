// SPDX-License-Identifier: MIT
// Inspecting other processes.
#pragma once

#include <fstream>
#include <set>
#include <string>
#include <sys/types.h>

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

} // namespace support
