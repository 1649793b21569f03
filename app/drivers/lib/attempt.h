// SPDX-License-Identifier: MIT
// Exceptions stop here: what a driver's operation throws is a failed request, not its end.
#pragma once

#include "base/diagnostics.h"

#include <exception>
#include <new>

/// What `operation` returns; -1, with a line that begins with `me`, when it throws.
template <class Operation>
int attempt(const char* me, Operation operation) noexcept {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        base::say("%s: Out of memory.\n", me);
    } catch (const std::exception& failure) {
        base::say("%s: %s.\n", me, failure.what());
    } catch (...) {
        base::say("%s: An operation failed without a reason.\n", me);
    }
    return -1;
}
