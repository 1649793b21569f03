// SPDX-License-Identifier: MIT
#define FMT_HEADER_ONLY 1 // no library beside the program is needed
#include "formatted.h"

#include <fmt/format.h>

std::string formattedFrom(fmt::string_view format, fmt::format_args arguments) {
    return fmt::vformat(format, arguments);
}
