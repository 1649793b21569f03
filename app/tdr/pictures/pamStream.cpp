// SPDX-License-Identifier: MIT
#include "pamStream.h"

#include "base/hostPixel.h"
#include "base/limits.h"
#include "output/formatted.h"
#include "output/wholeWrite.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>

namespace {

constexpr std::size_t kLongestLine = 1024; ///< of a header
constexpr int kMostLines = 100;            ///< of a header
constexpr std::int32_t kLargestByte = 255;
constexpr std::int32_t kLargestSample = 65535;
constexpr std::int32_t kMostSamples = 4;

/// The words of a header that give a number.
constexpr std::pair<std::string_view, std::int32_t PamHeader::*> kNumbers[] = {
    {"WIDTH", &PamHeader::width},
    {"HEIGHT", &PamHeader::height},
    {"DEPTH", &PamHeader::depth},
    {"MAXVAL", &PamHeader::largest},
};

/// What the samples of a pixel mean, and how many there are.
constexpr std::pair<std::string_view, std::int32_t> kTypes[] = {
    {"BLACKANDWHITE", 1},       {"GRAYSCALE", 1},       {"RGB", 3},
    {"BLACKANDWHITE_ALPHA", 2}, {"GRAYSCALE_ALPHA", 2}, {"RGB_ALPHA", 4},
};

constexpr std::string_view kBlanks = " \t\r";

/// "WORD value" without the blanks around the value.
std::pair<std::string_view, std::string_view> wordAndValue(std::string_view line) {
    line = line.substr(0, line.find_last_not_of(kBlanks) + 1);
    const std::size_t end = std::min(line.find_first_of(kBlanks), line.size());
    const std::size_t value = std::min(line.find_first_not_of(kBlanks, end), line.size());
    return {line.substr(0, end), line.substr(value)};
}

/// Reads the number of a word that gives one; false if it is malformed. Other words are passed
/// over.
bool readNumber(std::string_view word, std::string_view value, PamHeader& header) {
    const auto row =
        std::ranges::find(kNumbers, word, [](const auto& number) { return number.first; });
    if (row == std::end(kNumbers)) {
        return true;
    }
    const char* const end = value.data() + value.size();
    const auto [rest, error] = std::from_chars(value.data(), end, header.*(row->second));
    return error == std::errc() && rest == end;
}

/// A picture need not say its type.
bool isKnownType(std::string_view type, std::int32_t depth) {
    return type.empty() || std::ranges::find(kTypes, std::pair(type, depth)) != std::end(kTypes);
}

bool isGood(const PamHeader& header) {
    return base::isPictureSide(header.width) && base::isPictureSide(header.height) &&
           header.depth >= 1 && header.depth <= kMostSamples && header.largest >= 1 &&
           header.largest <= kLargestSample;
}

} // namespace

Problem PamReader::problem(std::string_view what) const {
    return {ExitCode::Failed, formatted("{}: {}", name_, what)};
}

/// Makes `size` bytes available from `at_` on; false if the stream ends before.
Outcome<bool> PamReader::fill(std::size_t size) {
    if (bytes_.size() - at_ >= size) {
        return true;
    }
    bytes_.erase(0, at_);
    at_ = 0;
    while (bytes_.size() < size) {
        std::array<char, 1 << 16> some{};
        const ssize_t got = readSome(fd_, some.data(), some.size());
        if (got < 0) {
            return problemWith(name_, errno);
        }
        if (got == 0) {
            return false;
        }
        bytes_.append(some.data(), static_cast<std::size_t>(got));
    }
    return true;
}

Outcome<std::string> PamReader::headerLine() {
    for (std::size_t size = 1; size <= kLongestLine; ++size) {
        const auto there = fill(size);
        if (!there) {
            return there.failure();
        }
        if (!*there) {
            return problem("ends inside a PAM header");
        }
        if (bytes_[at_ + size - 1] == '\n') {
            std::string line = bytes_.substr(at_, size - 1);
            at_ += size;
            return line;
        }
    }
    return problem("a line of a PAM header is too long");
}

