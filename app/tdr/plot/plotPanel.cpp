// SPDX-License-Identifier: MIT
#include "plotPanel.h"

#include "output/formatted.h"
#include "output/utf8Text.h"
#include "plotSamples.h"

#include <algorithm>
#include <cmath>

const char* const kPanelStyle =
    ".c0{color:#2563eb}.c1{color:#d97706}.c2{color:#059669}.c3{color:#dc2626}.c4{color:#7c3aed}"
    ".c5{color:#0891b2}.curve{fill:none;stroke:currentColor;stroke-linejoin:round}"
    ".inside{stroke-width:2}.before{stroke-width:1.7;stroke-dasharray:9 4}"
    ".after{stroke-width:2.2;stroke-dasharray:.1 5;stroke-linecap:round}"
    ".band{fill:currentColor;fill-opacity:.3;stroke:currentColor;stroke-width:1}"
    ".key{fill:currentColor;stroke:#fff;stroke-width:1.2}.tangent{stroke:currentColor}"
    ".keys{stroke:currentColor;stroke-width:1.2}"
    ".handle{fill:#fff;stroke:currentColor;stroke-width:1.2}.scene{fill:#eef2f7}"
    ".far{font-size:12px;fill:#b45309}.ring{fill:none;stroke:#b45309;stroke-width:1.6}"
    ".neutral{color:#374151}";

namespace {

constexpr std::size_t kColours = 6;
constexpr std::size_t kLegendColumns = 24;
constexpr std::size_t kHeadingColumns = 70;
constexpr double kLegendRow = 37;
constexpr double kTangent = 22;  // half the length of a tangent
constexpr double kKeySpace = 12; // minimum distance of keys that are drawn one by one
constexpr double kKeyColumn = 3; // width of a column whose keys are one mark
constexpr int kFrameTicks = 7;
constexpr int kValueTicks = 6;

constexpr const char* kExtrapolations[] = {"constant", "linear", "cycle"};

/// Red, green and blue for the parts with these names, and for x, y and z.
constexpr std::pair<std::string_view, std::size_t> kPartColours[] = {
    {"x", 3}, {"y", 2}, {"z", 0}, {"red", 3}, {"green", 2}, {"blue", 0}};

std::size_t colourOf(const OwnedCurve& entry, std::size_t index) {
    for (const auto& [part, colour] : kPartColours) {
        if (entry.part == part) {
            return colour;
        }
    }
    return index % kColours;
}

/// A curve with its drawn pieces.
struct Drawn {
    const OwnedCurve& entry;
    std::size_t colour;
    std::vector<PlotPiece> pieces;

    [[nodiscard]] const Fcurve& curve() const { return *entry.curve; }
    [[nodiscard]] bool has(const PlotPiece& piece) const {
        return std::ranges::find(pieces, piece) != pieces.end();
    }
};

double timeOf(const FcvKey& key) {
    return static_cast<double>(key.time);
}
double valueOf(const FcvKey& key) {
    return static_cast<double>(key.value);
}

bool isIn(const PlotRange& frames, const FcvKey& key) {
    return timeOf(key) >= frames.least && timeOf(key) <= frames.most;
}

/// The share of a line that coincides with others: each of several equal lines gets a part of the
/// dashes, so that all their colours show.
struct Share {
    std::size_t index = 0; ///< among the equal ones
    std::size_t of = 1;
};

std::string dashesOf(std::string_view piece, const Share& share) {
    const double dash = piece == "inside" ? 14 : piece == "before" ? 9 : 0.1;
    const double gap = piece == "inside" ? 0 : piece == "before" ? 4 : 5;
    const double period = dash + gap;
    return share.index == 0
               ? ""
               : formatted("stroke-dasharray:{} {};stroke-dashoffset:-{}", svgNumber(dash),
                           svgNumber(period * static_cast<double>(share.of) - dash),
                           svgNumber(period * static_cast<double>(share.index)));
}

// --- Drawing -------------------------------------------------------------------------------------

/// Draws one panel.
class PanelWriter {
  public:
    PanelWriter(Svg& svg, const PlotAxis& frames, const PlotAxis& values)
        : svg_(svg), frames_(frames), values_(values) {}

