// SPDX-License-Identifier: MIT
#include "plotSamples.h"

#include "scene/sceneWalk.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>

namespace {

/// Samples over the whole width, slightly more than pixels.
constexpr int kSteps = 800;

/// Columns of a band, about one a pixel.
constexpr int kColumns = 640;

/// Maximum number of turns of a line; more than pixels cannot be distinguished.
constexpr double kMostTurns = 2000;

/// Minimum width of a distinguishable cycle in columns.
constexpr double kFastest = 12;

constexpr float kInfinity = std::numeric_limits<float>::infinity();

double valueAt(const Fcurve& curve, float time) {
    return curve.type == kFcurveModelAlgorithm ? fcurveIntegerValue(&curve, time, 0)
                                               : static_cast<double>(fcurveValue(&curve, time));
}

bool isKnown(std::int16_t extrapolation) {
    return extrapolation >= kExtrapolateConstant && extrapolation <= kExtrapolateCycle;
}

/// Frames around the last possible times go past them.
float nearestTime(double frame) {
    constexpr auto kLast = static_cast<double>(std::numeric_limits<float>::max());
    return static_cast<float>(std::clamp(frame, -kLast, kLast));
}

/// Adds the times at which the spline segment from `a` to `b` turns: where its derivative, a
/// quadratic, is 0.
void addTurns(std::vector<float>& times, const FcvKey& a, const FcvKey& b) {
    const double length = static_cast<double>(b.time) - static_cast<double>(a.time);
    const double rise = static_cast<double>(b.value) - static_cast<double>(a.value);
    const double leave = static_cast<double>(a.rightSlope) * length;
    const double arrive = static_cast<double>(b.leftSlope) * length;
    const double square = 3 * (leave + arrive - 2 * rise);
    const double linear = 2 * (3 * rise - 2 * leave - arrive);
    const double root = std::sqrt(linear * linear - 4 * square * leave);
    // Both solutions in the numerically stable form; a division by 0 gives none.
    const double sum = -(linear + std::copysign(root, linear)) / 2;
    for (const double share : {sum / square, leave / sum}) {
        if (share > 0 && share < 1) {
            times.push_back(static_cast<float>(static_cast<double>(a.time) + share * length));
        }
    }
}

/// The times within one passage through the keys, ascending, between which the curve is monotonic;
/// none if the keys are not in order.
std::vector<float> turnsOf(const Fcurve& curve) {
    std::vector<float> times;
    const auto keys = keysOf(curve);
    if (curve.ascending == 0) {
        return times;
    }
    for (std::size_t i = 0; i < keys.size(); ++i) {
        times.push_back(std::nextafter(keys[i].time, -kInfinity)); // the end of a step
        times.push_back(keys[i].time);
        if (i + 1 < keys.size() && keys[i].interpolation == kInterpolateSpline) {
            addTurns(times, keys[i], keys[i + 1]);
        }
    }
    std::erase_if(times, [&](float time) { return time < keys.front().time; });
    std::ranges::sort(times);
    times.erase(std::unique(times.begin(), times.end()), times.end());
    return times;
}

/// Adds a sample; of several equal values in a row only the outer ones are kept.
void add(std::vector<PlotSample>& samples, PlotSample sample) {
    const std::size_t count = samples.size();
    if (count >= 2 && samples[count - 1].value == sample.value &&
        samples[count - 2].value == sample.value) {
        samples.back() = sample;
    } else {
        samples.push_back(sample);
    }
}

/// Collects the pieces of one curve.
class Sampler {
  public:
    Sampler(const Fcurve& curve, const PlotRange& frames)
        : curve_(curve), frames_(frames), turns_(turnsOf(curve)),
          first_(static_cast<double>(keysOf(curve).front().time)),
          period_(static_cast<double>(keysOf(curve).back().time) - first_) {
        values_.reserve(turns_.size());
        for (const float time : turns_) {
            values_.push_back(valueAt(curve, time));
        }
    }

    /// How often the passage through the keys counts in a stretch: not at all, once, or repeatedly.
    enum class Passage { None, Once, Repeated };

    void add(std::string_view name, float from, float to, Passage passage) {
        if (from > to) {
            return;
        }
        const double turns = turnsBetween(static_cast<double>(from), static_cast<double>(to),
                                          period_ > 0 ? passage : Passage::None);
        const bool fast = passage == Passage::Repeated && turns > 0 &&
                          period_ < frames_.size() / kColumns * kFastest;
        if (turns > kMostTurns || fast) {
            addBand(name, static_cast<double>(from), static_cast<double>(to), passage);
        } else {
            addLine(name, timesOf(from, to, turns > 0 ? passage : Passage::None));
        }
    }

    std::vector<PlotPiece> take() { return std::move(pieces_); }

  private:
    [[nodiscard]] double turnsBetween(double from, double to, Passage passage) const {
        if (passage == Passage::None) {
            return 0;
        }
        const auto all = static_cast<double>(turns_.size());
        return passage == Passage::Repeated ? all * (1 + (to - from) / period_)
                                            : static_cast<double>(within(from, to).size());
    }

