// SPDX-License-Identifier: MIT
// A number as text, the same in every locale.
#pragma once

#include <charconv>
#include <cstdint>
#include <string_view>

class NumberText {
  public:
    /// As "%g", with 6 significant digits.
    explicit NumberText(double value);

    /// As "%.9g", which every float needs at most.
    [[nodiscard]] static NumberText exact(double value) {
        return {value, std::chars_format::general, 9};
    }

    /// As "%.*f" with that many decimals, at most 60.
    NumberText(double value, int decimals);

    /// As "%d".
    explicit NumberText(std::int64_t value) {
        end(std::to_chars(text_, text_ + sizeof text_ - 1, value).ptr);
    }

    [[nodiscard]] std::string_view view() const { return {text_, size_}; }
    [[nodiscard]] const char* c_str() const { return text_; }

  private:
    NumberText(double value, std::chars_format format, int digits) {
        convert(value, format, digits);
    }
    void convert(double value, std::chars_format format, int digits) {
        end(std::to_chars(text_, text_ + sizeof text_ - 1, value, format, digits).ptr);
    }
    void end(char* end) {
        *end = '\0';
        size_ = static_cast<std::size_t>(end - text_);
    }

    char text_[384]; ///< room for the largest double and 60 decimals
    std::size_t size_ = 0;
};
