// SPDX-License-Identifier: MIT
#include "base/diagnostics.h"

#include "base/holdSigpipe.h"
#include "base/retry.h"

#include <cerrno>
#include <cstring>
#include <iterator>

namespace base {

namespace {

constexpr char kCut[] = "...\n";

/// Writes all of `line`, however often a signal interrupts it.
void writeLine(std::FILE* stream, const char* line, std::size_t length) {
    const HoldSigpipe apart;
    std::size_t written = 0;
    do {
        errno = 0;
        written += std::fwrite(line + written, 1, length - written, stream);
    } while (written < length && errno == EINTR);
    retried([&] { return std::fflush(stream); });
}

} // namespace

void sayTo(std::FILE* stream, const char* format, std::va_list arguments) noexcept {
    const int kept = errno;
    char line[8192];
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the caller has started it
    const int length = std::vsnprintf(line, sizeof line, format, arguments);
    if (length > 0) {
        auto used = static_cast<std::size_t>(length);
        if (used >= sizeof line) {
            used = sizeof line - 1;
            std::memcpy(std::end(line) - sizeof kCut, kCut, sizeof kCut);
        }
        writeLine(stream, line, used);
    }
    errno = kept;
}

void say(const char* format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    sayTo(stderr, format, arguments);
    va_end(arguments);
}

void sayError(const char* prefix, int error) noexcept {
    say("%s: %s\n", prefix, std::strerror(error));
}

} // namespace base