    /// The values at the turns between two times of one passage.
    [[nodiscard]] std::span<const double> within(double from, double to) const {
        const auto begin = std::ranges::lower_bound(turns_, from, {}, asDouble);
        const auto end = std::ranges::upper_bound(turns_, to, {}, asDouble);
        const auto at = begin - turns_.begin();
        return std::span(values_).subspan(static_cast<std::size_t>(at),
                                          static_cast<std::size_t>(std::max(end - begin, {})));
    }
    static double asDouble(float time) { return static_cast<double>(time); }

    /// The times at which a line from `from` to `to` is evaluated, ascending.
    [[nodiscard]] std::vector<float> timesOf(float from, float to, Passage passage) const {
        std::vector<float> times = {from, to};
        for (int i = 0; i <= kSteps; ++i) {
            times.push_back(static_cast<float>(frames_.least + frames_.size() * i / kSteps));
        }
        if (passage == Passage::Once) {
            times.insert(times.end(), turns_.begin(), turns_.end());
        } else if (passage == Passage::Repeated) {
            const double begin = std::floor((static_cast<double>(from) - first_) / period_);
            for (double n = begin; first_ + n * period_ <= static_cast<double>(to); ++n) {
                for (const float turn : turns_) {
                    times.push_back(static_cast<float>(asDouble(turn) + n * period_));
                }
            }
        }
        std::erase_if(times, [&](float time) { return !(time >= from && time <= to); });
        std::ranges::sort(times);
        times.erase(std::unique(times.begin(), times.end()), times.end());
        return times;
    }

    void addLine(std::string_view name, const std::vector<float>& times) {
        PlotPiece piece{name, {}, {}};
        for (const float time : times) {
            const double value = valueAt(curve_, time);
            if (std::isfinite(value)) {
                ::add(piece.line, {static_cast<double>(time), value});
            } else if (!piece.line.empty()) {
                pieces_.push_back(std::exchange(piece, {name, {}, {}}));
            }
        }
        if (!piece.line.empty()) {
            pieces_.push_back(std::move(piece));
        }
    }

    void addBand(std::string_view name, double from, double to, Passage passage) {
        PlotPiece piece{name, {}, {}};
        const double width = frames_.size() / kColumns;
        for (int column = 0; from + column * width < to; ++column) {
            const double left = from + column * width;
            const double right = std::min(left + width, to);
            const PlotRange values = extremes(left, right, passage);
            if (!values.empty) {
                piece.band.push_back({(left + right) / 2, values});
            } else if (!piece.band.empty()) {
                pieces_.push_back(std::exchange(piece, {name, {}, {}}));
            }
        }
        if (!piece.band.empty()) {
            pieces_.push_back(std::move(piece));
        }
    }

    [[nodiscard]] PlotRange extremes(double from, double to, Passage passage) const {
        PlotRange values;
        values.add(valueAt(curve_, static_cast<float>(from)));
        values.add(valueAt(curve_, static_cast<float>(to)));
        const auto take = [&](double begin, double end) {
            for (const double value : within(begin, end)) {
                values.add(value);
            }
        };
        if (passage == Passage::Once) {
            take(from, to);
        } else if (to - from >= period_) {
            take(first_, first_ + period_);
        } else {
            const double begin = from - std::floor((from - first_) / period_) * period_;
            const double end = begin + (to - from);
            take(begin, end);
            take(first_, end - period_); // the part in the next cycle
        }
        return values;
    }

    const Fcurve& curve_;
    const PlotRange& frames_;
    std::vector<float> turns_;
    std::vector<double> values_; ///< at the turns
    double first_;
    double period_;
    std::vector<PlotPiece> pieces_;
};

} // namespace

std::vector<PlotPiece> plotPieces(const Fcurve& curve, const PlotRange& frames) {
    using Passage = Sampler::Passage;
    const auto keys = keysOf(curve);
    if (keys.empty()) {
        return {};
    }
    const auto passageOf = [](std::int16_t extrapolation) {
        return extrapolation == kExtrapolateCycle ? Passage::Repeated : Passage::None;
    };
    const float least = nearestTime(frames.least);
    const float most = nearestTime(frames.most);
    const float first = keys.front().time;
    const float last = keys.back().time;
    Sampler sampler(curve, frames);
    if (isKnown(curve.preExtrapolation) && least < first) {
        sampler.add("before", least, std::min(std::nextafter(first, -kInfinity), most),
                    passageOf(curve.preExtrapolation));
    }
    // If the extrapolation after the last key is unknown, the toolkit gives no value at that key.
    const bool closed = isKnown(curve.postExtrapolation);
    const float end = closed ? last : std::nextafter(last, -kInfinity);
    sampler.add("inside", std::max(first, least), std::min(end, most), Passage::Once);
    if (closed && most > last) {
        sampler.add("after", std::max(std::nextafter(last, kInfinity), least), most,
                    passageOf(curve.postExtrapolation));
    }
    return sampler.take();
}
