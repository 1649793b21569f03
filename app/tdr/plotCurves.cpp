// SPDX-License-Identifier: MIT
// Curves over time: a panel for what belongs together, one below the other on the same frames.
#include "plot.h"
#include "plotSamples.h"
#include "sceneCurves.h"
#include "svg.h"
#include "utf8Text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <fmt/format.h>

namespace {

// Places in the picture, in pixels.
constexpr double kWidth = 1016;
constexpr double kLeft = 112;   // of the panels: unit and tick labels stand left of it
constexpr double kRight = 752;  // of the panels: the legend stands right of it
constexpr double kHeader = 120; // height of title and key
constexpr double kPanel = 190;  // height of a panel
constexpr double kPitch = 278;  // from one panel to the next
constexpr double kLegendRow = 37;

constexpr std::size_t kMostPanels = 40;
constexpr std::size_t kMostInPanel = 5;
constexpr std::size_t kColours = 6;
constexpr std::size_t kLegendColumns = 24;
constexpr std::size_t kTitleColumns = 62;
constexpr std::size_t kHeadingColumns = 70;
constexpr double kTangent = 22;  // length of a tangent's half
constexpr double kKeySpace = 12; // between keys with tangents
constexpr double kDotSpace = 3;  // between keys without
constexpr int kFrameTicks = 7;
constexpr int kValueTicks = 6;

constexpr const char* kStyle =
    ".c0{color:#2563eb}.c1{color:#d97706}.c2{color:#059669}.c3{color:#dc2626}.c4{color:#7c3aed}"
    ".c5{color:#0891b2}.curve{fill:none;stroke:currentColor;stroke-linejoin:round}"
    ".inside{stroke-width:2}.before{stroke-width:1.7;stroke-dasharray:9 4}"
    ".after{stroke-width:2.2;stroke-dasharray:.1 5;stroke-linecap:round}"
    ".key{fill:currentColor;stroke:#fff;stroke-width:1.2}.tangent{stroke:currentColor}"
    ".handle{fill:#fff;stroke:currentColor;stroke-width:1.2}.scene{fill:#eef2f7}"
    ".neutral{color:#374151}";

constexpr const char* kExtrapolations[] = {"constant", "linear", "cycle"};

/// Red, green and blue for what is called so, and for x, y and z.
constexpr std::pair<std::string_view, std::size_t> kPartColours[] = {
    {"x", 3}, {"y", 2}, {"z", 0}, {"red", 3}, {"green", 2}, {"blue", 0}};

struct Panel {
    std::vector<OwnedCurve> curves;
};

std::size_t colourOf(const OwnedCurve& entry, std::size_t index) {
    for (const auto& [part, colour] : kPartColours) {
        if (entry.part == part) {
            return colour;
        }
    }
    return index % kColours;
}

bool sameName(std::string_view a, std::string_view b) {
    return std::ranges::equal(
        a, b, [](unsigned char x, unsigned char y) { return std::toupper(x) == std::toupper(y); });
}

/// A part that is there already belongs to another owner of the same name.
bool takes(const Panel& panel, const OwnedCurve& entry) {
    const auto& curves = panel.curves;
    return curves.size() < kMostInPanel && curves.front().owner == entry.owner &&
           curves.front().group == entry.group &&
           std::ranges::none_of(curves,
                                [&](const OwnedCurve& other) { return other.part == entry.part; });
}

std::vector<Panel> panelsOf(std::vector<OwnedCurve> curves) {
    std::vector<Panel> panels;
    for (OwnedCurve& entry : curves) {
        if (panels.empty() || !takes(panels.back(), entry)) {
            panels.emplace_back();
        }
        panels.back().curves.push_back(std::move(entry));
    }
    return panels;
}

PlotRange framesOf(const SceneDocument& document, const std::vector<OwnedCurve>& curves) {
    PlotRange frames;
    if (document.scene != nullptr) {
        frames.add(document.scene->frameStart);
        frames.add(document.scene->frameEnd);
    }
    for (const OwnedCurve& entry : curves) {
        for (const FcvKey& key : plotKeys(*entry.curve)) {
            frames.add(static_cast<double>(key.time));
        }
    }
    return frames.widened(0.08, 2);
}

// ----------------------------------------------------------------------------------------- drawing

/// Draws one panel into the picture.
class PanelWriter {
  public:
    PanelWriter(Svg& svg, const PlotAxis& frames, const PlotAxis& values)
        : svg_(svg), frames_(frames), values_(values) {}

