// SPDX-License-Identifier: MIT
#include "base/uniqueFd.h"

#include <cerrno>
#include <unistd.h>

namespace base {

void UniqueFd::reset(int fd) noexcept {
    if (fd_ >= 0) {
        const int kept = errno;
        ::close(fd_);
        errno = kept;
    }
    fd_ = fd;
}

} // namespace base
