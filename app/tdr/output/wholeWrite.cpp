// SPDX-License-Identifier: MIT
#include "wholeWrite.h"

#include "base/holdSigpipe.h"
#include "base/retry.h"
#include "tdr/interruptGuard.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Waits until `fd` accepts bytes, or has some: 0, or EINTR for a guarded signal.
int await(int fd, short event) {
    std::array<pollfd, 2> watched = {
        {{fd, event, 0}, {tdr::InterruptGuard::wakeDescriptor(), POLLIN, 0}}};
    while (::poll(watched.data(), watched.size(), -1) < 0) {
        if (errno != EINTR) {
            return errno;
        }
    }
    return watched[0].revents != 0 ? 0 : EINTR;
}

} // namespace

int writeWhole(int fd, std::string_view text) {
    const base::HoldSigpipe hold;
    struct stat status {};
    const bool ready = ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
    while (!text.empty()) {
        if (const int error = ready ? 0 : await(fd, POLLOUT); error != 0) {
            return error;
        }
        // A ready pipe has room for this many bytes, so that the write does not block.
        const std::size_t most = ready ? text.size() : std::min<std::size_t>(text.size(), PIPE_BUF);
        const ssize_t wrote = ::write(fd, text.data(), most);
        if (wrote >= 0) {
            text.remove_prefix(static_cast<std::size_t>(wrote));
        } else if (errno != EINTR && errno != EAGAIN) {
            return errno;
        }
    }
    return 0;
}

int copyWhole(int from, int to) {
    std::array<char, 1 << 16> bytes;
    for (off_t at = 0;;) {
        const ssize_t got =
            base::retried([&] { return ::pread(from, bytes.data(), bytes.size(), at); });
        if (got <= 0) {
            return got < 0 ? errno : 0;
        }
        if (const int error = writeWhole(to, {bytes.data(), static_cast<std::size_t>(got)});
            error != 0) {
            return error;
        }
        at += got;
    }
}

ssize_t readSome(int fd, void* to, std::size_t size) {
    for (;;) {
        if (const int error = await(fd, POLLIN); error != 0) {
            errno = error;
            return -1;
        }
        const ssize_t got = ::read(fd, to, size);
        if (got >= 0 || (errno != EINTR && errno != EAGAIN)) {
            return got;
        }
    }
}
