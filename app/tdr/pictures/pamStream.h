// SPDX-License-Identifier: MIT
// PAM pictures in a stream, one after another: the form in which programs pass pictures through
// pipes.
#pragma once

#include "output/outcome.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The header of one picture.
struct PamHeader {
    std::int32_t width = 0;
    std::int32_t height = 0;
    std::int32_t depth = 0;   ///< samples a pixel: grey, grey and alpha, RGB, RGB and alpha
    std::int32_t largest = 0; ///< value of a sample, to 65535; two bytes each above 255
};

/// Reads pictures of 1 to 4 samples a pixel from a descriptor.
class PamReader {
  public:
    /// `name` is the user's name of the stream.
    PamReader(int fd, std::string name) : fd_(fd), name_(std::move(name)) {}

    /// Reads the header of the next picture, after what is left of the last one; none at the end of
    /// the stream.
    Outcome<std::optional<PamHeader>> next();

    /// Reads the next line from the top into pixels of alpha, blue, green and red.
    Outcome<void> readLine(std::span<std::uint8_t> line);

    [[nodiscard]] const std::string& name() const { return name_; }
    [[nodiscard]] const PamHeader& header() const { return header_; }
    /// Lines of the picture that have not been read.
    [[nodiscard]] std::int32_t left() const { return left_; }

  private:
    Outcome<bool> fill(std::size_t size);
    Outcome<std::string> headerLine();
    Outcome<void> readHeader();
    [[nodiscard]] Outcome<void> checkHeader(const std::string& type) const;
    [[nodiscard]] Problem problem(std::string_view what) const;

    int fd_;
    std::string name_;
    std::string bytes_; ///< read but not used, from `at_` on
    std::size_t at_ = 0;
    PamHeader header_;
    std::int32_t left_ = 0;
};

/// The header of a picture with red, green, blue and alpha of 8 bits.
[[nodiscard]] std::string pamHeader(std::int32_t width, std::int32_t height);

/// Adds a line of alpha, blue, green and red to `bytes` in the order of such a picture.
void addPamLine(std::span<const std::uint8_t> line, std::string& bytes);
