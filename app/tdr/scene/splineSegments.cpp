// SPDX-License-Identifier: MIT
#include "splineSegments.h"

#include <algorithm>

namespace {

constexpr std::int16_t kSegmentLinear = 2; // in BezSegmentName

Vector mix(const Vector& a, float wa, const Vector& b, float wb) {
    return {a.x * wa + b.x * wb, a.y * wa + b.y * wb, a.z * wa + b.z * wb};
}

/// The control points with indices beyond the ends: a closed spline wraps around, an open one
/// repeats its end.
class Points {
  public:
    Points(const Spline& spline, int count)
        : keys_(spline.keys), count_(count), closed_(spline.close != 0) {}

    const SplineKey& operator[](int i) const {
        return keys_[closed_ ? (i + count_) % count_ : std::clamp(i, 0, count_ - 1)];
    }
    [[nodiscard]] const Vector& at(int i) const { return (*this)[i].position; }

    /// Number of pieces between neighbours.
    [[nodiscard]] int gaps() const { return closed_ ? count_ : count_ - 1; }
    [[nodiscard]] bool closed() const { return closed_; }
    [[nodiscard]] int count() const { return count_; }

  private:
    const SplineKey* keys_;
    int count_;
    bool closed_;
};

SplineSegment straight(const Vector& a, const Vector& b) {
    return {a, a, b, b, true};
}

SplineSegment linearPiece(const Points& p, int i, float /*tension*/) {
    return straight(p.at(i), p.at(i + 1));
}

SplineSegment bezierPiece(const Points& p, int i, float /*tension*/) {
    return p[i].segment == kSegmentLinear
               ? straight(p.at(i), p.at(i + 1))
               : SplineSegment{p.at(i), p[i].next, p[i + 1].previous, p.at(i + 1), false};
}

SplineSegment cardinalPiece(const Points& p, int i, float tension) {
    constexpr float kThird = 1.0F / 3.0F;
    const Vector leave = mix(p.at(i + 1), tension, p.at(i - 1), -tension);
    const Vector arrive = mix(p.at(i + 2), tension, p.at(i), -tension);
    return {p.at(i), mix(p.at(i), 1, leave, kThird), mix(p.at(i + 1), 1, arrive, -kThird),
            p.at(i + 1), false};
}

/// The piece of the points i to i + 3.
SplineSegment bsplinePiece(const Points& p, int i, float /*tension*/) {
    constexpr float kThird = 1.0F / 3.0F;
    const auto corner = [&](int k) { // at point k
        return mix(mix(p.at(k - 1), 1.0F / 6.0F, p.at(k), 4.0F / 6.0F), 1, p.at(k + 1),
                   1.0F / 6.0F);
    };
    return {corner(i + 1), mix(p.at(i + 1), 2 * kThird, p.at(i + 2), kThird),
            mix(p.at(i + 1), kThird, p.at(i + 2), 2 * kThird), corner(i + 2), false};
}

/// By SplineType.
constexpr SplineSegment (*kPieces[])(const Points&, int, float) = {linearPiece, bezierPiece,
                                                                   bsplinePiece, cardinalPiece};

} // namespace

std::vector<SplineSegment> splineSegments(const Spline& spline, int points) {
    std::vector<SplineSegment> segments;
    if (points < 2) {
        return segments;
    }
    const bool known = spline.type >= 0 && spline.type < kSplineTypes;
    const std::int32_t type = known ? spline.type : std::int32_t{kSplineLinear};
    const Points row(spline, points);
    const int pieces = type == kSplineBspline && !row.closed() ? points - 3 : row.gaps();
    for (int i = 0; i < pieces; ++i) {
        segments.push_back(kPieces[type](row, i, spline.tension));
    }
    return segments;
}
