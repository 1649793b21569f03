// SPDX-License-Identifier: MIT
// The only way to print diagnostics: each line is one write, and a missing reader is ignored. The
// process that started this one may die first and leave standard error broken; that must not keep
// this process from completing its work.
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
