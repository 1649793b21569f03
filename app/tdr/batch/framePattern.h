// SPDX-License-Identifier: MIT
// File names with a place for a frame's number.
#pragma once

#include "output/outcome.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

/// A path whose last part has one place for a number: "%d" or "@" for its digits, "%04d", "####" or
/// "@@@@" for four digits or more. In such a name "%%" is a percent sign.
class FramePattern {
  public:
    /// None if `path` has no such place; a problem if it has several.
    static Outcome<std::optional<FramePattern>> parse(const std::filesystem::path& path);

    /// The folder of the files; "." if the path names none.
    [[nodiscard]] std::filesystem::path folder() const;

    /// The path of a frame, which is not negative.
    [[nodiscard]] std::string path(std::int32_t frame) const;

    /// The frame with the file name `name`, which has exactly the digits that `path` writes; none
    /// if it is another file's name.
    [[nodiscard]] std::optional<std::int32_t> frameOf(std::string_view name) const;

    /// True if the file name `name` has a number in the place that is no frame's: the largest is
    /// 2147483647.
    [[nodiscard]] bool isTooLarge(std::string_view name) const;

  private:
    [[nodiscard]] std::optional<std::string_view> digitsIn(std::string_view name) const;
    [[nodiscard]] std::string name(std::int32_t frame) const;

    std::filesystem::path folder_;
    std::string before_;
    std::string after_;
    std::size_t digits_ = 0; ///< at least
};
