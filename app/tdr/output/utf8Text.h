// SPDX-License-Identifier: MIT
// Converts texts from files to valid, printable UTF-8.
#pragma once

#include <string>
#include <string_view>

/// `text` as valid UTF-8 on one line: invalid bytes and control characters become "\x1b".
[[nodiscard]] std::string utf8Text(std::string_view text);

/// `text` as valid UTF-8 with its lines: only invalid bytes become "\x9f".
[[nodiscard]] std::string validUtf8(std::string_view text);

/// `utf8Text` for SVG and HTML, between tags or in double quotes.
[[nodiscard]] std::string markupText(std::string_view text);

[[nodiscard]] bool isUtf8(std::string_view text);

/// `utf8Text` of a C string; null gives an empty text.
[[nodiscard]] std::string utf8Text(const char* text);

/// Width of a valid UTF-8 text in a proportional font, in columns of a typical small letter: more
/// for capitals and wide letters, two for a character of the East Asian scripts.
[[nodiscard]] std::size_t columnsOf(std::string_view utf8);

/// The beginning of a valid UTF-8 text that fits into `columns`, with "…" at the end if it is cut.
[[nodiscard]] std::string shortened(std::string_view utf8, std::size_t columns);
