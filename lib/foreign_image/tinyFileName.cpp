// SPDX-License-Identifier: MIT
#include "tinyFileName.h"

#include <cerrno>
#include <new>

std::string fileNameComplete(std::string_view name, std::string_view ending) {
    const bool complete = name.size() > ending.size() && name.ends_with(ending);
    return std::string(name).append(complete ? std::string_view() : ending);
}

base::UniqueFile fileOpen(const char* name, std::string_view ending, char mode) {
    try {
        return base::openFile(fileNameComplete(name, ending).c_str(), mode);
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return nullptr;
    }
}

int fileCloseWritten(std::FILE* stream) {
    errno = 0;
    const bool failedBefore = std::ferror(stream) != 0;
    const bool flushed = std::fflush(stream) == 0;
    int reason = flushed ? 0 : errno;
    if (std::fclose(stream) != 0 && reason == 0) {
        reason = errno;
    }
    return failedBefore && reason == 0 ? EIO : reason;
}
