// SPDX-License-Identifier: MIT
// Where a picture is in its window, and how large.
#pragma once

#include "pictures/scaler.h"

#include <optional>

/// The size of a window for a picture: with the width to height ratio of its pixels (`meantRatio`),
/// reduced to fit into `room`; a picture smaller than a hand is enlarged by a whole number.
[[nodiscard]] PixelSize windowSize(PixelSize picture, double ratio, PixelSize room);

/// A picture's scale, where 1 shows each pixel as one of the screen (longer in one direction if it
/// is not square), and its place. A picture smaller than its window is in the middle of it; a
/// larger one leaves no part of it empty.
class ViewPort {
  public:
    struct Pixel {
        int column = 0;
        int line = 0; ///< from the top
        bool operator==(const Pixel&) const = default;
    };

    /// Fits the picture into the window.
    ViewPort(PixelSize picture, double ratio, PixelSize window);

    /// Also enlarges it, by a whole number. It then fits until the user scales it.
    void fit();
    /// The same place stays in the middle.
    void resizeWindow(PixelSize window);
    /// One pixel of the picture for one of the screen.
    void showPixels();
    /// By so many steps; what is at x, y of the window stays there.
    void zoom(int steps, int x, int y);
    void pan(int right, int down);

    [[nodiscard]] PixelSize window() const { return window_; }
    [[nodiscard]] double scale() const { return scale_; }
    [[nodiscard]] PixelSize shown() const; ///< size of the whole picture, in pixels of the screen
    [[nodiscard]] int left() const { return left_; } ///< of the picture's upper left corner
    [[nodiscard]] int top() const { return top_; }
    /// The picture's pixel at x, y of the window; none outside the picture.
    [[nodiscard]] std::optional<Pixel> pixelAt(int x, int y) const;

  private:
    void scaleAt(double scale, int x, int y);
    void place(double left, double top);

    PixelSize picture_;
    double width_; ///< with square pixels
    double height_;
    PixelSize window_;
    bool fits_ = true;
    double scale_ = 1;
    int left_ = 0;
    int top_ = 0;
};
