// SPDX-License-Identifier: MIT
#include "salvage.h"

#include "lineSearch.h"

#include <algorithm>
#include <numeric>
#include <span>

namespace {

/// A change that is rare between lines that belong together.
constexpr double kOutlier = 3;

/// How many lines from the top and from the bottom to take.
struct Taken {
    std::int32_t fromTop = 0;
    std::int32_t fromBottom = 0;
};

/// The lines from the top, and why they end.
struct Top {
    LineChain chain;
    bool ended = false; ///< the bytes end there, and need not be damaged before
};

Top topOf(LinesAt& lines, std::int32_t height, const ZeroTail& zeros) {
    Top top{{{lines.position()}, {}}};
    LineChain& chain = top.chain;
    while (chain.count() < height && chain.add(lines)) {
        if (zeros.cover(chain.begin(chain.count() - 1), chain.end())) {
            chain.begins.pop_back();
            chain.steps.resize(chain.steps.size() - (chain.steps.empty() ? 0 : 1));
            top.ended = true;
            return top;
        }
    }
    top.ended = chain.count() == height || lines.position() >= std::ssize(lines.bytes());
    return top;
}

LineChain bottomOf(const ToolkitPicture& file, LinesAt& lines, std::int64_t begin) {
    const auto begins = findLastLines(lines.bytes(), begin, file.picture, file.chain.get());
    LineChain chain = LineChain::through(lines, begins);
    return chain.begins == begins ? chain : LineChain{{begins.back()}, {}};
}

/// Chooses by cost: the sum of all changes from line to line, where a lost line counts as two.
class Choice {
  public:
    Choice(LinesAt& lines, const Top& top, const LineChain& bottom, std::int32_t height,
           double least)
        : lines_(lines), top_(top.chain), bottom_(bottom), height_(height), least_(least),
          all_(top_.count() == height), ended_(top.ended),
          above_(changesOf(top_, Damage::After, least)),
          below_(changesOf(bottom, Damage::Before, least)), best_{top_.count(), 0},
          cost_(costOfTop(top_.count()) + kLost * (height - top_.count())) {}

    Taken make() {
        for (const std::int32_t fromTop : candidates()) {
            tryBelow(fromTop);
        }
        return best_;
    }

  private:
    static constexpr double kLost = 2;
    /// Against all but the lines from the top if they could be all that is there.
    static constexpr double kDoubt = 2;
    static constexpr double kSuspicious = 1.5; ///< a change that is looked at
    static constexpr std::size_t kMostPlaces = 64;
    /// Lines behind the damage, or before it, that are decoded wrongly: many are very unlikely.
    static constexpr std::int32_t kMostWrong = 8;

    [[nodiscard]] double costOfTop(std::int32_t count) const {
        return std::accumulate(above_.begin(), above_.begin() + std::max(count - 1, 0), 0.0);
    }
    [[nodiscard]] double costOfBottom(std::int32_t count) const {
        return std::accumulate(below_.end() - std::max(count - 1, 0), below_.end(), 0.0);
    }

    /// All lines from the top, or those before one that differs much from its neighbour.
    [[nodiscard]] std::vector<std::int32_t> candidates() const {
        std::vector<std::int32_t> lines;
        for (std::int32_t line = 1; line < top_.count(); ++line) {
            if (above_[static_cast<std::size_t>(line - 1)] > kSuspicious) {
                lines.push_back(line);
            }
        }
        std::ranges::stable_sort(lines, std::greater(), [this](std::int32_t line) {
            return above_[static_cast<std::size_t>(line - 1)];
        });
        lines.resize(std::min(lines.size(), kMostPlaces));
        std::vector<std::int32_t> all = {top_.count()};
        for (const std::int32_t line : lines) {
            all.insert(all.end(), {line, line - 1});
        }
        if (top_.count() == 1) {
            all.push_back(0);
        }
        return all;
    }

