// SPDX-License-Identifier: MIT
// Curves over time: a panel for each group, one below the other with the same frames.
#include "drawings.h"
#include "output/formatted.h"
#include "output/utf8Text.h"
#include "plotPanel.h"
#include "svg.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>

namespace {

// Positions in the drawing, in pixels.
constexpr double kWidth = 1016;
constexpr double kLeft = 112;   // of the panels: unit and tick labels are left of it
constexpr double kRight = 752;  // of the panels: the legend is right of it
constexpr double kHeader = 120; // height of title and key
constexpr double kPitch = 278;  // from one panel to the next

constexpr std::size_t kMostPanels = 40;
constexpr std::size_t kTitleColumns = 62;

bool sameName(std::string_view a, std::string_view b) {
    return std::ranges::equal(
        a, b, [](unsigned char x, unsigned char y) { return std::toupper(x) == std::toupper(y); });
}

bool belongTogether(const OwnedCurve& a, const OwnedCurve& b) {
    return a.source == b.source && a.group == b.group;
}

/// Makes the panels' titles unique: elements may have the same name, and a group many curves.
void setTitles(std::vector<PlotPanel>& panels) {
    std::map<std::string, std::size_t> elements; // with the same title
    std::vector<std::size_t> numbers;            // of each panel's element among these
    for (std::size_t i = 0; i < panels.size(); ++i) {
        const OwnedCurve& first = panels[i].curves.front();
        panels[i].title = formatted("{} · {}", first.owner, first.group);
        const bool continued = i > 0 && belongTogether(first, panels[i - 1].curves.front());
        elements[panels[i].title] += continued ? 0 : 1;
        numbers.push_back(elements[panels[i].title]);
    }
    for (std::size_t begin = 0, end = 0; begin < panels.size(); begin = end) {
        const OwnedCurve& first = panels[begin].curves.front();
        while (end < panels.size() && belongTogether(first, panels[end].curves.front())) {
            ++end;
        }
        const std::size_t alike = elements[panels[begin].title];
        for (std::size_t i = begin; i < end; ++i) {
            panels[i].title += alike > 1 ? formatted(" ({} of {})", numbers[i], alike) : "";
            panels[i].title +=
                i > begin ? formatted(" (panel {} of {})", i - begin + 1, end - begin) : "";
        }
    }
}

std::vector<PlotPanel> panelsOf(std::vector<OwnedCurve> curves) {
    std::vector<PlotPanel> panels;
    for (OwnedCurve& entry : curves) {
        if (panels.empty() || panels.back().curves.size() == kMostInPanel ||
            !belongTogether(panels.back().curves.front(), entry)) {
            panels.emplace_back();
        }
        panels.back().curves.push_back(std::move(entry));
    }
    setTitles(panels);
    return panels;
}

/// The times to show: the scene's frames and all keys.
std::vector<double> timesOf(const SceneDocument& document, const std::vector<OwnedCurve>& curves) {
    std::vector<double> times;
    if (document.scene != nullptr) {
        times = {static_cast<double>(document.scene->frameStart),
                 static_cast<double>(document.scene->frameEnd)};
    }
    for (const OwnedCurve& entry : curves) {
        for (const FcvKey& key : keysOf(*entry.curve)) {
            times.push_back(static_cast<double>(key.time));
        }
    }
    return times;
}

PlotRange rangeOf(const std::vector<double>& times) {
    PlotRange frames;
    for (const double time : times) {
        frames.add(time);
    }
    return frames.widened(0.08, 2);
}

/// Draws the key to the marks, in a row under the title.
void drawKey(Svg& svg, bool hasFrames) {
    constexpr double y = 66;
    svg.begin("neutral");
    svg.circle("key", {kLeft + 6, y - 4}, 4);
    svg.text("small", {kLeft + 16, y}, "key");
    for (const double x : {52.0, 56.0, 60.0}) {
        svg.line("keys", {kLeft + x, y - 9}, {kLeft + x, y + 1});
    }
    svg.text("small", {kLeft + 68, y}, "many keys");
    svg.line("tangent", {kLeft + 146, y - 4}, {kLeft + 168, y - 4});
    svg.circle("handle", {kLeft + 168, y - 4}, 2.5);
    svg.text("small", {kLeft + 178, y}, "tangent");
    svg.polyline("curve before", {{kLeft + 244, y - 4}, {kLeft + 282, y - 4}});
    svg.text("small", {kLeft + 290, y}, "before the first key");
    svg.polyline("curve after", {{kLeft + 424, y - 4}, {kLeft + 462, y - 4}});
    svg.text("small", {kLeft + 470, y}, "after the last key");
    svg.rect("band", {kLeft + 590, y - 11}, 30, 14);
    svg.text("small", {kLeft + 628, y}, "goes up and down in it");
    if (hasFrames) {
        svg.rect("scene", {kLeft + 780, y - 11}, 30, 14);
        svg.text("small", {kLeft + 818, y}, "scene");
    }
    svg.end();
}

/// The curves of the requested channels, or why there are none.
Outcome<std::vector<OwnedCurve>> chosen(const SceneDocument& document, const CurveChoice& choice) {
    std::vector<OwnedCurve> all;
    std::vector<bool> found(choice.channels.size());
    visitCurves(document, [&](const OwnedCurve& entry) {
        bool wanted = choice.channels.empty();
        for (std::size_t i = 0; i < found.size(); ++i) {
            if (sameName(channelOf(*entry.curve), choice.channels[i])) {
                wanted = found[i] = true;
            }
        }
        if (wanted) {
            all.push_back(entry);
        }
    });
    const auto missing = std::ranges::find(found, false);
    if (missing != found.end()) {
        const std::string& channel =
            choice.channels[static_cast<std::size_t>(missing - found.begin())];
        return Problem{ExitCode::Failed,
                       formatted("no curve of channel {} (tdr info lists those there are)",
                                 utf8Text(std::string_view(channel)))};
    }
    return all.empty() ? Outcome<std::vector<OwnedCurve>>(Problem{ExitCode::Failed, "no curves"})
                       : all;
}

/// Reports keys that stretch the frame axis.
void drawFarFrames(Svg& svg, const std::vector<double>& times) {
    if (const auto far = farFrom(times)) {
        svg.text("far", {kLeft, 88},
                 formatted("frame {:g} lies far from the rest; --frames={:.0f}-{:.0f} shows that",
                           far->farthest, std::floor(far->least), std::ceil(far->most)));
    }
}

} // namespace

