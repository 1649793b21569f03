// SPDX-License-Identifier: MIT
#include "formatText.h"

#include "output/formatted.h"

#include <cstddef>

namespace {

constexpr std::uint32_t kNoCommands = 0x4000;

/// Mattes have one entry for every channel, up to 253 equal ones.
constexpr std::size_t kMostShown = 8;

std::string channelCodes(const tdr::PixelFormat& format) {
    std::string codes;
    for (std::size_t i = 0; i < format.channels.size(); ++i) {
        if (i == kMostShown) {
            return codes + " ...";
        }
        codes += formatted("{}0x{:02x}", i == 0 ? "" : " ",
                           static_cast<std::uint32_t>(format.channels[i]));
    }
    return codes;
}

std::string depthText(const tdr::PixelFormat& format) {
    return format.depth1 == format.depth2
               ? counted(format.depth1, "bit")
               : formatted("{} and {} bits", format.depth1, format.depth2);
}

} // namespace

std::string formatText(const tdr::PixelFormat& format) {
    return formatted("{} of {} ({})", counted(format.channels.size(), "channel"), depthText(format),
                     channelCodes(format));
}

std::string accessModesText(std::int32_t modes) {
    const auto bits = static_cast<std::uint32_t>(modes);
    std::string text = formatted("0x{:04x}", bits);
    if ((bits & kNoCommands) != 0) {
        text += formatted(": 0x{:04x} (no outside commands around transfers), 0x{:04x}",
                          kNoCommands, bits & ~kNoCommands);
    }
    return text;
}
