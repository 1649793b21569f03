// SPDX-License-Identifier: MIT
#include "readableFile.h"

#include "tdr/driverSearch.h"

#include <cerrno>
#include <sys/stat.h>

namespace {

/// What is wrong with a file that could not be opened.
Cause causeAt(const std::filesystem::path& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return problemWith("", errno).cause;
    }
    return !S_ISREG(status.st_mode) ? Cause::NotAFile
           : status.st_size == 0    ? Cause::Empty
                                    : Cause::Unreadable;
}

} // namespace

Outcome<base::UniqueFd> openReadable(const std::filesystem::path& path) {
    auto opened = tdr::openReadable(path);
    if (opened) {
        return std::move(*opened);
    }
    Problem problem = problemWith(opened.failure());
    problem.cause = causeAt(path);
    return problem;
}
