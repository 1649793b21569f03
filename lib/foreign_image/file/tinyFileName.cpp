// SPDX-License-Identifier: MIT
#include "tinyFileName.h"

#include "tinyUtilsGrow.h"

#include <cerrno>

MallocString fileNameOf(std::string_view base, std::string_view ending) {
    MallocString name(newRecords<char>(base.size() + ending.size() + 1));
    if (name != nullptr) {
        ending.copy(name.get() + base.copy(name.get(), base.size()), ending.size());
    }
    return name;
}

base::UniqueFile fileOpen(const MallocString& fileName, char mode) {
    if (fileName == nullptr) {
        errno = ENOMEM;
        return nullptr;
    }
    return base::openFile(fileName.get(), mode);
}

base::UniqueFile fileOpen(std::string_view name, std::string_view ending, char mode) {
    const bool complete = name.size() > ending.size() && name.ends_with(ending);
    return fileOpen(fileNameOf(name, complete ? std::string_view() : ending), mode);
}