    void axes(double top, const char* unit) {
        const double left = frames_.from();
        const double right = frames_.to();
        const double bottom = top + kPanelHeight;
        for (const PlotTick& tick : frames_.ticks(kFrameTicks)) {
            const double x = frames_.place(tick.value);
            svg_.line("grid", {x, top}, {x, bottom});
            svg_.text("tick", {x, bottom + 16}, tick.label, SvgAnchor::Middle);
        }
        for (const PlotTick& tick : values_.ticks(kValueTicks)) {
            const double y = values_.place(tick.value);
            svg_.line("grid", {left, y}, {right, y});
            svg_.text("tick", {left - 8, y + 4}, tick.label, SvgAnchor::End);
        }
        svg_.rect("frame", {left, top}, right - left, kPanelHeight);
        svg_.text("unit", {(left + right) / 2, bottom + 33}, "frames", SvgAnchor::Middle);
        svg_.upwardText(
            "unit", {left - 18 - values_.labelWidth(kValueTicks), top + kPanelHeight / 2}, unit);
    }

    void curve(const Drawn& drawn, const std::vector<Drawn>& all, int clip) {
        svg_.begin(formatted("c{}", drawn.colour).c_str(), channelOf(drawn.curve()), clip);
        for (const PlotPiece& piece : drawn.pieces) {
            if (piece.band.empty()) {
                line(piece, shareOf(drawn, piece, all));
            } else {
                band(piece);
            }
        }
        keys(drawn.curve());
        svg_.end();
    }

    /// Draws a ring around each key of that value.
    void ring(const Fcurve& curve, double value) {
        for (const FcvKey& key : keysOf(curve)) {
            if (valueOf(key) == value && isIn(frames_.range(), key)) {
                svg_.circle("ring", placeOf(key), 8);
                return;
            }
        }
    }

  private:
    static Share shareOf(const Drawn& drawn, const PlotPiece& piece,
                         const std::vector<Drawn>& all) {
        Share share{0, 0};
        for (const Drawn& other : all) {
            const bool equal = other.has(piece);
            share.index += equal && &other < &drawn ? 1 : 0;
            share.of += equal ? 1 : 0;
        }
        return share;
    }

    void line(const PlotPiece& piece, const Share& share) {
        std::vector<SvgPoint> points;
        points.reserve(piece.line.size());
        for (const PlotSample& sample : piece.line) {
            points.push_back({frames_.place(sample.time), values_.place(sample.value)});
        }
        svg_.polyline(formatted("curve {}", piece.name).c_str(), points,
                      dashesOf(piece.name, share));
    }

    /// Draws the outline: along the upper ends and back along the lower ones.
    void band(const PlotPiece& piece) {
        std::vector<SvgPoint> points;
        points.reserve(2 * piece.band.size());
        for (const PlotColumn& column : piece.band) {
            points.push_back({frames_.place(column.time), values_.place(column.values.most)});
        }
        for (auto column = piece.band.rbegin(); column != piece.band.rend(); ++column) {
            points.push_back({frames_.place(column->time), values_.place(column->values.least)});
        }
        svg_.polygon("band", points);
    }

    void keys(const Fcurve& curve) {
        const auto all = keysOf(curve);
        const auto shown =
            std::ranges::count_if(all, [&](const FcvKey& key) { return isIn(range(), key); });
        if (static_cast<double>(shown) * kKeySpace > frames_.to() - frames_.from()) {
            keyColumns(curve);
            return;
        }
        for (std::size_t i = 0; i < all.size(); ++i) {
            if (isIn(range(), all[i])) {
                tangents(curve, i);
                svg_.begin("", formatted("frame {}, value {}", all[i].time, all[i].value));
                svg_.circle("key", placeOf(all[i]), 4);
                svg_.end();
            }
        }
    }

