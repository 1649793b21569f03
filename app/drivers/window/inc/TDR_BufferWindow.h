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

/// Keys without a character. The others are their ASCII character.
enum WindowKey : int {
    kKeyReturn = 13,
    kKeyEscape = 27,
    kKeyLeft = 256,
    kKeyRight,
    kKeyUp,   ///< also a page up
    kKeyDown, ///< also a page down
    kKeyF11,
};

/// What the user does in a window of `BufferWindow::openForInput`.
struct WindowInput {
    enum class Kind : std::uint8_t {
        Key,    ///< `key` was pressed
        Wheel,  ///< turned by one step at x, y: `key` is 1 away from the user, -1 towards
        Point,  ///< the pointer is at x, y, counted from the upper left corner
        Leave,  ///< the pointer has left the window
        Resize, ///< the window is now x by y pixels; a Point or Leave follows if it had the pointer
    };
    Kind kind = Kind::Key;
    int x = 0;
    int y = 0;
    int movedX = 0; ///< of a Point: how far the pointer has moved with its left button held
    int movedY = 0;
    int key = 0; ///< of WindowKey or ASCII
};

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

    /// The same for a program that takes what the user does: the window can be resized, and Escape
    /// is a key like any other.
    [[nodiscard]] bool openForInput(long width, long height, const std::uint32_t* pixels,
                                    const char* title);

    /// What the user did next in a window of `openForInput`, as far as `handlePending` has seen it.
    [[nodiscard]] std::optional<WindowInput> nextInput();

    /// Shows another picture at once, from the window's upper left corner. Where the window is
    /// larger, it is black. Neither side may be 0.
    void show(long width, long height, const std::uint32_t* pixels);

    void setTitle(const char* title);

    /// Lets the window fill the screen, or gives it its former size. By the window manager if there
    /// is one; a Resize follows.
    void fillScreen(bool fill);

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
    bool prepare(long width, long height, const std::uint32_t* pixels);
    bool openPrepared(const char* title, int depth, bool forInput);
    void run(void (*work)(State& state));
    void letGo(bool connected);
    std::unique_ptr<State> state_;
    bool lost_ = false;
};
