// SPDX-License-Identifier: MIT
// Text from a format string that is checked when it is compiled, as fmt::format makes it. The
// formatting itself is in formatted.cpp: compiled in every file it would take most of the build.
#pragma once

#include <concepts>
#include <fmt/core.h>
#include <string>
#include <string_view>

/// The text of a format string with its arguments already collected.
[[nodiscard]] std::string formattedFrom(fmt::string_view format, fmt::format_args arguments);

/// As fmt::format.
template <typename... Arguments>
[[nodiscard]] std::string formatted(fmt::format_string<Arguments...> format,
                                    Arguments&&... arguments) {
    return formattedFrom(format, fmt::make_format_args(arguments...));
}

/// "1 line", "3 lines".
template <std::integral Count>
[[nodiscard]] std::string counted(Count count, std::string_view noun) {
    return formatted("{} {}{}", count, noun, count == 1 ? "" : "s");
}
/// "the only line is", "all 3 lines are".
template <std::integral Count>
[[nodiscard]] std::string allAre(Count count, std::string_view noun) {
    return count == 1 ? formatted("the only {} is", noun)
                      : formatted("all {} {}s are", count, noun);
}
