// SPDX-License-Identifier: MIT
// What a window is, for the files that implement it. Only they include this header.
#pragma once

#include "TDR_BufferWindow.h"
#include "bufferWindowPixels.h"

#include <array>
#include <cstddef>
#include <optional>

// Last, because their macros have common names.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

/// Size of the buffer in which rows are converted before they are sent. Holds the widest row (4 x
/// 32767 bytes) and stays below the request size that every server accepts (256 KiB).
constexpr std::size_t kStripBytes = std::size_t{128} << 10;

/// The part of the window to redraw; empty when right <= left.
struct WindowDamage {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
};

struct WindowPlace {
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
};

/// What the user has done and nobody has taken. Plain data, like State.
struct WindowInputs {
    std::array<WindowInput, 64> all;
    std::size_t first = 0;
    std::size_t count = 0;

    /// Adds one; what does not fit is dropped. Successive moves become one.
    void add(const WindowInput& input);
    [[nodiscard]] std::optional<WindowInput> take();
};

/// Plain data, so that a long jump out of functions with a reference to it skips no destructor.
struct BufferWindow::State {
    int width = 0; // of the picture, at least 1
    int height = 0;
    const std::uint32_t* pixels = nullptr; // null: nothing to draw, the window stays black
    const char* title = nullptr;           // only while it is set
    int depth = 0;                         // only while opening: the requested depth
    bool forInput = false;                 // resizable, and what the user does is kept in `inputs`

    Display* display = nullptr;
    int fd = -1;
    Window window = 0;
    XVisualInfo visual{};
    GC gc = nullptr;
    Atom protocols = 0;
    Atom deleteWindow = 0;
    XImage* strip = nullptr; // its data is `bytes`
    PixelEncoder encoder;
    WindowDamage damage;
    bool closing = false;
    const char* failure = nullptr; // why the window could not be opened
    WindowInputs inputs;
    int pointerX = 0; // as last reported
    int pointerY = 0;
    bool pointerKnown = false; // it has moved inside
    bool pointerStale = false; // the window may have moved below it since
    WindowPlace place;         // as last reported
    WindowPlace smallPlace;    // before it filled the screen
    bool fillsScreen = false;
    std::array<char, kStripBytes> bytes;
};

namespace windowInner {

/// Below the shield: connects and maps the window that `state` describes.
void open(BufferWindow::State& state);
void askScreenSize(BufferWindow::ScreenSize& size);
/// Makes the strip for the picture's width. False if it cannot be drawn.
[[nodiscard]] bool makeStrip(BufferWindow::State& state);
void dropStrip(BufferWindow::State& state);
void setTitle(BufferWindow::State& state);
void fillScreen(BufferWindow::State& state);
void takeEvents(BufferWindow::State& state);
void drawAll(BufferWindow::State& state);
void close(BufferWindow::State& state);

} // namespace windowInner
