// SPDX-License-Identifier: MIT
// A filter, usually without a link, whose inner state can be seen, and files built byte by byte.
#pragma once

#include "TDR_SoftimageFilter.h"
#include "support/captureStderr.h"
#include "support/tempDir.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

/// The filter, driven as the framework drives it: blocks have a real size, the name is in fileName.
class TestFilter : public TDR_SoftimageFilter {
  public:
    explicit TestFilter(int port = 0) : TDR_SoftimageFilter(port) {}

    using TDR_SoftimageFilter::accessModes;
    using TDR_SoftimageFilter::bounds;
    using TDR_SoftimageFilter::currentFormat;
    using TDR_SoftimageFilter::data;
    using TDR_SoftimageFilter::formatCount;
    using TDR_SoftimageFilter::formatName;
    using TDR_SoftimageFilter::isOpen;
    using TDR_SoftimageFilter::lastWrittenLine;
    using TDR_SoftimageFilter::lineOffsets;
    using TDR_SoftimageFilter::me;
    using TDR_SoftimageFilter::namingExtension;
    using TDR_SoftimageFilter::namingFlag;
    using TDR_SoftimageFilter::namingPrefix;
    using TDR_SoftimageFilter::namingTemplate;
    using TDR_SoftimageFilter::tag;
    using TDR_SoftimageFilter::tagChannelCount;
    using TDR_SoftimageFilter::vendorName;
    using TDR_SoftimageFilter::writeDirection;

    int postWrites = 0;
    int executePostWriteCommand() override {
        ++postWrites;
        return 0;
    }

    int connect(const std::string& path, int mode) {
        std::snprintf(fileName, sizeof fileName, "%s", path.c_str());
        return connectToFile(fileName, mode);
    }
    int read(const std::string& path) { return connect(path, 0); }
    int write(const std::string& path, long w, long h, int format = 0) {
        return setPixelFormat(format) == 0 && setBounds(0, 0, w, h) == 0 ? connect(path, 1) : -1;
    }

    int get(std::string& block, long y) {
        return with(block.size(), [&] { return getLine(block.data(), 0, 0, y); });
    }
    int put(std::string block, long y) {
        return with(block.size(), [&] { return putLine(block.data(), 0, 0, y); });
    }
    int getAll(std::string& block) {
        return with(block.size(), [&] { return getCache(block.data(), 0, 0); });
    }
    int putAll(std::string block) {
        return with(block.size(), [&] { return putCache(block.data(), 0, 0); });
    }

    /// Line `y` as the driver gives it into a block filled with `before`; "?" on an error.
    std::string line(long y, char before = 0) {
        std::string block(static_cast<std::size_t>(bounds[2]) * 4, before);
        return get(block, y) == 0 ? block : "?";
    }

  private:
    template <typename Operation>
    int with(std::size_t bytes, Operation operation) {
        blockBytes = bytes;
        const int result = operation();
        blockBytes = 0;
        return result;
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

inline std::string be16(int value) {
    return {static_cast<char>(value >> 8), static_cast<char>(value)};
}

/// The first 104 bytes of a PIC or TAG; `last` is the padding or the channel count.
inline std::string fileHeader(std::string_view type, int w, int h, int last) {
    return bytes("5380F634 40266666") + "No comment..." + std::string(67, '\0') +
           std::string(type) + be16(w) + be16(h) + bytes("3F800000 0003") + be16(last);
}

inline std::string picHeader(int w, int h, std::string_view packetsHex) {
    return fileHeader("PICT", w, h, 0) + bytes(packetsHex);
}

/// Packets of a file that the driver writes: RGB, then A, both mixed.
inline constexpr std::string_view kRgbaMixed = "010802E0 00080210";
inline constexpr std::string_view kRgbaRaw = "000800F0";

inline std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline auto linesIn(const std::string& text) {
    return std::count(text.begin(), text.end(), '\n');
}

/// A host line of `w` RGBA pixels, different for each `seed`, with runs and without.
inline std::string hostLine(int w, int seed) {
    std::string line;
    for (int i = 0; i < w * 4; ++i) {
        line += static_cast<char>(seed * 16 + (i % 4) * 3 + (i / 12) % 5);
    }
    return line;
}

class FilterTest : public testing::Test {
  protected:
    support::TempDir folder;
    TestFilter filter;
};
