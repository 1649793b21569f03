// SPDX-License-Identifier: MIT
// The window of tdr view, and what its user does with it.
#pragma once

#include "TDR_BufferWindow.h"
#include "viewCanvas.h"
#include "viewFiles.h"

#include <chrono>
#include <optional>
#include <string>

class Viewer {
  public:
    Viewer(const DriverOptions& drivers, const ViewOptions& options);

    /// Shows the pictures until the user ends it. `Failed` if one of them could not be shown in
    /// full.
    [[nodiscard]] ExitCode run();

    // What keys do.
    void quit(int /*unused*/) { done_ = true; }
    void step(int files);           ///< to another file; after the last one comes the first
    void nextMatte(int /*unused*/); ///< of the file; after the last one comes the first
    void play(int /*unused*/);
    void zoom(int steps);
    void showPixels(int /*unused*/);
    void fit(int /*unused*/);
    void showChannel(int channel);
    void changePremultiplied(int /*unused*/);
    void fillScreen(int /*unused*/);

  private:
    using Clock = std::chrono::steady_clock;

    [[nodiscard]] bool read(int step);
    [[nodiscard]] bool openWindow();
    void serve();
    void take(const WindowInput& input);
    void stepWhenDue();
    [[nodiscard]] bool update();
    void drawPicture();
    [[nodiscard]] const Raster& drawCaptioned();
    void wait() const;
    [[nodiscard]] std::string title() const;
    [[nodiscard]] std::string caption() const;
    [[nodiscard]] std::string pixelText() const;

    double rate_; ///< files a second while they are played
    ViewFiles files_;
    int matte_ = 0;  ///< to show of files that have so many, counted from 0
    PixelSize room_; ///< for windows
    BufferWindow window_;
    std::optional<ViewPicture> picture_;
    std::optional<ViewPort> port_;
    ViewLayer layer_;
    std::optional<Raster> raster_;    ///< of the layer; none if that has changed
    std::optional<Raster> drawn_;     ///< for the window, without a caption
    bool changed_ = true;             ///< since that was drawn
    std::optional<Raster> captioned_; ///< what the window shows, if that has a caption
    std::string caption_;
    std::string title_;
    std::optional<WindowInput> pointer_;   ///< where it is in the window
    std::optional<Clock::time_point> due_; ///< of the next file while they are played
    bool fillsScreen_ = false;
    bool done_ = false;
};