    void axes(double top, const char* unit) {
        const double bottom = top + kPanel;
        for (const PlotTick& tick : frames_.ticks(kFrameTicks)) {
            const double x = frames_.place(tick.value);
            svg_.line("grid", {x, top}, {x, bottom});
            svg_.text("tick", {x, bottom + 16}, tick.label, SvgAnchor::Middle);
        }
        for (const PlotTick& tick : values_.ticks(kValueTicks)) {
            const double y = values_.place(tick.value);
            svg_.line("grid", {kLeft, y}, {kRight, y});
            svg_.text("tick", {kLeft - 8, y + 4}, tick.label, SvgAnchor::End);
        }
        svg_.rect("frame", {kLeft, top}, kRight - kLeft, kPanel);
        svg_.text("unit", {(kLeft + kRight) / 2, bottom + 33}, "frames", SvgAnchor::Middle);
        svg_.upwardText("unit", {kLeft - 18 - values_.labelWidth(kValueTicks), top + kPanel / 2},
                        unit);
    }

    void curve(const OwnedCurve& entry, std::size_t colour, int clip) {
        svg_.begin(fmt::format("c{}", colour).c_str(), channelOf(*entry.curve), clip);
        for (const PlotPiece& piece : plotPieces(*entry.curve, frames_.range())) {
            std::vector<SvgPoint> points;
            for (const PlotSample& sample : piece.samples) {
                points.push_back({frames_.place(sample.time), values_.place(sample.value)});
            }
            svg_.polyline(fmt::format("curve {}", piece.name).c_str(), points);
        }
        keys(*entry.curve);
        svg_.end();
    }

  private:
    void keys(const Fcurve& curve) {
        const auto all = plotKeys(curve);
        std::size_t shown = 0;
        for (const FcvKey& key : all) {
            shown += isShown(key) ? 1 : 0;
        }
        const bool roomy = static_cast<double>(shown) * kKeySpace <= kRight - kLeft;
        double last = -kWidth;
        for (std::size_t i = 0; i < all.size(); ++i) {
            const double x = frames_.place(static_cast<double>(all[i].time));
            if (!isShown(all[i]) || (!roomy && std::abs(x - last) < kDotSpace)) {
                continue;
            }
            last = x;
            if (roomy) {
                tangents(curve, i);
            }
            key(all[i], roomy ? 4 : 2);
        }
    }

    [[nodiscard]] bool isShown(const FcvKey& key) const {
        const double time = static_cast<double>(key.time);
        return time >= frames_.range().least && time <= frames_.range().most;
    }

    [[nodiscard]] SvgPoint placeOf(const FcvKey& key) const {
        return {frames_.place(static_cast<double>(key.time)),
                values_.place(static_cast<double>(key.value))};
    }

    void key(const FcvKey& key, double radius) {
        svg_.begin("", fmt::format("frame {:g}, value {:g}", key.time, key.value));
        svg_.circle("key", placeOf(key), radius);
        svg_.end();
    }

    /// A tangent is shown where something follows it: a spline segment, or a straight line beyond.
    void tangents(const Fcurve& curve, std::size_t i) {
        const auto all = plotKeys(curve);
        const bool bent = curve.interpolation != kInterpolateLinear;
        const bool left = i > 0 ? all[i - 1].interpolation == kInterpolateSpline
                                : curve.preExtrapolation == kExtrapolateLinear && bent;
        const bool right = i + 1 < all.size()
                               ? all[i].interpolation == kInterpolateSpline
                               : curve.postExtrapolation == kExtrapolateLinear && bent;
        if (left) {
            tangent(placeOf(all[i]), static_cast<double>(all[i].leftSlope), -1);
        }
        if (right) {
            tangent(placeOf(all[i]), static_cast<double>(all[i].rightSlope), 1);
        }
    }

    void tangent(SvgPoint at, double slope, double side) {
        const double dx = frames_.perUnit();
        const double dy = slope * values_.perUnit();
        const double length = side * kTangent / std::hypot(dx, dy);
        const SvgPoint tip = {at.x + dx * length, at.y + dy * length};
        svg_.line("tangent", at, tip);
        svg_.circle("handle", tip, 2.5);
    }

