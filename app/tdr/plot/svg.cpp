// SPDX-License-Identifier: MIT
#include "svg.h"

#include "output/formatted.h"
#include "output/utf8Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace {

constexpr double kFarthest = 1e6; // browsers draw with single floats

constexpr std::array<const char*, 3> kAnchors = {"start", "middle", "end"};

std::string listOf(const std::vector<SvgPoint>& points) {
    std::string list;
    for (const SvgPoint& point : points) {
        list += svgNumber(point.x) + ',' + svgNumber(point.y) + ' ';
    }
    return list;
}

} // namespace

std::string svgNumber(double value) {
    if (std::isnan(value)) {
        return "0";
    }
    char digits[32];
    const double kept = std::clamp(value, -kFarthest, kFarthest);
    const auto end =
        std::to_chars(digits, digits + sizeof digits, kept, std::chars_format::fixed, 2).ptr;
    std::string_view text(digits, static_cast<std::size_t>(end - digits));
    while (text.ends_with('0')) {
        text.remove_suffix(1);
    }
    text.remove_suffix(text.ends_with('.') ? 1 : 0);
    return text == "-0" ? "0" : std::string(text);
}

Svg::Svg(double width, double height, std::string_view style, std::string_view title) {
    const std::string w = svgNumber(width);
    const std::string h = svgNumber(height);
    out_ = formatted("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{}\" height=\"{}\" "
                     "viewBox=\"0 0 {} {}\">\n<title>{}</title>\n<style>{}</style>\n"
                     "<rect class=\"paper\" width=\"{}\" height=\"{}\"/>\n",
                     w, h, w, h, markupText(title), style, w, h);
}

void Svg::line(const char* style, SvgPoint a, SvgPoint b) {
    out_ += formatted("<line class=\"{}\" x1=\"{}\" y1=\"{}\" x2=\"{}\" y2=\"{}\"/>\n", style,
                      svgNumber(a.x), svgNumber(a.y), svgNumber(b.x), svgNumber(b.y));
}

void Svg::rect(const char* style, SvgPoint corner, double width, double height, double round) {
    out_ +=
        formatted("<rect class=\"{}\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"{}/>\n", style,
                  svgNumber(corner.x), svgNumber(corner.y), svgNumber(width), svgNumber(height),
                  round > 0 ? formatted(" rx=\"{}\"", svgNumber(round)) : "");
}

void Svg::circle(const char* style, SvgPoint centre, double radius) {
    out_ += formatted("<circle class=\"{}\" cx=\"{}\" cy=\"{}\" r=\"{}\"/>\n", style,
                      svgNumber(centre.x), svgNumber(centre.y), svgNumber(radius));
}

void Svg::text(const char* style, SvgPoint at, std::string_view utf8, SvgAnchor anchor) {
    out_ += formatted("<text class=\"{}\" x=\"{}\" y=\"{}\" text-anchor=\"{}\">{}</text>\n", style,
                      svgNumber(at.x), svgNumber(at.y), kAnchors[static_cast<std::size_t>(anchor)],
                      markupText(utf8));
}

void Svg::upwardText(const char* style, SvgPoint at, std::string_view utf8) {
    const std::string x = svgNumber(at.x);
    const std::string y = svgNumber(at.y);
    out_ += formatted("<text class=\"{}\" x=\"{}\" y=\"{}\" text-anchor=\"middle\" "
                      "transform=\"rotate(-90 {} {})\">{}</text>\n",
                      style, x, y, x, y, markupText(utf8));
}

void Svg::polyline(const char* style, const std::vector<SvgPoint>& points, std::string_view rules) {
    out_ += formatted("<polyline class=\"{}\"{} points=\"{}\"/>\n", style,
                      rules.empty() ? "" : formatted(" style=\"{}\"", rules), listOf(points));
}

void Svg::polygon(const char* style, const std::vector<SvgPoint>& corners) {
    out_ += formatted("<polygon class=\"{}\" points=\"{}\"/>\n", style, listOf(corners));
}

void Svg::path(const char* style, std::string_view data) {
    out_ += formatted("<path class=\"{}\" d=\"{}\"/>\n", style, data);
}

void Svg::begin(const char* style, std::string_view title, int clip) {
    out_ += formatted("<g class=\"{}\"{}>{}\n", style,
                      clip != 0 ? formatted(" clip-path=\"url(#clip{})\"", clip) : "",
                      title.empty() ? "" : "<title>" + markupText(title) + "</title>");
}

void Svg::end() {
    out_ += "</g>\n";
}

int Svg::clip(SvgPoint corner, double width, double height) {
    ++clips_;
    out_ += formatted("<clipPath id=\"clip{}\"><rect x=\"{}\" y=\"{}\" width=\"{}\" "
                      "height=\"{}\"/></clipPath>\n",
                      clips_, svgNumber(corner.x), svgNumber(corner.y), svgNumber(width),
                      svgNumber(height));
    return clips_;
}

std::string Svg::take() {
    out_ += "</svg>\n";
    return std::move(out_);
}

std::string Svg::moveTo(SvgPoint to) {
    return 'M' + svgNumber(to.x) + ' ' + svgNumber(to.y);
}

std::string Svg::lineTo(SvgPoint to) {
    return 'L' + svgNumber(to.x) + ' ' + svgNumber(to.y);
}

std::string Svg::curveTo(SvgPoint control1, SvgPoint control2, SvgPoint to) {
    return 'C' + svgNumber(control1.x) + ' ' + svgNumber(control1.y) + ' ' + svgNumber(control2.x) +
           ' ' + svgNumber(control2.y) + ' ' + svgNumber(to.x) + ' ' + svgNumber(to.y);
}