    /// Draws keys that are too close as vertical marks, each from the lowest key of a narrow column
    /// to the highest one.
    void keyColumns(const Fcurve& curve) {
        struct Column {
            int keys = 0;
            PlotRange times, values;
        };
        std::vector<Column> columns(
            static_cast<std::size_t>((frames_.to() - frames_.from()) / kKeyColumn) + 2);
        for (const FcvKey& key : keysOf(curve)) {
            if (isIn(range(), key)) {
                const double x = frames_.place(timeOf(key)) - frames_.from();
                Column& column = columns[static_cast<std::size_t>(x / kKeyColumn)];
                ++column.keys;
                column.times.add(timeOf(key));
                column.values.add(valueOf(key));
            }
        }
        for (const auto& [count, times, values] : columns) {
            if (count > 0) {
                const double x = frames_.place((times.least + times.most) / 2);
                svg_.begin("", formatted("{}, frames {:g} to {:g}, values {:g} to {:g}",
                                         counted(count, "key"), times.least, times.most,
                                         values.least, values.most));
                svg_.line("keys", {x, values_.place(values.least) + 4},
                          {x, values_.place(values.most) - 4});
                svg_.end();
            }
        }
    }

    [[nodiscard]] const PlotRange& range() const { return frames_.range(); }

    [[nodiscard]] SvgPoint placeOf(const FcvKey& key) const {
        return {frames_.place(timeOf(key)), values_.place(valueOf(key))};
    }

