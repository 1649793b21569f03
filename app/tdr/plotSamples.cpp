// SPDX-License-Identifier: MIT
#include "plotSamples.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

/// Samples over the whole width, somewhat more than there are pixels.
constexpr int kSteps = 800;

/// Keys at which a curve is sampled exactly, so that steps and corners are sharp.
constexpr std::size_t kMostExact = 1000;

constexpr float kInfinity = std::numeric_limits<float>::infinity();

double valueAt(const Fcurve& curve, float time) {
    return curve.type == kFcurveModelAlgorithm ? fcurveIntegerValue(&curve, time, 0)
                                               : static_cast<double>(fcurveValue(&curve, time));
}

bool isKnown(std::int16_t extrapolation) {
    return extrapolation >= kExtrapolateConstant && extrapolation <= kExtrapolateCycle;
}

/// The times at which to look between two times, ascending.
std::vector<float> timesBetween(const Fcurve& curve, const PlotRange& frames, float from,
                                float to) {
    std::vector<float> times = {from, to};
    for (int i = 0; i <= kSteps; ++i) {
        times.push_back(static_cast<float>(frames.least + frames.size() * i / kSteps));
    }
    const auto keys = plotKeys(curve);
    if (keys.size() <= kMostExact) {
        for (const FcvKey& key : keys) {
            times.push_back(key.time);
            times.push_back(std::nextafter(key.time, -kInfinity));
        }
    }
    std::erase_if(times, [&](float time) { return !(time >= from && time <= to); });
    std::ranges::sort(times);
    times.erase(std::unique(times.begin(), times.end()), times.end());
    return times;
}

/// Adds a sample; of several equal values in a row only the outer ones.
void add(std::vector<PlotSample>& samples, PlotSample sample) {
    const std::size_t count = samples.size();
    if (count >= 2 && samples[count - 1].value == sample.value &&
        samples[count - 2].value == sample.value) {
        samples.back() = sample;
    } else {
        samples.push_back(sample);
    }
}

void addPieces(std::vector<PlotPiece>& pieces, const Fcurve& curve, const char* name,
               const std::vector<float>& times) {
    PlotPiece piece{name, {}};
    for (const float time : times) {
        const double value = valueAt(curve, time);
        if (std::isfinite(value)) {
            add(piece.samples, {static_cast<double>(time), value});
        } else if (!piece.samples.empty()) {
            pieces.push_back(std::move(piece));
            piece = {name, {}};
        }
    }
    if (!piece.samples.empty()) {
        pieces.push_back(std::move(piece));
    }
}

} // namespace

std::vector<PlotPiece> plotPieces(const Fcurve& curve, const PlotRange& frames) {
    std::vector<PlotPiece> pieces;
    const auto keys = plotKeys(curve);
    if (keys.empty()) {
        return pieces;
    }
    const auto least = static_cast<float>(frames.least);
    const auto most = static_cast<float>(frames.most);
    const float first = keys.front().time;
    const float last = keys.back().time;
    if (isKnown(curve.preExtrapolation) && least < first) {
        const float end = std::min(std::nextafter(first, -kInfinity), most);
        addPieces(pieces, curve, "before", timesBetween(curve, frames, least, end));
    }
    // Where the time after the last key means nothing, the toolkit gives no value at that key.
    const bool closed = isKnown(curve.postExtrapolation);
    const float end = closed ? last : std::nextafter(last, -kInfinity);
    addPieces(pieces, curve, "inside",
              timesBetween(curve, frames, std::max(first, least), std::min(end, most)));
    if (closed && most > last) {
        const float begin = std::max(std::nextafter(last, kInfinity), least);
        addPieces(pieces, curve, "after", timesBetween(curve, frames, begin, most));
    }
    return pieces;
}