    void tryBelow(std::int32_t fromTop) {
        const auto first = std::ranges::lower_bound(bottom_.begins, top_.begin(fromTop));
        const auto skipped = static_cast<std::int32_t>(first - bottom_.begins.begin());
        std::int32_t below = std::min(bottom_.count() - skipped, height_ - fromTop);
        const double above = costOfTop(fromTop);
        for (std::int32_t i = 0; i <= kMostWrong && below > 0; ++i, --below) {
            propose({fromTop, below}, above + joint(fromTop, below) + costOfBottom(below));
        }
        if (bottom_.count() == 0 && top_.count() - fromTop <= kMostWrong) {
            propose({fromTop, 0}, above);
        }
    }

    /// The change from the last line above the damage to the first one below it.
    double joint(std::int32_t fromTop, std::int32_t below) {
        if (fromTop == 0) {
            return 0;
        }
        const std::int32_t line = bottom_.count() - below;
        const double usual = fromTop > 1 ? usualBeside(top_, Damage::After, fromTop)
                                         : usualBeside(bottom_, Damage::Before, line);
        return changeOf(lines_.difference(top_.begin(fromTop - 1), bottom_.begin(line)),
                        std::max(usual, least_));
    }

    void propose(Taken taken, double cost) {
        const std::int32_t count = taken.fromTop + taken.fromBottom;
        cost += kLost * (height_ - count) + (all_ ? 0 : ended_ ? kDoubt : 0);
        if (cost < cost_ && (all_ || !ended_ || count >= top_.count())) {
            cost_ = cost;
            best_ = taken;
        }
    }

    LinesAt& lines_;
    const LineChain& top_;
    const LineChain& bottom_;
    std::int32_t height_;
    double least_;
    bool all_; ///< lines are read from the top
    bool ended_;
    std::vector<double> above_; ///< the changes of the lines from the top
    std::vector<double> below_;
    Taken best_;
    double cost_;
};

/// Where lines are missing among those of a chain without a gap: where the change is largest, or at
/// the end.
std::int32_t guessedGap(const LineChain& chain, double least) {
    const auto changes = changesOf(chain, Damage::After, least);
    const auto largest = std::ranges::max_element(changes);
    return largest == changes.end() || *largest <= kOutlier
               ? chain.count()
               : static_cast<std::int32_t>(largest - changes.begin()) + 1;
}

SalvagedLines salvaged(const LineChain& top, const LineChain& bottom, Taken taken,
                       std::int32_t height) {
    SalvagedLines lines;
    lines.begins.assign(static_cast<std::size_t>(height), -1);
    std::copy_n(top.begins.begin(), taken.fromTop, lines.begins.begin());
    std::copy_n(bottom.begins.end() - 1 - taken.fromBottom, taken.fromBottom,
                lines.begins.end() - taken.fromBottom);
    lines.lostFirst = taken.fromTop;
    lines.lostEnd = height - taken.fromBottom;
    lines.damageBegin = top.begin(taken.fromTop);
    lines.damageEnd = bottom.begin(bottom.count() - taken.fromBottom);
    return lines;
}

} // namespace

SalvagedLines salvageLines(ToolkitPicture& file, LinesAt& lines, const ZeroTail& zeros) {
    const std::int32_t height = file.picture.height;
    const double least = file.picture.width;
    const std::int64_t begin = lines.position();
    const Top top = topOf(lines, height, zeros);
    const std::int64_t size = std::ssize(lines.bytes());
    if (top.chain.end() == size) { // nothing but whole lines is missing
        const std::int32_t gap = guessedGap(top.chain, least);
        const std::int32_t count = top.chain.count();
        return salvaged(top.chain, top.chain,
                        count == height ? Taken{height, 0} : Taken{gap, count - gap}, height);
    }
    const LineChain bottom = zeros.isThere() ? LineChain{{size}, {}} : bottomOf(file, lines, begin);
    return salvaged(top.chain, bottom, Choice(lines, top, bottom, height, least).make(), height);
}
