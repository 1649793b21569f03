// SPDX-License-Identifier: MIT
// Writing all of something, to files and to who reads slowly.
#pragma once

#include <string_view>

/// Writes all of `text` to `fd`, at its position. Waits where a reader is slow, but ends with EINTR
/// when a signal came that an InterruptGuard holds. No SIGPIPE gets through. 0, or errno.
[[nodiscard]] int writeWhole(int fd, std::string_view text);

/// Writes the whole file `from` to `to` in the same way.
[[nodiscard]] int copyWhole(int from, int to);
