// SPDX-License-Identifier: MIT
// System calls that a signal may interrupt.
#pragma once

#include <cerrno>

namespace base {

/// The result of a system call, which is repeated while a signal interrupts it. For calls that
/// report failure by a negative number; not for a wait whose time limit has to be shortened.
template <class Call>
auto retried(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

} // namespace base
