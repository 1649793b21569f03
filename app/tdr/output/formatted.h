// SPDX-License-Identifier: MIT
// Text from a format string that is checked when it is compiled, as fmt::format makes it. The
// formatting itself is in formatted.cpp: compiled in every file it would take most of the build.
#pragma once

#include <fmt/core.h>
#include <string>

/// The text of a format string with its arguments already collected.
[[nodiscard]] std::string formattedFrom(fmt::string_view format, fmt::format_args arguments);

/// As fmt::format.
template <typename... Arguments>
[[nodiscard]] std::string formatted(fmt::format_string<Arguments...> format,
                                    Arguments&&... arguments) {
    return formattedFrom(format, fmt::make_format_args(arguments...));
}
