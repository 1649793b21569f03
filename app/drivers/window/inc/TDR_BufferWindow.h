// SPDX-License-Identifier: MIT
// A window that shows one image buffer, for looking at pictures while writing a driver or a host.
// The framework never opens one. Programs that do link the target `tdr_window`; with an installed
// project, `TDR::tdr_window` of `find_package(TDR COMPONENTS window)`, or the output of `pkg-config
// --libs tdr-window`.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

/// Shows `width` x `height` pixels in a new window and returns when that window is gone: closed by
/// the window manager, by Escape, or destroyed from outside. The wait takes no processor time.
///
/// `pixels` are packed 32-bit pixels, red in the low byte, then green, blue and alpha (which is
/// ignored), row after row without gaps, the bottom row first. The caller keeps them and may change
/// them: every redraw reads them again. The drawing area has exactly the picture's size, and its
/// lower left corner is at 10, 10 from the lower left corner of the screen. A width or height of 0
/// opens a black window of one pixel, and `pixels` may then be null.
///
/// Two lines on standard output report when the event loop starts and ends. If no window can be
/// opened (no display, a size below 0 or above 32767, no pixels), one line on standard error says
/// why, and the call returns at once. If the X server dies, the window closes and the program
/// continues.
void pasteBuffer(long width, long height, const std::uint32_t* pixels, const char* title);

/// As `pasteBuffer`, with a result: true when the window was open and was closed; false when it
/// could not be opened or its server died, which the line on standard error reports.
[[nodiscard]] bool tryPasteBuffer(long width, long height, const std::uint32_t* pixels,
                                  const char* title);

/// The window beneath `pasteBuffer`, for a process that waits on more than the window. Such a
/// process passes `eventFd()` to the link, and queue modes other than 1 then end on its events:
///
///     setEventQueueFd(window.eventFd());
///     while (window.handlePending())             // first: events already read wake no select
///         if (link.receive(IPC_QUEUE_AND_SOCKETS, IPC_BLOCKING_FOREVER, 0, 0, &packet) == 1)
///             serve(packet);                     // 0: an event of the window waits
///     setEventQueueFd(-1);
///
/// Use one window from one thread at a time. While a member function runs, this class sets the
/// process-wide error handlers of Xlib; errors of other threads' connections are passed on to their
/// handlers.
class BufferWindow {
  public:
    /// The screen on which windows open, in pixels.
    struct ScreenSize {
        int width = 0;
        int height = 0;
    };
    /// The screen's size; none, without a message, if there is no display.
    [[nodiscard]] static std::optional<ScreenSize> screenSize();

    BufferWindow();
    ~BufferWindow(); ///< Closes the window.
    BufferWindow(const BufferWindow&) = delete;
    BufferWindow& operator=(const BufferWindow&) = delete;

    /// Opens the window with the arguments of `pasteBuffer`, after closing an open one.
    /// `handlePending` draws the picture. `depth` requests a true-colour visual of that many bits;
    /// 0 takes one of the screen's own depth or, if there is none, the deepest. False, after one
    /// line on standard error, when the window cannot be opened.
    [[nodiscard]] bool open(long width, long height, const std::uint32_t* pixels, const char* title,
                            int depth = 0);

    /// The descriptor that becomes readable on events of the window system, -1 when closed. It
    /// belongs to the window and ends with it: remove it from every set when `closed()`.
    [[nodiscard]] int eventFd() const;

    /// Handles every event that has arrived, redraws uncovered parts, and does not block. True
    /// while the window is still open. After it returns, the next event makes `eventFd()` readable.
    bool handlePending();

    [[nodiscard]] bool closed() const { return !state_; }

    /// True when it is closed because the X server has gone.
    [[nodiscard]] bool lost() const { return lost_; }

    /// Removes the window from the screen. Does nothing if it is already closed.
    void close();

    struct State; ///< inner

  private:
    void letGo(bool connected);
    std::unique_ptr<State> state_;
    bool lost_ = false;
};
