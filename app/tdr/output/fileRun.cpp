// SPDX-License-Identifier: MIT
#include "fileRun.h"

#include "formatted.h"

void FileRun::tellTime(const std::string& file, double seconds) {
    warn(formatted("{}: {:.3f} s", file, seconds));
}