    Svg& svg_;
    const PlotAxis& frames_;
    const PlotAxis& values_;
};

PlotRange valuesOf(const Panel& panel, const PlotRange& frames) {
    PlotRange values;
    for (const OwnedCurve& entry : panel.curves) {
        for (const PlotPiece& piece : plotPieces(*entry.curve, frames)) {
            for (const PlotSample& sample : piece.samples) {
                values.add(sample.value);
            }
        }
    }
    return values.widened(0.12, values.size() > 0 ? 0 : 0.5);
}

std::string nameOf(std::int16_t extrapolation) {
    return extrapolation >= 0 && extrapolation < std::ssize(kExtrapolations)
               ? kExtrapolations[extrapolation]
               : fmt::format("unknown ({})", extrapolation);
}

void drawLegend(Svg& svg, const Panel& panel, double top) {
    double y = top + 12;
    for (std::size_t i = 0; i < panel.curves.size(); ++i, y += kLegendRow) {
        const OwnedCurve& entry = panel.curves[i];
        const std::string channel = channelOf(*entry.curve);
        svg.begin(fmt::format("c{}", colourOf(entry, i)).c_str(), channel);
        svg.line("curve inside", {kRight + 16, y - 4}, {kRight + 44, y - 4});
        svg.circle("key", {kRight + 30, y - 4}, 4);
        svg.end();
        const std::string name = channel.empty() ? "(no channel)" : channel;
        svg.text("name", {kRight + 52, y}, shortened(name, kLegendColumns));
        svg.text("small", {kRight + 52, y + 15},
                 plotKeys(*entry.curve).empty()
                     ? "no keys"
                     : fmt::format("before {}, after {}", nameOf(entry.curve->preExtrapolation),
                                   nameOf(entry.curve->postExtrapolation)));
    }
}

void drawPanel(Svg& svg, const SceneDocument& document, const Panel& panel, const PlotAxis& frames,
               double top) {
    const OwnedCurve& first = panel.curves.front();
    const PlotAxis values(valuesOf(panel, frames.range()), top + kPanel, top);
    svg.begin("panel");
    svg.text("heading", {kLeft, top - 12},
             shortened(fmt::format("{} · {}", first.owner, first.group), kHeadingColumns));
    const int clip = svg.clip({kLeft, top - 6}, kRight - kLeft, kPanel + 12);
    if (document.scene != nullptr) {
        const double from = std::clamp(frames.place(document.scene->frameStart), kLeft, kRight);
        const double to = std::clamp(frames.place(document.scene->frameEnd), from, kRight);
        svg.rect("scene", {from, top}, to - from, kPanel);
    }
    PanelWriter writer(svg, frames, values);
    writer.axes(top, first.unit);
    for (std::size_t i = 0; i < panel.curves.size(); ++i) {
        writer.curve(panel.curves[i], colourOf(panel.curves[i], i), clip);
    }
    drawLegend(svg, panel, top);
    svg.end();
}

/// What the marks mean, in a row under the title.
void drawKey(Svg& svg, bool hasFrames) {
    constexpr double y = 66;
    svg.begin("neutral");
    svg.circle("key", {kLeft + 6, y - 4}, 4);
    svg.text("small", {kLeft + 16, y}, "key");
    svg.line("tangent", {kLeft + 62, y - 4}, {kLeft + 84, y - 4});
    svg.circle("handle", {kLeft + 84, y - 4}, 2.5);
    svg.text("small", {kLeft + 94, y}, "tangent");
    svg.polyline("curve before", {{kLeft + 168, y - 4}, {kLeft + 206, y - 4}});
    svg.text("small", {kLeft + 214, y}, "before the first key");
    svg.polyline("curve after", {{kLeft + 354, y - 4}, {kLeft + 392, y - 4}});
    svg.text("small", {kLeft + 400, y}, "after the last key");
    if (hasFrames) {
        svg.rect("scene", {kLeft + 524, y - 11}, 30, 14);
        svg.text("small", {kLeft + 562, y}, "frames of the scene");
    }
    svg.end();
}

/// The curves of the channels asked for, or why there are none.
Outcome<std::vector<OwnedCurve>> chosen(const SceneDocument& document, const CurveChoice& choice) {
    std::vector<OwnedCurve> all = curvesOf(document);
    for (const std::string& channel : choice.channels) {
        if (std::ranges::none_of(all, [&](const OwnedCurve& entry) {
                return sameName(channelOf(*entry.curve), channel);
            })) {
            return Problem{ExitCode::Failed, fmt::format("no curve of channel {} (tdr info lists "
                                                         "those there are)",
                                                         utf8Text(std::string_view(channel)))};
        }
    }
    if (all.empty()) {
        return Problem{ExitCode::Failed, "no curves"};
    }
    std::erase_if(all, [&](const OwnedCurve& entry) {
        return !choice.channels.empty() &&
               std::ranges::none_of(choice.channels, [&](const std::string& channel) {
                   return sameName(channelOf(*entry.curve), channel);
               });
    });
    return all;
}

} // namespace

Outcome<Plot> plotCurves(const SceneDocument& document, const std::string& title,
                         const CurveChoice& choice) {
    auto curves = chosen(document, choice);
    if (!curves) {
        return curves.problem();
    }
    const PlotAxis frames(choice.frames ? *choice.frames : framesOf(document, *curves), kLeft,
                          kRight);
    const std::vector<Panel> panels = panelsOf(std::move(*curves));
    const std::size_t shown = std::min(panels.size(), kMostPanels);
    Svg svg(kWidth, kHeader + static_cast<double>(shown) * kPitch, std::string(kPlotStyle) + kStyle,
            title);
    svg.text("title", {kLeft, 36}, shortened(title, kTitleColumns));
    drawKey(svg, document.scene != nullptr);
    for (std::size_t i = 0; i < shown; ++i) {
        drawPanel(svg, document, panels[i], frames, kHeader + static_cast<double>(i) * kPitch);
    }
    return Plot{svg.take(),
                shown == panels.size()
                    ? ""
                    : fmt::format("the first {} of {} groups of curves are drawn; choose channels "
                                  "with --curve",
                                  shown, panels.size())};
}
