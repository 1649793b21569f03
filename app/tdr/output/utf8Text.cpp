// SPDX-License-Identifier: MIT
#include "utf8Text.h"

#include "formatted.h"

#include <cstddef>
#include <cstdint>

namespace {

constexpr std::uint32_t kNone = 0xFFFFFFFF;
constexpr std::uint32_t kLargest = 0x10FFFF;
constexpr std::uint32_t kFirstWide = 0x1100; // the first of the wide characters
constexpr std::uint32_t kDots = 0x2026;

struct Character {
    std::uint32_t code; ///< kNone: the first byte does not begin a character
    std::size_t bytes;
};

/// The meaning of a first byte: the number of bytes, its own bits, and the smallest code of that
/// length.
struct Lead {
    unsigned mask, value;
    std::size_t bytes;
    std::uint32_t least;
};

constexpr Lead kLeads[] = {
    {0x80, 0x00, 1, 0}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};

unsigned byteAt(std::string_view text, std::size_t at) {
    return static_cast<unsigned char>(text[at]);
}

bool isScalar(std::uint32_t code) {
    return code <= kLargest && (code < 0xD800 || code > 0xDFFF);
}

Character decode(std::string_view text, const Lead& lead) {
    std::uint32_t code = byteAt(text, 0) & ~lead.mask & 0xFF;
    for (std::size_t i = 1; i < lead.bytes; ++i) {
        if (i >= text.size() || (byteAt(text, i) & 0xC0) != 0x80) {
            return {kNone, 1};
        }
        code = (code << 6) | (byteAt(text, i) & 0x3F);
    }
    return code >= lead.least && isScalar(code) ? Character{code, lead.bytes} : Character{kNone, 1};
}

/// The first character of a non-empty text.
Character firstOf(std::string_view text) {
    for (const Lead& lead : kLeads) {
        if ((byteAt(text, 0) & lead.mask) == lead.value) {
            return decode(text, lead);
        }
    }
    return {kNone, 1};
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
    while (!text.empty()) {
        const Character c = firstOf(text);
        if (c.code != kNone && keeps(c.code)) {
            shown += text.substr(0, c.bytes);
        } else {
            for (std::size_t i = 0; i < c.bytes; ++i) {
                shown += formatted("\\x{:02x}", byteAt(text, i));
            }
        }
        text.remove_prefix(c.bytes);
    }
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
    while (!text.empty()) {
        const Character c = firstOf(text);
        if (c.code == kNone) {
            return false;
        }
        text.remove_prefix(c.bytes);
    }
    return true;
}

std::string utf8Text(const char* text) {
    return text != nullptr ? utf8Text(std::string_view(text)) : std::string();
}

std::size_t columnsOf(std::string_view utf8) {
    std::size_t tenths = 0;
    while (!utf8.empty()) {
        const Character c = firstOf(utf8);
        tenths += tenthsOf(c.code);
        utf8.remove_prefix(c.bytes);
    }
    return (tenths + 9) / 10;
}

std::string shortened(std::string_view utf8, std::size_t columns) {
    if (columnsOf(utf8) <= columns) {
        return std::string(utf8);
    }
    std::string text;
    std::size_t used = tenthsOf(kDots);
    while (!utf8.empty()) {
        const Character c = firstOf(utf8);
        used += tenthsOf(c.code);
        if (used > columns * 10) {
            break;
        }
        text += utf8.substr(0, c.bytes);
        utf8.remove_prefix(c.bytes);
    }
    return text + "…";
}