Outcome<Plot> plotCurves(const SceneDocument& document, const std::string& title,
                         const CurveChoice& choice) {
    auto curves = chosen(document, choice);
    if (!curves) {
        return curves.failure();
    }
    const std::vector<double> times = timesOf(document, *curves);
    const PlotAxis frames(choice.frames ? *choice.frames : rangeOf(times), kLeft, kRight);
    const std::vector<PlotPanel> panels = panelsOf(std::move(*curves));
    const std::size_t shown = std::min(panels.size(), kMostPanels);
    Svg svg(kWidth, kHeader + static_cast<double>(shown) * kPitch,
            std::string(kPlotStyle) + kPanelStyle, title);
    svg.text("title", {kLeft, 36}, shortened(title, kTitleColumns));
    std::optional<PlotFrames> shaded;
    if (document.scene != nullptr) {
        shaded = {static_cast<double>(document.scene->frameStart),
                  static_cast<double>(document.scene->frameEnd)};
    }
    drawKey(svg, shaded.has_value());
    if (!choice.frames) {
        drawFarFrames(svg, times);
    }
    for (std::size_t i = 0; i < shown; ++i) {
        drawPanel(svg, panels[i], frames, shaded, kHeader + static_cast<double>(i) * kPitch);
    }
    return Plot{svg.take(),
                shown == panels.size()
                    ? ""
                    : formatted("the first {} of {} groups of curves are drawn; choose channels "
                                "with --curve",
                                shown, panels.size())};
}