Outcome<void> PamReader::checkHeader(const std::string& type) const {
    const std::string samples = counted(header_.depth, "sample");
    if (!isGood(header_)) {
        return problem(formatted("a PAM picture of {} x {} pixels with {} up to {} cannot be read",
                                 header_.width, header_.height, samples, header_.largest));
    }
    return isKnownType(type, header_.depth)
               ? Outcome<void>()
               : problem(formatted("a PAM picture of type {} with {} a pixel cannot be read", type,
                                   samples));
}

Outcome<void> PamReader::readHeader() {
    header_ = {};
    std::string type;
    for (int lines = 0; lines < kMostLines; ++lines) {
        const auto line = headerLine();
        if (!line) {
            return line.failure();
        }
        if (line->starts_with("ENDHDR")) {
            return checkHeader(type);
        }
        const auto [word, value] = wordAndValue(*line);
        if (word == "TUPLTYPE") { // several lines are one type
            type += (type.empty() ? "" : " ") + std::string(value);
        } else if (!readNumber(word, value, header_)) {
            return problem("a number in a PAM header is malformed");
        }
    }
    return problem("a PAM header has no end");
}

Outcome<std::optional<PamHeader>> PamReader::next() {
    std::vector<std::uint8_t> unused(
        left_ > 0 ? static_cast<std::size_t>(header_.width) * base::kHostPixelBytes : 0);
    while (left_ > 0) {
        if (const auto passed = readLine(unused); !passed) {
            return passed.failure();
        }
    }
    const auto more = fill(1);
    if (!more) {
        return more.failure();
    }
    if (!*more) {
        return std::optional<PamHeader>();
    }
    const auto magic = fill(3);
    if (!magic) {
        return magic.failure();
    }
    if (!*magic || bytes_.compare(at_, 3, "P7\n") != 0) {
        return problem("not a PAM picture");
    }
    at_ += 3;
    if (const auto read = readHeader(); !read) {
        return read.failure();
    }
    left_ = header_.height;
    return std::optional(header_);
}

Outcome<void> PamReader::readLine(std::span<std::uint8_t> line) {
    const auto depth = static_cast<std::size_t>(header_.depth);
    const std::size_t wide = header_.largest > kLargestByte ? 2 : 1;
    const auto width = static_cast<std::size_t>(header_.width);
    const auto there = fill(width * depth * wide);
    if (!there) {
        return there.failure();
    }
    if (!*there) {
        return problem(
            formatted("ends inside a PAM picture, {} before its end", counted(left_, "line")));
    }
    const auto* at = reinterpret_cast<const std::uint8_t*>(bytes_.data() + at_);
    const auto sample = [&] {
        const int value = wide == 2 ? at[0] << 8 | at[1] : at[0];
        at += wide;
        const int most = header_.largest;
        return static_cast<std::uint8_t>(
            most == kLargestByte ? value
                                 : (std::min(value, most) * kLargestByte + most / 2) / most);
    };
    for (std::size_t x = 0; x < width; ++x) {
        std::uint8_t* pixel = &line[x * base::kHostPixelBytes];
        pixel[3] = sample();
        pixel[2] = depth < 3 ? pixel[3] : sample();
        pixel[1] = depth < 3 ? pixel[3] : sample();
        pixel[0] = depth % 2 == 0 ? sample() : kLargestByte;
    }
    at_ += width * depth * wide;
    --left_;
    return {};
}

std::string pamHeader(std::int32_t width, std::int32_t height) {
    return formatted("P7\nWIDTH {}\nHEIGHT {}\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n",
                     width, height);
}

void addPamLine(std::span<const std::uint8_t> line, std::string& bytes) {
    for (std::size_t at = 0; at < line.size(); at += base::kHostPixelBytes) {
        for (std::size_t i = base::kHostPixelBytes; i-- > 0;) {
            bytes += static_cast<char>(line[at + i]);
        }
    }
}
