// SPDX-License-Identifier: MIT
// A spline from the front, from above and from the side, with its control points and handles.
#include "drawings.h"
#include "output/formatted.h"
#include "output/utf8Text.h"
#include "scene/sceneWalk.h"
#include "scene/splineSegments.h"
#include "svg.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kWidth = 1000;
constexpr double kFigure = 940; // height of one spline's four fields
constexpr double kView = 360;   // side of a view
constexpr double kHeader = 64;
constexpr std::size_t kMostSplines = 12;
constexpr int kMostPoints = 2000; // of one spline
constexpr int kMostLabels = 40;   // later points have no numbers
constexpr int kTicks = 6;
constexpr std::size_t kTitleColumns = 62;
constexpr std::size_t kNameColumns = 36;

constexpr const char* kStyle =
    ".spline{fill:none;stroke:#2563eb;stroke-width:2.4;stroke-linejoin:round}"
    ".hull{fill:none;stroke:#9aa4b2;stroke-width:1.2;stroke-dasharray:4 4}"
    ".point{fill:#1f2937;stroke:#fff;stroke-width:1.2}.selected{fill:#dc2626;stroke:#fff}"
    ".arm{stroke:#d97706;stroke-width:1.2}.handle{fill:#fff;stroke:#d97706;stroke-width:1.6}"
    ".number{font-size:11px;fill:#1f2937;paint-order:stroke;stroke:#fff;stroke-width:3px}";

/// One view of a spline: the axis to the right and the axis upwards.
struct View {
    const char* name;
    float Vector::*right;
    float Vector::*up;
    double upSign; ///< -1: the axis runs downwards
    const char* rightName;
    const char* upName;
    double x, y; ///< corner in the figure
};

constexpr View kViews[] = {
    {"front", &Vector::x, &Vector::y, 1, "x, scene units", "y, scene units", 100, 60},
    {"side", &Vector::z, &Vector::y, 1, "z, scene units", "y, scene units", 580, 60},
    {"top", &Vector::x, &Vector::z, -1, "x, scene units", "z, scene units", 100, 510},
};

struct Drawn {
    const Spline& spline;
    std::vector<SplineSegment> segments;
    int points;
};

double along(const Vector& v, float Vector::*axis) {
    return static_cast<double>(v.*axis);
}

/// The range of everything shown along one axis of space.
PlotRange extentOf(const Drawn& drawn, float Vector::*axis) {
    PlotRange range;
    for (const SplineSegment& s : drawn.segments) {
        for (const Vector& v : {s.from, s.control1, s.control2, s.to}) {
            range.add(along(v, axis));
        }
    }
    for (int i = 0; i < drawn.points; ++i) {
        const SplineKey& key = drawn.spline.keys[i];
        range.add(along(key.position, axis));
        if (drawn.spline.type == kSplineBezier) {
            range.add(along(key.previous, axis));
            range.add(along(key.next, axis));
        }
    }
    return range;
}

/// Draws one view; all three have the same scale.
class ViewWriter {
  public:
    ViewWriter(Svg& svg, const Drawn& drawn, const View& view, double top, double size)
        : svg_(svg), drawn_(drawn), view_(view), left_(view.x), top_(top + view.y),
          right_(rangeOf(view.right, size), left_, left_ + kView),
          up_(rangeOf(view.up, size), view.upSign > 0 ? top_ + kView : top_,
              view.upSign > 0 ? top_ : top_ + kView) {}

    void draw() {
        svg_.begin("view");
        svg_.text("heading", {left_, top_ - 12}, view_.name);
        axes();
        const int clip = svg_.clip({left_, top_}, kView, kView);
        svg_.begin("contents", "", clip);
        hull();
        curve();
        svg_.end();
        points();
        svg_.end();
    }

  private:
    [[nodiscard]] PlotRange rangeOf(float Vector::*axis, double size) const {
        const PlotRange extent = extentOf(drawn_, axis);
        const double middle = extent.least + extent.size() / 2;
        return {middle - size / 2, middle + size / 2, false};
    }

