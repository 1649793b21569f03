// SPDX-License-Identifier: MIT
// The PNG filter for its own tests and for those of every driver of files.
#pragma once

#include "TDR_PngFilter.h"
#include "drivers/fileDriver.h"
#include "pngFiles.h"

class TestDriver : public FileDriver<TDR_PngFilter> {};

using PngFilterTest = WithFolder<TestDriver>;

// --- For fileDriverTest.cpp ----------------------------------------------------------------------

inline constexpr const char* kMe = "PNG Filter";
inline constexpr const char* kEnding = ".png";
inline constexpr const char* kSecondEnding = "without"; // the name is used unchanged
inline constexpr int kClosedAfterReading = 0;
inline constexpr bool kRefusedBoundsMoveTheOrigin = false;

inline int startWriting(TestDriver& driver, const std::string& path, int w, int h) {
    return driver.write(path, w, h);
}

inline std::vector<Refusal> refusals(const support::TempDir& folder) {
    constexpr const char* kSize = "outside 1 to 32767";
    const std::string png = makePng({2, 2});
    return {
        {"FIFO without a reader", folder.fifo("out.png"), 1, "No such device"},
        {"half a signature", folder.write("half.png", png.substr(0, 7)), 0, nullptr},
        {"signature only", folder.write("sig.png", png.substr(0, 8)), 0, "Unable to open"},
        {"a folder", folder / ".", 0, nullptr},
        {"a folder to write", folder / ".", 1, "directory"},
        {"width 0", folder.write("w0.png", withSize(png, 0, 2)), 0, kSize},
        {"width 32768", folder.write("w1.png", withSize(png, 32768, 2)), 0, kSize},
        {"height 32768", folder.write("h1.png", withSize(png, 2, 32768)), 0, kSize},
    };
}

inline std::vector<Sample> samples() {
    std::vector<Sample> all;
    for (const PngKind& kind : {PngKind{5, 6, PNG_COLOR_TYPE_RGB_ALPHA, 8},
                                {5, 6, PNG_COLOR_TYPE_PALETTE, 4, false, true},
                                {5, 6, PNG_COLOR_TYPE_GRAY, 8, true}}) {
        const std::string bytes = makePng(kind);
        const std::size_t head = bytes.find("IDAT") + 4; // where the rows begin
        all.push_back({"type" + std::to_string(kind.colour) + ".png", bytes, head, hostLines(bytes),
                       !kind.interlaced});
    }
    return all;
}

/// Valid headers of the largest sizes before data for a small picture.
inline std::vector<Claim> claims() {
    const std::string interlaced = makePng({8, 8, PNG_COLOR_TYPE_RGB_ALPHA, 8, true});
    return {{"a.png", withSize(makePng({8, 8}), 32767, 32767)},
            {"b.png", withSize(interlaced, 11000, 11000)},
            {"c.png", withSize(interlaced, 32767, 32767), false},
            {"chunk.png", makePng({1, 1}).substr(0, 33) + "\x7F\xFF\xFF\xFFtEXtmore", false}};
}
