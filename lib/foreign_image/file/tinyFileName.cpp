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
