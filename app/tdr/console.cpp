// SPDX-License-Identifier: MIT
#include "console.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fmt/format.h>
#include <unistd.h>

namespace {

/// Packet writing puts SIGPIPE back to its default action, so that it is held just around output.
class SigpipeIgnored {
  public:
    SigpipeIgnored() {
        struct sigaction ignore {};
        ignore.sa_handler = SIG_IGN;
        ::sigaction(SIGPIPE, &ignore, &before_);
    }
    ~SigpipeIgnored() { ::sigaction(SIGPIPE, &before_, nullptr); }
    SigpipeIgnored(const SigpipeIgnored&) = delete;
    SigpipeIgnored& operator=(const SigpipeIgnored&) = delete;

  private:
    struct sigaction before_ {};
};

/// Writes everything; 0 or the errno of the write that failed.
int writeAll(int fd, std::string_view text) {
    const SigpipeIgnored ignored;
    while (!text.empty()) {
        const ssize_t wrote = ::write(fd, text.data(), text.size());
        if (wrote >= 0) {
            text.remove_prefix(static_cast<std::size_t>(wrote));
        } else if (errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

} // namespace

ExitCode say(std::string_view text) {
    const int error = writeAll(STDOUT_FILENO, text);
    if (error == 0 || error == EPIPE) {
        return ExitCode::Done;
    }
    complain(std::string("standard output: ") + std::strerror(error));
    return ExitCode::Failed;
}

void complain(std::string_view text) {
    writeAll(STDERR_FILENO, "tdr: " + printable(text) + "\n");
}

ExitCode complain(const Problem& problem) {
    complain(problem.text);
    return problem.code;
}

void passOn(std::string_view driverLine) {
    writeAll(STDERR_FILENO, printable(driverLine) + "\n");
}

std::string printable(std::string_view text) {
    std::string shown;
    for (const char byte : text) {
        const auto value = static_cast<unsigned char>(byte);
        if (value < 0x20 || value == 0x7f) {
            shown += fmt::format("\\x{:02x}", value);
        } else {
            shown += byte;
        }
    }
    return shown;
}
