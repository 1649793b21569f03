// SPDX-License-Identifier: MIT
#include "readableFile.h"

#include "tdr/driverSearch.h"

Outcome<base::UniqueFd> openReadable(const std::filesystem::path& path) {
    auto opened = tdr::openReadable(path);
    return opened ? Outcome<base::UniqueFd>(std::move(*opened)) : problemWith(opened.failure());
}