    [[nodiscard]] SvgPoint place(const Vector& v) const {
        return {right_.place(along(v, view_.right)), up_.place(along(v, view_.up))};
    }

    void axes() {
        for (const PlotTick& tick : right_.ticks(kTicks)) {
            const double x = right_.place(tick.value);
            svg_.line("grid", {x, top_}, {x, top_ + kView});
            svg_.text("tick", {x, top_ + kView + 16}, tick.label, SvgAnchor::Middle);
        }
        for (const PlotTick& tick : up_.ticks(kTicks)) {
            const double y = up_.place(tick.value);
            svg_.line("grid", {left_, y}, {left_ + kView, y});
            svg_.text("tick", {left_ - 8, y + 4}, tick.label, SvgAnchor::End);
        }
        svg_.rect("frame", {left_, top_}, kView, kView);
        svg_.text("unit", {left_ + kView / 2, top_ + kView + 34}, view_.rightName,
                  SvgAnchor::Middle);
        svg_.upwardText("unit", {left_ - 18 - up_.labelWidth(kTicks), top_ + kView / 2},
                        view_.upName);
    }

    void hull() {
        if (drawn_.spline.type == kSplineLinear || drawn_.spline.type == kSplineBezier) {
            return;
        }
        std::vector<SvgPoint> corners;
        corners.reserve(static_cast<std::size_t>(drawn_.points) + 1);
        for (int i = 0; i < drawn_.points; ++i) {
            corners.push_back(place(drawn_.spline.keys[i].position));
        }
        if (drawn_.spline.close != 0 && !corners.empty()) {
            corners.push_back(corners.front());
        }
        svg_.polyline("hull", corners);
    }

    void curve() {
        std::string data;
        for (const SplineSegment& s : drawn_.segments) {
            data += data.empty() ? Svg::moveTo(place(s.from)) : "";
            data += s.straight ? Svg::lineTo(place(s.to))
                               : Svg::curveTo(place(s.control1), place(s.control2), place(s.to));
        }
        if (!data.empty()) {
            svg_.path("spline", data);
        }
    }

    void points() {
        for (int i = 0; i < drawn_.points; ++i) {
            const SplineKey& key = drawn_.spline.keys[i];
            if (drawn_.spline.type == kSplineBezier) {
                handle(key.position, key.previous);
                handle(key.position, key.next);
            }
        }
        for (int i = 0; i < drawn_.points; ++i) {
            const SplineKey& key = drawn_.spline.keys[i];
            const SvgPoint at = place(key.position);
            const bool selected = (key.flags & kSplineKeySelected) != 0;
            svg_.rect(selected ? "point selected" : "point", {at.x - 4, at.y - 4}, 8, 8);
            if (drawn_.points <= kMostLabels && isFirstAt(i)) {
                svg_.text("number", {at.x + 8, at.y - 7}, std::to_string(i));
            }
        }
    }

    /// False if an earlier point's number is already at about this position.
    [[nodiscard]] bool isFirstAt(int index) const {
        const SvgPoint at = place(drawn_.spline.keys[index].position);
        for (int i = 0; i < index; ++i) {
            const SvgPoint other = place(drawn_.spline.keys[i].position);
            if (std::abs(at.x - other.x) < 16 && std::abs(at.y - other.y) < 11) {
                return false;
            }
        }
        return true;
    }

    void handle(const Vector& point, const Vector& tip) {
        const SvgPoint a = place(point);
        const SvgPoint b = place(tip);
        if (std::hypot(a.x - b.x, a.y - b.y) > 1) {
            svg_.line("arm", a, b);
            svg_.circle("handle", b, 3.2);
        }
    }

    Svg& svg_;
    const Drawn& drawn_;
    const View& view_;
    double left_;
    double top_;
    PlotAxis right_;
    PlotAxis up_;
};

