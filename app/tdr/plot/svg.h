// SPDX-License-Identifier: MIT
// A small writer of SVG pictures. Numbers have at most two digits after the point and do not depend
// on the locale; all text is escaped. The same calls give the same bytes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct SvgPoint {
    double x, y;
};

/// Position of a text's anchor point along it.
enum class SvgAnchor : unsigned char { Start, Middle, End };

class Svg {
  public:
    /// A picture of this size in pixels with a style sheet (trusted) and a title.
    Svg(double width, double height, std::string_view style, std::string_view title);

    /// Draw elements with a class of the style sheet.
    void line(const char* style, SvgPoint a, SvgPoint b);
    void rect(const char* style, SvgPoint corner, double width, double height, double round = 0);
    void circle(const char* style, SvgPoint centre, double radius);
    void text(const char* style, SvgPoint at, std::string_view utf8,
              SvgAnchor anchor = SvgAnchor::Start);
    /// A text that reads upwards, centred at the point.
    void upwardText(const char* style, SvgPoint at, std::string_view utf8);
    /// `rules` are additional style rules for this line only.
    void polyline(const char* style, const std::vector<SvgPoint>& points,
                  std::string_view rules = "");
    void polygon(const char* style, const std::vector<SvgPoint>& corners);
    /// A path from `moveTo`, `lineTo` and `curveTo`.
    void path(const char* style, std::string_view data);

    /// A group, with `title` (if any) as its tooltip, clipped at the rectangle of `clip` (0: none).
    void begin(const char* style, std::string_view title = "", int clip = 0);
    void end();

    /// Defines a clip rectangle and returns its number, from 1.
    int clip(SvgPoint corner, double width, double height);

    /// The whole document.
    [[nodiscard]] std::string take();

    static std::string moveTo(SvgPoint to);
    static std::string lineTo(SvgPoint to);
    static std::string curveTo(SvgPoint control1, SvgPoint control2, SvgPoint to);

  private:
    std::string out_;
    int clips_ = 0;
};

/// A coordinate: at most two digits after the point, clamped to what browsers can draw; 0 for NaN.
[[nodiscard]] std::string svgNumber(double value);
