// SPDX-License-Identifier: MIT
#include "utf8Text.h"

#include "formatted.h"

#include <cstddef>
#include <cstdint>
#include <utf8cpp/utf8.h>

namespace {

constexpr std::uint32_t kFirstWide = 0x1100; // the first of the wide characters
constexpr std::uint32_t kDots = 0x2026;

/// Calls `take` with each character's code and bytes, and with each byte that begins none.
template <typename Take>
void forEach(std::string_view text, Take take) {
    while (!text.empty()) {
        const auto* const wrong = utf8::find_invalid(text.begin(), text.end());
        for (const auto* at = text.begin(); at != wrong;) {
            const auto* const begin = at;
            const std::uint32_t code = utf8::unchecked::next(at);
            take(code, std::string_view(begin, static_cast<std::size_t>(at - begin)), false);
        }
        text.remove_prefix(static_cast<std::size_t>(wrong - text.begin()));
        if (!text.empty()) {
            take(0, text.substr(0, 1), true);
            text.remove_prefix(1);
        }
    }
}

/// False for control characters and the two noncharacters that XML excludes.
bool isShown(std::uint32_t code) {
    return code >= 0x20 && (code < 0x7F || code > 0x9F) && code != 0xFFFE && code != 0xFFFF;
}

/// Width in tenths of a column: about that of proportional letters.
std::size_t tenthsOf(std::uint32_t code) {
    constexpr std::string_view kWide = "MWmw@%";
    if (code >= kFirstWide && code != kDots) {
        return 20;
    }
    if (code < 0x80 && kWide.find(static_cast<char>(code)) != std::string_view::npos) {
        return 17;
    }
    return code >= 'A' && code <= 'Z' ? 13 : 10;
}

/// Copies the characters for which `keeps` is true and escapes the others byte by byte.
std::string escaped(std::string_view text, bool (*keeps)(std::uint32_t)) {
    std::string shown;
    forEach(text, [&](std::uint32_t code, std::string_view bytes, bool isWrong) {
        if (!isWrong && keeps(code)) {
            shown += bytes;
            return;
        }
        for (const char byte : bytes) {
            shown += formatted("\\x{:02x}", static_cast<unsigned char>(byte));
        }
    });
    return shown;
}

} // namespace

std::string utf8Text(std::string_view text) {
    return escaped(text, isShown);
}

std::string validUtf8(std::string_view text) {
    return escaped(text, [](std::uint32_t) { return true; });
}

std::string markupText(std::string_view text) {
    std::string escaped;
    for (const char c : utf8Text(text)) {
        switch (c) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        default:
            escaped += c;
        }
    }
    return escaped;
}

bool isUtf8(std::string_view text) {
    return utf8::is_valid(text.begin(), text.end());
}

std::string utf8Text(const char* text) {
    return text != nullptr ? utf8Text(std::string_view(text)) : std::string();
}

std::size_t columnsOf(std::string_view utf8) {
    std::size_t tenths = 0;
    forEach(utf8, [&](std::uint32_t code, std::string_view, bool) { tenths += tenthsOf(code); });
    return (tenths + 9) / 10;
}

std::string shortened(std::string_view utf8, std::size_t columns) {
    if (columnsOf(utf8) <= columns) {
        return std::string(utf8);
    }
    std::string text;
    std::size_t used = tenthsOf(kDots);
    forEach(utf8, [&](std::uint32_t code, std::string_view bytes, bool) {
        used += tenthsOf(code);
        text += used <= columns * 10 ? bytes : std::string_view();
    });
    return text + "…";
}
