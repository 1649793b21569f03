// SPDX-License-Identifier: MIT
// The one way out for diagnostics: each line is one write, and a reader that has gone is no event.
// Whoever started this process may die before it, and its end of our standard error dies with it; a
// line for nobody must not keep us from ending our work well.
#pragma once

#include <cstdarg>
#include <cstdio>

namespace base {

/// Writes a line, formatted as by printf and with its newline, to standard error. Keeps errno. A
/// line of more than 8191 bytes is cut and ends with "..." and a newline.
[[gnu::format(printf, 1, 2)]] void say(const char* format, ...) noexcept;

/// Writes the line "prefix: reason" for an error number, as `perror` does.
void sayError(const char* prefix, int error) noexcept;

/// `say` to any stream.
[[gnu::format(printf, 2, 0)]] void sayTo(std::FILE* stream, const char* format,
                                         std::va_list arguments) noexcept;

} // namespace base
