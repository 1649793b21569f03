// SPDX-License-Identifier: MIT
// What keeps exceptions inside the library.
#pragma once

#include "tdr/result.h"

#include <new>

namespace tdr {

/// Calls `call`, which answers a Status or a Result, and answers a failure for what it throws. That
/// is memory that has run out, so the failure itself takes none: its text is short enough to lie
/// inside its string.
template <typename Call>
auto withoutThrowing(Call&& call) noexcept -> decltype(call()) {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        return Failure{FailureKind::NoMemory, "no memory", {}, {}};
    } catch (...) {
        return Failure{FailureKind::NoMemory, "exception", {}, {}};
    }
}

} // namespace tdr
