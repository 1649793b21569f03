// SPDX-License-Identifier: MIT
// Keeps exceptions inside the library.
#pragma once

#include "tdr/result.h"

#include <new>

namespace tdr {

/// Calls `call`, which returns a Status or a Result, and returns a failure if it throws. That means
/// out of memory, so the failure itself must not allocate: its text is short enough to be stored
/// inside its string.
template <typename Call>
auto withoutThrowing(Call&& call) noexcept -> decltype(call()) {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        return Failure{FailureKind::NoMemory, "out of memory"};
    } catch (...) {
        return Failure{FailureKind::NoMemory, "exception"};
    }
}

} // namespace tdr
