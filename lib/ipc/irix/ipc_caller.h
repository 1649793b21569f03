// SPDX-License-Identifier: MIT
// Who is at the other end of a connection on this machine. Every local process can connect to a
// port, and any can listen on one that has become free, so neither end takes the other for granted.
// What the system does not let us read stops nobody.
#pragma once

#include <optional>
#include <sys/types.h>

namespace ipc {

/// True when the caller's address is of this machine.
[[nodiscard]] bool isLocalCall(int fd);

/// Whether the connection `fd`, just accepted, is one of the process `child` or of a descendant:
/// one of their descriptors has to be its other end, shut down or not; where their descriptors
/// cannot be read, that end has to be owned by this process's user.
[[nodiscard]] bool isCallOf(pid_t child, int fd);

/// The user behind the port to which `fd` is connected, when that is neither this process's own nor
/// root.
[[nodiscard]] std::optional<uid_t> strangerBehind(int fd);

} // namespace ipc
