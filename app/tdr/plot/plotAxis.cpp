// SPDX-License-Identifier: MIT
#include "plotAxis.h"

#include "output/formatted.h"

#include <algorithm>
#include <cmath>

namespace {

/// Upper limit of values, so that widening a range cannot overflow.
constexpr double kLargest = 1e100;

/// Smallest size of a range relative to its values, so that ticks stay distinguishable.
constexpr double kFinest = 1e-9;

double roundStep(double atLeast) {
    const double power = std::pow(10.0, std::floor(std::log10(atLeast)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= atLeast * (1 - kFinest)) {
            return factor * power;
        }
    }
    return 10 * power;
}

/// Digits that write multiples of the step up to `largest` exactly, so that no two labels are
/// equal.
int digitsFor(double largest, double step) {
    constexpr double kUsual = 6;
    constexpr double kMost = 17;
    const double needed =
        std::floor(std::log10(largest)) - std::floor(std::log10(step * (1 + kFinest))) + 1;
    return static_cast<int>(std::clamp(needed, kUsual, kMost));
}

} // namespace

void PlotRange::add(double value) {
    if (!std::isfinite(value)) {
        return;
    }
    const double kept = std::clamp(value, -kLargest, kLargest);
    least = empty ? kept : std::min(least, kept);
    most = empty ? kept : std::max(most, kept);
    empty = false;
}

PlotRange PlotRange::widened(double share, double atLeast) const {
    const double scale = std::max(std::abs(least), std::abs(most));
    const double room = std::max({size() * share, atLeast, scale * kFinest * 1000});
    return {least - room, most + room, false};
}

PlotAxis::PlotAxis(const PlotRange& range, double from, double to)
    : range_(range), from_(from), to_(to) {
    if (!(range_.size() > 0)) {
        range_ = range_.widened(0, 1);
    }
}

double PlotAxis::place(double value) const {
    return from_ + (value - range_.least) / range_.size() * (to_ - from_);
}

double PlotAxis::labelWidth(int most) const {
    constexpr double kDigit = 7;
    std::size_t longest = 0;
    for (const PlotTick& tick : ticks(most)) {
        longest = std::max(longest, tick.label.size());
    }
    return static_cast<double>(longest) * kDigit;
}

std::vector<PlotTick> PlotAxis::ticks(int most) const {
    const double step = roundStep(range_.size() / std::max(most, 1));
    const int digits = digitsFor(std::max(std::abs(range_.least), std::abs(range_.most)), step);
    std::vector<PlotTick> ticks;
    const double first = std::ceil(range_.least / step);
    for (int i = 0; i <= most; ++i) {
        const double value = (first + i) * step;
        if (value > range_.most) {
            break;
        }
        ticks.push_back({value, formatted("{:.{}g}", value == 0 ? 0.0 : value, digits)});
    }
    return ticks;
}
