// SPDX-License-Identifier: MIT
#include "frameSet.h"

#include "output/formatted.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <utility>

namespace {

constexpr std::size_t kMostFrames = 1'000'000;
constexpr std::int64_t kLastFrame = std::numeric_limits<std::int32_t>::max();

/// Takes a number that is not negative from the front of `text`.
std::optional<std::int64_t> takeNumber(std::string_view& text) {
    std::int64_t number = 0;
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error == std::errc::invalid_argument || number < 0) {
        return {};
    }
    text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
    return error == std::errc() ? number : std::numeric_limits<std::int64_t>::max();
}

/// Takes a number behind `sign`, or returns `otherwise` if the sign is missing.
std::optional<std::int64_t> takeAfter(char sign, std::string_view& text, std::int64_t otherwise) {
    if (!text.starts_with(sign)) {
        return otherwise;
    }
    text.remove_prefix(1);
    return takeNumber(text);
}

/// What is wrong with a range; empty if it has been added.
std::string addRange(std::string_view text, Frames& frames) {
    const std::string range(text);
    const auto first = takeNumber(text);
    const char stepSign = text.starts_with('-') ? 'x' : '\0'; // only a range has a step
    const auto last = first ? takeAfter('-', text, *first) : first;
    const auto step = last ? takeAfter(stepSign, text, 1) : last;
    if (!step || !text.empty()) {
        return "frames are A, A-B or A-BxSTEP, separated by commas";
    }
    if (*last < *first || *step == 0) {
        return "a range of frames goes up, by at least 1: " + range;
    }
    if (std::max(*last, *step) > kLastFrame) {
        return formatted("a frame is at most {}: {}", kLastFrame, range);
    }
    if (frames.size() + static_cast<std::size_t>((*last - *first) / *step) >= kMostFrames) {
        return formatted("more than {} frames: {}", kMostFrames, range);
    }
    for (std::int64_t frame = *first; frame <= *last; frame += *step) {
        frames.push_back(static_cast<std::int32_t>(frame));
    }
    return {};
}

/// A list of ranges as text, up to a limit.
class RangeList {
  public:
    explicit RangeList(std::size_t most) : left_(most) {}
    void add(std::int32_t first, std::int32_t last) {
        if (left_ == 0) {
            text_ += more_ ? "" : " and more";
            more_ = true;
            return;
        }
        --left_;
        text_ += text_.empty() ? "" : ", ";
        text_ += first == last ? formatted("{}", first) : formatted("{}-{}", first, last);
    }
    [[nodiscard]] const std::string& text() const { return text_; }

  private:
    std::size_t left_;
    std::string text_;
    bool more_ = false;
};

} // namespace

Outcome<Frames> parseFrames(std::string_view text) {
    Frames frames;
    for (;;) {
        const std::size_t comma = text.find(',');
        if (std::string problem = addRange(text.substr(0, comma), frames); !problem.empty()) {
            return Problem{ExitCode::Usage, std::move(problem)};
        }
        if (comma == std::string_view::npos) {
            break;
        }
        text.remove_prefix(comma + 1);
    }
    std::ranges::sort(frames);
    frames.erase(std::unique(frames.begin(), frames.end()), frames.end());
    return frames;
}

std::string textOf(std::span<const std::int32_t> frames, std::size_t most) {
    RangeList list(most);
    for (std::size_t i = 0; i < frames.size();) {
        const std::size_t first = i++;
        while (i < frames.size() && frames[i] - 1 == frames[i - 1]) {
            ++i;
        }
        list.add(frames[first], frames[i - 1]);
    }
    return list.text();
}

std::string gapsIn(std::span<const std::int32_t> frames, std::size_t most) {
    RangeList list(most);
    for (std::size_t i = 1; i < frames.size(); ++i) {
        if (frames[i] - 1 > frames[i - 1]) {
            list.add(frames[i - 1] + 1, frames[i] - 1);
        }
    }
    return list.text();
}
