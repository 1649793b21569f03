// SPDX-License-Identifier: MIT
#include "plotAxis.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace {

/// Beyond this doubles near float's largest would overflow when they are widened.
constexpr double kLargest = 1e100;

/// Smallest size of a range relative to its values, so that ticks can be told apart.
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

double PlotAxis::at(double share) const {
    return range_.least + share * range_.size();
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
    std::vector<PlotTick> ticks;
    const double first = std::ceil(range_.least / step);
    for (int i = 0; i <= most; ++i) {
        const double value = (first + i) * step;
        if (value > range_.most) {
            break;
        }
        ticks.push_back({value, fmt::format("{:.6g}", value == 0 ? 0.0 : value)});
    }
    return ticks;
}
