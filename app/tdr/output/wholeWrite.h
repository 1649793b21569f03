// SPDX-License-Identifier: MIT
// Writing a whole text or file, also to slow readers, and reading from slow writers.
#pragma once

#include <cstddef>
#include <string_view>
#include <sys/types.h>

/// Writes all of `text` to `fd`, at its position. Waits for a slow reader, but ends with EINTR
/// after a signal that an InterruptGuard holds. Causes no SIGPIPE. 0, or errno.
[[nodiscard]] int writeWhole(int fd, std::string_view text);

/// Writes the whole file `from` to `to` in the same way.
[[nodiscard]] int copyWhole(int from, int to);

/// As read(2), but waits for a slow writer, and fails with EINTR after a signal that an
/// InterruptGuard holds.
[[nodiscard]] ssize_t readSome(int fd, void* to, std::size_t size);
