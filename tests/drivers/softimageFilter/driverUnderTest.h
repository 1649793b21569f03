// SPDX-License-Identifier: MIT
// The Softimage filter with its inner state exposed, and files built byte by byte.
#pragma once

#include "TDR_SoftimageFilter.h"
#include "drivers/fileDriver.h"
#include "support/pictureFiles.h"

class TestDriver : public FileDriver<TDR_SoftimageFilter> {
  public:
    using TDR_SoftimageFilter::isOpen;
    using TDR_SoftimageFilter::lastWrittenLine;
    using TDR_SoftimageFilter::tag;
    using TDR_SoftimageFilter::tagChannelCount;

    [[nodiscard]] std::size_t lineBytes() const override {
        const auto pixels = static_cast<std::size_t>(bounds[2]);
        return tag ? (pixels * static_cast<std::size_t>(tagChannelCount) + 7) / 8 : pixels * 4;
    }
};

/// Text of hexadecimal byte pairs, blanks ignored, as bytes.
inline std::string bytes(std::string_view hex) {
    std::string digits(hex);
    std::erase(digits, ' ');
    std::string out;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        out += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return out;
}

inline std::string picHeader(int w, int h, std::string_view packetsHex) {
    return support::fileHeader("PICT", w, h) + bytes(packetsHex);
}

/// Packets of a file that the driver writes: RGB, then A, both mixed.
inline constexpr std::string_view kRgbaMixed = "010802E0 00080210";
inline constexpr std::string_view kRgbaRaw = "000800F0";

/// Code words of a matte: a run of ones or zeros.
inline constexpr int kOnes = 0xC000;
inline constexpr int kZeros = 0x8000;

using SoftimageTest = WithFolder<TestDriver>;

// --- For fileDriverTest.cpp ----------------------------------------------------------------------

inline constexpr const char* kMe = "Softimage Filter";
inline constexpr const char* kEnding = ".pic";
inline constexpr const char* kSecondEnding = ".tag";
inline constexpr int kClosedAfterReading = 1;
inline constexpr bool kRefusedBoundsMoveTheOrigin = true;

inline int startWriting(TestDriver& driver, const std::string& path, int w, int h) {
    driver.tagChannelCount = 253; // 506 bytes a line
    return driver.write(path, w, h, path.ends_with(kSecondEnding) ? 1 : 0);
}

inline std::vector<Refusal> refusals(const support::TempDir& folder) {
    const auto pic = [&](const char* name, int w, int h, std::string_view packets) {
        return folder.write(name, picHeader(w, h, packets));
    };
    const auto tag = [&](const char* name, int channels) {
        return folder.write(name, support::tag(1, 1, channels));
    };
    std::filesystem::create_directory(folder / "sub.pic");
    return {
        {"FIFO without a reader", folder.fifo("out.pic"), 1, "' - No such device"},
        {"a folder to write", folder / "sub.pic", 1, "' - Is a directory"},
        {"name without ending", pic("bare", 1, 1, kRgbaRaw), 0, nullptr},
        {"PIC of width 0", pic("w.pic", 0, 1, kRgbaRaw), 0, "32767"},
        {"PIC of height -1", pic("h.pic", 1, 65535, kRgbaRaw), 0, "32767"},
        {"TAG of 0 channels", tag("0.tag", 0), 0, "253"},
        {"TAG of 254 channels", tag("254.tag", 254), 0, "253"},
        {"channels of 16 bits", pic("16.pic", 1, 1, "001000F0"), 0, "stores 16 bits per channel"},
        {"five packets", pic("5.pic", 1, 1, "01080080 01080040 01080020 01080010 00080010"), 0, ""},
        {"endless packets", pic("endless.pic", 1, 1, "010800E0"), 0, ""},
    };
}

/// A picture of mixed packets.
inline std::vector<Sample> samples() {
    Sample picture{"good.pic", picHeader(6, 4, kRgbaMixed), 112, {}};
    for (int y = 3; y >= 0; --y) {
        const int c = 16 * y + 1;
        picture.bytes += support::bytes({0x82, c, c + 1, c + 2}); // a run of three pixels
        picture.bytes += support::bytes({2, c, c, c, c, c, c + 4, c + 5, c + 6, c + 7});
        picture.bytes += support::bytes({0x85, c + 8});
        std::string line;
        for (int x = 0; x < 3; ++x) {
            line += support::bytes({c + 8, c + 2, c + 1, c});
        }
        line += support::bytes({c + 8, c, c, c, c + 8, c + 4, c, c, c + 8, c + 7, c + 6, c + 5});
        picture.lines.insert(picture.lines.begin(), line);
    }
    return {picture};
}

inline std::vector<Claim> claims() {
    return {{"mixed.pic", picHeader(32767, 32767, kRgbaMixed) + "xx"},
            {"raw.pic", picHeader(32767, 32767, kRgbaRaw)},
            {"channels.tag", support::tag(32767, 32767, 253) + "xx"}};
}
