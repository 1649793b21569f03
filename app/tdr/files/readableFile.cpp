// SPDX-License-Identifier: MIT
#include "readableFile.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

Outcome<base::UniqueFd> openReadable(const fs::path& path) {
    struct stat status {};
    // Without O_NONBLOCK opening a pipe would wait for its writer.
    base::UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd.valid() || ::fstat(fd.get(), &status) != 0) {
        return problemWith(path.string(), errno);
    }
    if (S_ISDIR(status.st_mode)) {
        return problemWith(path.string(), EISDIR);
    }
    if (!S_ISREG(status.st_mode)) {
        return Problem{ExitCode::Failed, path.string() + ": not a regular file"};
    }
    if (status.st_size == 0) {
        return Problem{ExitCode::Failed, path.string() + ": the file is empty"};
    }
    return fd;
}
