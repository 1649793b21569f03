// SPDX-License-Identifier: MIT
// Exceptions stop here: an operation that throws is a failed request and does not end the driver.
#pragma once

#include "base/diagnostics.h"

#include <exception>
#include <new>

/// The result of `operation`; `thrown`, with a line that begins with `me`, when it throws.
template <class Operation>
int attempt(const char* me, Operation operation, int thrown = -1) noexcept {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        base::say("%s: Out of memory.\n", me);
    } catch (const std::exception& failure) {
        base::say("%s: %s.\n", me, failure.what());
    } catch (...) {
        base::say("%s: An operation failed without a reason.\n", me);
    }
    return thrown;
}
