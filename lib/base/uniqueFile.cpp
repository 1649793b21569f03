// SPDX-License-Identifier: MIT
#include "base/uniqueFile.h"

#include "base/uniqueFd.h"

#include <fcntl.h>

namespace base {

UniqueFile openFile(const char* path, char mode) {
    const bool writing = mode == 'w';
    const int purpose = writing ? O_WRONLY | O_CREAT | O_TRUNC : O_RDONLY;
    UniqueFd fd(::open(path, purpose | O_NONBLOCK | O_CLOEXEC, 0666));
    UniqueFile file(fd.valid() ? fdopen(fd.get(), writing ? "w" : "r") : nullptr);
    if (file != nullptr) {
        (void)fd.release();
    }
    return file;
}

} // namespace base
