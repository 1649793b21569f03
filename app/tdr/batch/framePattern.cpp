// SPDX-License-Identifier: MIT
#include "framePattern.h"

#include "output/formatted.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace {

constexpr std::size_t kMostDigits = 99; ///< more in a name are no place for a number

/// A piece at the front of a name.
struct Piece {
    std::size_t size = 1;
    std::size_t digits = 0; ///< of a place for a number; 0: other text
    char text = 0;          ///< that the piece means
};

/// "%%", "%d" or "%04d"; any other percent sign means itself.
Piece afterPercent(std::string_view name) {
    if (name.starts_with("%%")) {
        return {2, 0, '%'};
    }
    std::size_t digits = 0;
    const char* const first = name.data() + 1;
    const char* const end = name.data() + name.size();
    const char* at = first;
    if (at != end && *at == '0') {
        at = std::from_chars(first, end, digits).ptr;
    }
    if (at == end || *at != 'd' || digits > kMostDigits) {
        return {1, 0, '%'};
    }
    return {static_cast<std::size_t>(at - name.data()) + 1, std::max<std::size_t>(digits, 1), 0};
}

Piece pieceOf(std::string_view name) {
    const char first = name.front();
    if (first == '%') {
        return afterPercent(name);
    }
    if (first == '#' || first == '@') {
        const std::size_t run = std::min(name.find_first_not_of(first), name.size());
        return {run, run, 0};
    }
    return {1, 0, first};
}

} // namespace

Outcome<std::optional<FramePattern>> FramePattern::parse(const std::filesystem::path& path) {
    FramePattern pattern;
    pattern.folder_ = path.parent_path();
    const std::string whole = path.filename().string();
    int places = 0;
    for (std::string_view rest = whole; !rest.empty();) {
        const Piece piece = pieceOf(rest);
        rest.remove_prefix(piece.size);
        if (piece.digits > 0) {
            pattern.digits_ = piece.digits;
            ++places;
        } else {
            (places == 0 ? pattern.before_ : pattern.after_) += piece.text;
        }
    }
    if (places > 1) {
        return Problem{ExitCode::Failed,
                       formatted("{}: has {} places for the number of a frame; a pattern has one",
                                 path.string(), places)};
    }
    return places == 1 ? std::optional(std::move(pattern)) : std::nullopt;
}

std::filesystem::path FramePattern::folder() const {
    return folder_.empty() ? "." : folder_;
}

std::string FramePattern::name(std::int32_t frame) const {
    return formatted("{}{:0{}}{}", before_, frame, digits_, after_);
}

std::string FramePattern::path(std::int32_t frame) const {
    return (folder_ / name(frame)).string();
}

std::optional<std::string_view> FramePattern::digitsIn(std::string_view name) const {
    if (name.size() <= before_.size() + after_.size() || !name.starts_with(before_) ||
        !name.ends_with(after_)) {
        return {};
    }
    name.remove_prefix(before_.size());
    name.remove_suffix(after_.size());
    const bool good = name.find_first_not_of("0123456789") == std::string_view::npos &&
                      (name.size() == digits_ || (name.size() > digits_ && name.front() != '0'));
    return good ? std::optional(name) : std::nullopt;
}

std::optional<std::int32_t> FramePattern::frameOf(std::string_view name) const {
    const std::string_view digits = digitsIn(name).value_or("");
    std::int32_t frame = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), frame);
    return error == std::errc() ? std::optional(frame) : std::nullopt;
}

bool FramePattern::isTooLarge(std::string_view name) const {
    return digitsIn(name) && !frameOf(name);
}
