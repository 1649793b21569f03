// SPDX-License-Identifier: MIT
// Texts from files as texts that people and programs can read.
#pragma once

#include <string>
#include <string_view>

/// `text` as valid UTF-8 on one line: bytes that are none, and control characters, become "\x1b".
[[nodiscard]] std::string utf8Text(std::string_view text);

/// `text` as valid UTF-8 with its lines: only bytes that are none become "\x9f".
[[nodiscard]] std::string validUtf8(std::string_view text);

/// `utf8Text` of a C string; null gives an empty text.
[[nodiscard]] std::string utf8Text(const char* text);

/// Columns that a valid UTF-8 text takes in a proportional font, of the width of a usual small
/// letter: more for capitals and wide letters, two for a character of the East Asian scripts.
[[nodiscard]] std::size_t columnsOf(std::string_view utf8);

/// The beginning of a valid UTF-8 text that fits into so many columns, with "…" at the end when
/// something is left off.
[[nodiscard]] std::string shortened(std::string_view utf8, std::size_t columns);
