// SPDX-License-Identifier: MIT
// Calls into Xlib that neither a lost server nor a failed request can turn into the process's end.
//
// Xlib ends the process when its server goes away, and by default also when a request fails (for
// example drawing in a window that another client has destroyed). A diagnostic window must not do
// that to a driver. A lost connection is left by a long jump, because Xlib allows no return from
// that handler; it skips no destructor, because only functions of plain data run below the shield.
// A child process for the window would also be safe, but it would keep the link's sockets open,
// could not be forked from a program with threads, and would have no descriptor to wait on.
#pragma once

#include <type_traits>

namespace xlib {

/// Runs `work` with `data` below the shield, one thread at a time.
[[nodiscard]] bool runShielded(void (*work)(void* data), void* data);

/// Runs `work`, which may call Xlib and must not have objects with destructors on its stack. False
/// when a connection was lost meanwhile, even one that Xlib was still opening: its descriptor is
/// then closed, and the connection must not be used.
template <typename Data>
[[nodiscard]] bool shielded(void (*work)(Data&), Data& data) {
    struct Call {
        void (*work)(Data&);
        Data* data;
    } call{work, &data};
    static_assert(std::is_trivially_destructible_v<Data>);
    return runShielded(
        [](void* given) {
            const auto& wanted = *static_cast<const Call*>(given);
            wanted.work(*wanted.data);
        },
        &call);
}

/// Below the shield: true if the server has refused a request of this run.
[[nodiscard]] bool requestFailed();

/// Xlib's data for a lost connection (about 80 KiB) cannot be freed. The latest are remembered, so
/// that leak checkers do not report them.
void rememberLost(const void* lost);

} // namespace xlib
