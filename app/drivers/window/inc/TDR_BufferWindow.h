// SPDX-License-Identifier: MIT
// A window that shows one image buffer, for looking at pictures while a driver or a host is being
// written. Nothing in the framework opens one; programs that do link the target `tdr_window`;
// where this project is installed, `TDR::tdr_window` of `find_package(TDR COMPONENTS window)`, or
// what `pkg-config --libs tdr-window` says.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

/// Shows `width` x `height` pixels in a window of its own and returns when that window is gone:
/// closed by the window manager, by Escape, or destroyed from outside. The wait takes no processor
/// time.
///
/// `pixels` are packed 32-bit pixels, red in the low byte, then green, blue and alpha (which is not
/// looked at), row after row without gaps, the bottom row first. The caller keeps them, unchanged
/// or not: every redraw reads them anew. The drawing area has exactly the picture's size, and its
/// lower left corner lies at 10, 10 from the lower left corner of the screen. A width or height of
/// 0 opens a black window of one pixel, and `pixels` may then be null.
///
/// Two lines on standard output say when the loop of events is entered and left. When no window
/// can be opened (no display, a size below 0 or above 32767, no pixels), one line on standard
/// error says why, and the call returns at once. An X server that dies closes the window and
/// leaves the program alone.
void pasteBuffer(long width, long height, const std::uint32_t* pixels, const char* title);

/// As `pasteBuffer`, for programs that have to know: true when the window was there and was closed,
/// false when the line on standard error tells why it could not be opened or that its server died.
[[nodiscard]] bool tryPasteBuffer(long width, long height, const std::uint32_t* pixels,
                                  const char* title);

/// The window below `pasteBuffer`, for a process that waits on more than the window. Such a
/// process hands `eventFd()` to the link, and queue modes other than 1 then end on its events:
///
///     setEventQueueFd(window.eventFd());
///     while (window.handlePending())             // first: events already read wake no select
///         if (link.receive(IPC_QUEUE_AND_SOCKETS, IPC_BLOCKING_FOREVER, 0, 0, &packet) == 1)
///             serve(packet);                     // 0: an event of the window waits
///     setEventQueueFd(-1);
///
/// Use one window from one thread at a time. While a member function runs, the process-wide error
/// handlers of Xlib are ours; errors of other threads' connections are passed on to theirs.
class BufferWindow {
  public:
    /// The screen on which windows open, in pixels.
    struct ScreenSize {
        int width = 0;
        int height = 0;
    };
    /// Asks for it. Nothing, and no word about it, when there is no display.
    [[nodiscard]] static std::optional<ScreenSize> screenSize();

    BufferWindow();
    ~BufferWindow(); ///< Closes the window.
    BufferWindow(const BufferWindow&) = delete;
    BufferWindow& operator=(const BufferWindow&) = delete;

    /// Opens the window with the arguments of `pasteBuffer`; one that is open is closed first.
    /// The picture is drawn by `handlePending`. `depth` asks for a true-colour visual of so many
    /// bits; 0 takes one of the screen's own depth or, where it has none, the deepest there is.
    /// False, after one line on standard error, when there is no such window to be had.
    [[nodiscard]] bool open(long width, long height, const std::uint32_t* pixels, const char* title,
                            int depth = 0);

    /// The descriptor that becomes readable when the window system has news, -1 when closed. It
    /// belongs to the window and ends with it: take it out of every set when `closed()`.
    [[nodiscard]] int eventFd() const;

    /// Handles every event that has arrived, drawing what has been uncovered, and does not block.
    /// True while the window is still open. After it has returned, and until it is called again,
    /// the next event makes `eventFd()` readable.
    bool handlePending();

    [[nodiscard]] bool closed() const { return !state_; }

    /// True when it is closed because the X server went away.
    [[nodiscard]] bool lost() const { return lost_; }

    /// Takes the window off the screen. Nothing happens when it is closed already.
    void close();

    struct State; ///< inner

  private:
    void letGo(bool connected);
    std::unique_ptr<State> state_;
    bool lost_ = false;
};