/// Draws the properties of the spline and the key to the marks in the fourth field.
void drawNotes(Svg& svg, const Drawn& drawn, const std::string& owner, double top) {
    constexpr double x = 580;
    const Spline& spline = drawn.spline;
    const bool known = spline.type >= 0 && spline.type < kSplineTypes;
    double y = top + 526;
    svg.text("heading", {x, y},
             shortened(spline.name != nullptr ? utf8Text(spline.name) : "(no name)", kNameColumns));
    const auto note = [&](const std::string& text) {
        svg.text("small", {x, y += 22}, shortened(text, kNameColumns + 12));
    };
    if (!owner.empty()) {
        note(owner);
    }
    note(formatted("type {}{}{}", known ? SplineTypeName[spline.type] : "unknown",
                   spline.close != 0 ? ", closed" : "", spline.phantom != 0 ? ", phantom" : ""));
    note(formatted("{} control points, {}", std::max<int>(spline.keyCount, 0),
                   spline.keyCount > kMostPoints ? formatted("the first {} drawn", kMostPoints)
                                                 : "numbered from 0"));
    note(formatted("tension {:g}, step {}", spline.tension, spline.step));
    y += 14;
    const auto mark = [&](const char* text) { svg.text("small", {x + 44, y}, text); };
    y += 24;
    svg.line("spline", {x, y - 4}, {x + 34, y - 4});
    mark("curve");
    y += 24;
    svg.rect("point", {x + 13, y - 8}, 8, 8);
    mark("control point");
    y += 24;
    svg.rect("point selected", {x + 13, y - 8}, 8, 8);
    mark("selected control point");
    y += 24;
    if (spline.type == kSplineBezier) {
        svg.line("arm", {x, y - 4}, {x + 26, y - 4});
        svg.circle("handle", {x + 26, y - 4}, 3.2);
        mark("handle");
    } else if (spline.type != kSplineLinear) {
        svg.polyline("hull", {{x, y - 4}, {x + 34, y - 4}});
        mark("control polygon");
    }
}

/// A spline and its owner.
struct OwnedSpline {
    const Spline* spline;
    std::string owner;
};

void drawSpline(Svg& svg, const OwnedSpline& owned, double top) {
    const Spline& spline = *owned.spline;
    const int points =
        spline.keys == nullptr ? 0 : std::clamp<int>(spline.keyCount, 0, kMostPoints);
    const Drawn drawn = {spline, splineSegments(spline, points), points};
    double size = 0;
    for (const auto axis : {&Vector::x, &Vector::y, &Vector::z}) {
        size = std::max(size, extentOf(drawn, axis).widened(0.08, 0).size());
    }
    for (const View& view : kViews) {
        ViewWriter(svg, drawn, view, top, size > 0 ? size : 1).draw();
    }
    drawNotes(svg, drawn, owned.owner, top);
}

} // namespace

Outcome<Plot> plotSplines(const SceneDocument& document, const std::string& title) {
    std::vector<OwnedSpline> splines; // the drawn ones
    std::size_t all = 0;
    visitSplines(document, [&](const Spline& spline, const std::string& owner) {
        if (++all <= kMostSplines) {
            splines.push_back({&spline, owner});
        }
    });
    if (splines.empty()) {
        return Problem{ExitCode::Failed, "no splines"};
    }
    const std::size_t shown = splines.size();
    Svg svg(kWidth, kHeader + static_cast<double>(shown) * kFigure,
            std::string(kPlotStyle) + kStyle, title);
    svg.text("title", {100, 40}, shortened(title, kTitleColumns));
    std::string leftOut;
    for (std::size_t i = 0; i < shown; ++i) {
        drawSpline(svg, splines[i], kHeader + static_cast<double>(i) * kFigure);
        if (splines[i].spline->keyCount > kMostPoints) {
            leftOut = formatted("of each spline the first {} points are drawn", kMostPoints);
        }
    }
    if (shown < all) {
        leftOut += formatted("{}the first {} of {} splines are drawn", leftOut.empty() ? "" : ", ",
                             shown, all);
    }
    return Plot{svg.take(), leftOut};
}
