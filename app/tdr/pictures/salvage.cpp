// SPDX-License-Identifier: MIT
#include "salvage.h"

#include "lineSearch.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace {

/// Line beginnings, and how much each line differs from the one after it.
struct Chain {
    std::vector<std::int64_t> begins; ///< of the lines, and the end of the last one
    std::vector<double> steps;        ///< between neighbours: one less than the lines

    [[nodiscard]] std::int32_t count() const {
        return static_cast<std::int32_t>(begins.size()) - 1;
    }
};

double difference(LinesAt& lines) {
    const auto a = lines.channels(0);
    const auto b = lines.channels(1);
    std::uint32_t sum = 0; // at most 4 x 32767 x 255
    for (std::size_t i = 0; i < a.size(); ++i) {
        sum += static_cast<std::uint32_t>(std::abs(a[i] - b[i]));
    }
    return sum;
}

double differenceOf(LinesAt& lines, std::int64_t a, std::int64_t b) {
    lines.read(a, 0);
    lines.read(b, 1);
    return difference(lines);
}

Chain fromTop(LinesAt& lines, std::int64_t begin, std::int32_t height) {
    Chain chain{{begin}, {}};
    while (chain.count() < height && lines.read(chain.begins.back(), chain.count() % 2)) {
        if (chain.count() > 0) {
            chain.steps.push_back(difference(lines));
        }
        chain.begins.push_back(lines.position());
    }
    return chain;
}

Chain fromBottom(LinesAt& lines, std::vector<std::int64_t> begins) {
    Chain chain{std::move(begins), {}};
    for (std::int32_t line = 0; line < chain.count(); ++line) {
        lines.read(chain.begins[static_cast<std::size_t>(line)], line % 2);
        if (line > 0) {
            chain.steps.push_back(difference(lines));
        }
    }
    return chain;
}

double medianOf(const Chain& a, const Chain& b) {
    std::vector<double> all = a.steps;
    all.insert(all.end(), b.steps.begin(), b.steps.end());
    const auto middle = all.begin() + static_cast<std::ptrdiff_t>(all.size() / 2);
    std::nth_element(all.begin(), middle, all.end());
    return all.empty() ? 0 : *middle;
}

/// How many lines from the top and from the bottom to take.
class Choice {
  public:
    Choice(LinesAt& lines, const Chain& top, const Chain& bottom, std::int32_t height)
        : lines_(lines), top_(top), bottom_(bottom), height_(height),
          lostLine_(2 * medianOf(top, bottom) + 1) {}

    /// The best: the fewest changes from line to line, where a lost line counts as one.
    void make() {
        double above = 0; // steps between the lines from the top that are not taken
        for (std::int32_t fromTop = top_.count(); fromTop >= 0; --fromTop) {
            tryBelow(fromTop, -above);
            if (fromTop >= 2) {
                above += top_.steps[static_cast<std::size_t>(fromTop - 2)];
            }
            if (top_.count() - fromTop > kMostWrong && fromTop + bottom_.count() < height_) {
                return;
            }
        }
    }
    [[nodiscard]] std::int32_t fromTop() const { return fromTop_; }
    [[nodiscard]] std::int32_t fromBottom() const { return fromBottom_; }

  private:
    /// Lines behind the damage that are decoded wrongly: many are very unlikely.
    static constexpr std::int32_t kMostWrong = 64;
    static constexpr std::int32_t kMostWrongBelow = 8;

    void tryBelow(std::int32_t fromTop, double cost) {
        const std::int64_t end = top_.begins[static_cast<std::size_t>(fromTop)];
        const auto first = std::ranges::lower_bound(bottom_.begins, end);
        const auto skipped = static_cast<std::int32_t>(first - bottom_.begins.begin());
        std::int32_t below = std::min(bottom_.count() - skipped, height_ - fromTop);
        double steps = 0; // between the lines from the bottom that are not taken
        for (std::int32_t i = bottom_.count() - below; i > 0; --i) {
            steps += bottom_.steps.size() >= static_cast<std::size_t>(i)
                         ? bottom_.steps[static_cast<std::size_t>(i - 1)]
                         : 0;
        }
        for (std::int32_t i = 0; i <= kMostWrongBelow && below >= 0; ++i, --below) {
            propose(fromTop, below, cost - steps + joint(fromTop, below));
            const auto next = static_cast<std::size_t>(bottom_.count() - below);
            steps += next < bottom_.steps.size() ? bottom_.steps[next] : 0;
        }
    }

    /// The change from the last line above the damage to the first one below it.
    double joint(std::int32_t fromTop, std::int32_t below) {
        return fromTop == 0 || below <= 0
                   ? 0
                   : differenceOf(
                         lines_, top_.begins[static_cast<std::size_t>(fromTop - 1)],
                         bottom_.begins[static_cast<std::size_t>(bottom_.count() - below)]);
    }

    void propose(std::int32_t fromTop, std::int32_t below, double cost) {
        const double whole = cost + lostLine_ * (height_ - fromTop - below);
        if (!made_ || whole < best_) {
            made_ = true;
            best_ = whole;
            fromTop_ = fromTop;
            fromBottom_ = below;
        }
    }

    LinesAt& lines_;
    const Chain& top_;
    const Chain& bottom_;
    std::int32_t height_;
    double lostLine_;
    bool made_ = false;
    double best_ = 0;
    std::int32_t fromTop_ = 0;
    std::int32_t fromBottom_ = 0;
};

} // namespace

Outcome<LinesAt> LinesAt::of(ToolkitPicture& file, const std::string& name) {
    LinesAt lines(file);
    lines.reader_.reset(pictureReaderAllocate(file.stream.get()));
    if (lines.reader_ == nullptr) {
        return problemWith(name, errno);
    }
    for (std::vector<std::uint8_t>& line : lines.lines_) {
        line.resize(static_cast<std::size_t>(file.picture.width) * kPictureChannels);
    }
    return lines;
}

bool LinesAt::read(std::int64_t begin, int slot) {
    std::uint8_t* to = lines_[slot].data();
    for (std::uint8_t*& line : file_->picture.linePointers) {
        line = to;
        to += file_->picture.width;
    }
    return pictureReaderSeek(reader_.get(), begin) != 0 &&
           pictureReaderScanline(reader_.get(), &file_->picture, file_->chain.get()) != 0;
}

SalvagedLines salvageLines(ToolkitPicture& file, LinesAt& lines,
                           std::span<const std::uint8_t> bytes) {
    const std::int32_t height = file.picture.height;
    const std::int64_t begin = lines.position();
    const Chain top = fromTop(lines, begin, height);
    const bool whole = top.count() == height;
    const Chain bottom =
        whole ? Chain{{top.begins.back()}, {}}
              : fromBottom(lines, findLastLines(bytes, begin, file.picture, file.chain.get()));
    Choice choice(lines, top, bottom, height);
    choice.make();
    SalvagedLines salvaged;
    salvaged.begins.assign(static_cast<std::size_t>(height), -1);
    std::copy_n(top.begins.begin(), choice.fromTop(), salvaged.begins.begin());
    std::copy_n(bottom.begins.end() - 1 - choice.fromBottom(), choice.fromBottom(),
                salvaged.begins.end() - choice.fromBottom());
    salvaged.lostFirst = choice.fromTop();
    salvaged.lostEnd = height - choice.fromBottom();
    salvaged.damageBegin = top.begins[static_cast<std::size_t>(choice.fromTop())];
    salvaged.damageEnd = *(bottom.begins.end() - 1 - choice.fromBottom());
    return salvaged;
}
