// SPDX-License-Identifier: MIT
// Axes: map values to positions in the drawing, with ticks at round numbers.
#pragma once

#include <string>
#include <vector>

/// A range of values. `add` extends it; values that are not finite are ignored.
struct PlotRange {
    double least = 0;
    double most = 0;
    bool empty = true;

    void add(double value);
    bool operator==(const PlotRange&) const = default;
    /// The range with a margin: `share` of its size at each end, at least `atLeast`; around 0 when
    /// it is empty.
    [[nodiscard]] PlotRange widened(double share, double atLeast) const;
    [[nodiscard]] double size() const { return most - least; }
};

struct PlotTick {
    double value;
    std::string label;
};

/// A linear scale: `range.least` is at `from`, `range.most` at `to`.
class PlotAxis {
  public:
    PlotAxis(const PlotRange& range, double from, double to);

    [[nodiscard]] double place(double value) const;
    /// Pixels for one unit of value; negative where the axis runs upwards.
    [[nodiscard]] double perUnit() const { return (to_ - from_) / range_.size(); }
    [[nodiscard]] const PlotRange& range() const { return range_; }
    [[nodiscard]] double from() const { return from_; }
    [[nodiscard]] double to() const { return to_; }

    /// Width in pixels of the labels of these ticks in the drawings' tick style.
    [[nodiscard]] double labelWidth(int most) const;

    /// At most `most` ticks at multiples of 1, 2 or 5 times a power of ten.
    [[nodiscard]] std::vector<PlotTick> ticks(int most) const;

  private:
    PlotRange range_;
    double from_;
    double to_;
};
