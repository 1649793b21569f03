// SPDX-License-Identifier: MIT
#include "base/uniqueFile.h"

#include "base/uniqueFd.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace base {

namespace {

/// Some file systems write a file that has been truncated to the disk when it is closed: an empty
/// one is not truncated.
bool makeEmpty(int fd) {
    struct stat status {};
    return fstat(fd, &status) == 0 &&
           (!S_ISREG(status.st_mode) || status.st_size == 0 || ftruncate(fd, 0) == 0);
}

} // namespace

UniqueFile openFile(const char* path, char mode) {
    const bool writing = mode == 'w';
    const int purpose = writing ? O_WRONLY | O_CREAT : O_RDONLY;
    UniqueFd fd(::open(path, purpose | O_NONBLOCK | O_CLOEXEC, 0666));
    // Opening must not block, but writing waits for a slow reader.
    if (fd.valid() && writing && (!makeEmpty(fd.get()) || fcntl(fd.get(), F_SETFL, 0) != 0)) {
        const int error = errno;
        fd.reset();
        errno = error;
    }
    UniqueFile file(fd.valid() ? fdopen(fd.get(), writing ? "w" : "r") : nullptr);
    if (file != nullptr) {
        (void)fd.release();
    }
    return file;
}

int closeWritten(UniqueFile file) {
    errno = 0;
    const bool failedBefore = std::ferror(file.get()) != 0;
    const bool flushed = std::fflush(file.get()) == 0;
    int reason = flushed ? 0 : errno;
    if (std::fclose(file.release()) != 0 && reason == 0) {
        reason = errno;
    }
    return failedBefore && reason == 0 ? EIO : reason;
}

} // namespace base