    /// Draws a tangent if a spline segment or a linear extrapolation follows it.
    void tangents(const Fcurve& curve, std::size_t i) {
        const auto all = keysOf(curve);
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

/// The range of all visible keys and curve values.
PlotRange valuesOf(const std::vector<Drawn>& all, const PlotRange& frames) {
    PlotRange values;
    for (const Drawn& drawn : all) {
        for (const PlotPiece& piece : drawn.pieces) {
            for (const PlotSample& sample : piece.line) {
                values.add(sample.value);
            }
            for (const PlotColumn& column : piece.band) {
                values.add(column.values.least);
                values.add(column.values.most);
            }
        }
        for (const FcvKey& key : keysOf(drawn.curve())) {
            if (isIn(frames, key)) {
                values.add(valueOf(key));
            }
        }
    }
    return values.widened(0.12, values.size() > 0 ? 0 : 0.5);
}

// --- Legend --------------------------------------------------------------------------------------

std::string nameOf(std::int16_t extrapolation) {
    return extrapolation >= 0 && extrapolation < std::ssize(kExtrapolations)
               ? kExtrapolations[extrapolation]
               : formatted("unknown ({})", extrapolation);
}

bool areDrawnAlike(const Drawn& a, const Drawn& b) {
    return a.pieces == b.pieces && a.curve().preExtrapolation == b.curve().preExtrapolation &&
           a.curve().postExtrapolation == b.curve().postExtrapolation;
}

/// The second line of a curve in the legend.
std::string noteOn(const Drawn& drawn, const std::vector<Drawn>& all) {
    const Fcurve& curve = drawn.curve();
    if (keysOf(curve).empty()) {
        return "no keys";
    }
    const auto& first =
        *std::ranges::find_if(all, [&](const Drawn& other) { return areDrawnAlike(other, drawn); });
    if (&first != &drawn) {
        const std::string other = channelOf(first.curve());
        return "same as " + (other != channelOf(curve)
                                 ? shortened(other, kLegendColumns)
                                 : formatted("curve {} here", &first - all.data() + 1));
    }
    return formatted("before {}, after {}{}", nameOf(curve.preExtrapolation),
                     nameOf(curve.postExtrapolation),
                     curve.ascending == 0 ? ", keys out of order" : "");
}

void drawLegend(Svg& svg, const std::vector<Drawn>& all, double left, double top) {
    double y = top + 12;
    for (const Drawn& drawn : all) {
        const std::string channel = channelOf(drawn.curve());
        svg.begin(formatted("c{}", drawn.colour).c_str(), channel);
        svg.line("curve inside", {left + 16, y - 4}, {left + 44, y - 4});
        svg.circle("key", {left + 30, y - 4}, 4);
        svg.end();
        const std::string name = channel.empty() ? "(no channel)" : channel;
        svg.text("name", {left + 52, y}, shortened(name, kLegendColumns));
        svg.text("small", {left + 52, y + 15}, noteOn(drawn, all));
        y += kLegendRow;
    }
}

/// Reports the keys that flatten the panel, below its legend, and draws rings around them.
void drawFar(Svg& svg, PanelWriter& writer, const std::vector<Drawn>& all, const PlotAxis& frames,
             double top) {
    std::vector<double> values;
    for (const Drawn& drawn : all) {
        for (const FcvKey& key : keysOf(drawn.curve())) {
            if (isIn(frames.range(), key)) {
                values.push_back(valueOf(key));
            }
        }
    }
    const auto far = farFrom(std::move(values));
    if (!far) {
        return;
    }
    for (const Drawn& drawn : all) {
        writer.ring(drawn.curve(), far->farthest);
    }
    const double x = frames.to() + 16;
    svg.text("far", {x, top + kPanelHeight + 4},
             formatted("{} far from the rest: value {:g};",
                       far->count == 1 ? "one key is" : formatted("{} keys are", far->count),
                       far->farthest));
    svg.text("far", {x, top + kPanelHeight + 20},
             formatted("the rest goes from {:g} to {:g}", far->least, far->most));
}

} // namespace

std::optional<PlotFar> farFrom(std::vector<double> values) {
    constexpr std::size_t kFewest = 4;
    constexpr std::size_t kMany = 20; // at most one in this many keys is far
    constexpr double kFlattened = 50; // times the range of the others
    if (values.size() < kFewest) {
        return {};
    }
    std::ranges::sort(values);
    const double middle = values[values.size() / 2];
    const double size = values.back() - values.front();
    std::size_t low = 0;
    std::size_t high = values.size() - 1;
    const std::size_t most = std::max<std::size_t>(values.size() / kMany, 1);
    for (std::size_t count = 1; count <= most; ++count) {
        middle - values[low] > values[high] - middle ? ++low : --high;
        const double rest = values[high] - values[low];
        if (rest > 0 && size > kFlattened * rest) {
            const bool below = middle - values.front() > values.back() - middle;
            return PlotFar{count, below ? values.front() : values.back(), values[low],
                           values[high]};
        }
    }
    return {};
}

void drawPanel(Svg& svg, const PlotPanel& panel, const PlotAxis& frames,
               const std::optional<PlotFrames>& shaded, double top) {
    const double left = frames.from();
    const double right = frames.to();
    std::vector<Drawn> all;
    for (const OwnedCurve& entry : panel.curves) {
        all.push_back(
            {entry, colourOf(entry, all.size()), plotPieces(*entry.curve, frames.range())});
    }
    const PlotAxis values(valuesOf(all, frames.range()), top + kPanelHeight, top);
    svg.begin("panel");
    svg.text("heading", {left, top - 12}, shortened(panel.title, kHeadingColumns));
    const int clip = svg.clip({left, top - 6}, right - left, kPanelHeight + 12);
    if (shaded) {
        const double from = std::clamp(frames.place(shaded->first), left, right);
        const double to = std::clamp(frames.place(shaded->last), from, right);
        svg.rect("scene", {from, top}, to - from, kPanelHeight);
    }
    PanelWriter writer(svg, frames, values);
    writer.axes(top, panel.curves.front().unit);
    for (const Drawn& drawn : all) {
        writer.curve(drawn, all, clip);
    }
    drawLegend(svg, all, right, top);
    drawFar(svg, writer, all, frames, top);
    svg.end();
}
