// SPDX-License-Identifier: MIT
// Finds the process at the other end of a connection on this machine. Every local process can
// connect to a port, and any can listen on one that has become free, so each end checks the other.
// If the system does not allow the check, the connection is accepted.
#pragma once

#include <optional>
#include <sys/types.h>

namespace ipc {

/// True when the caller's address is on this machine.
[[nodiscard]] bool isLocalCall(int fd);

/// Whether the new connection `fd` comes from the process `child` or a descendant: one of their
/// descriptors must be its other end, shut down or not. If their descriptors cannot be read, that
/// end must be owned by this process's user.
[[nodiscard]] bool isCallOf(pid_t child, int fd);

/// The owner of the port to which `fd` is connected, if that is neither this process's user nor
/// root.
[[nodiscard]] std::optional<uid_t> strangerBehind(int fd);

} // namespace ipc
