// SPDX-License-Identifier: MIT
// A separate screen for the tests, with functions to inspect and use its windows.
#pragma once

#include "support/program.h"
#include "support/tempDir.h"

#include <cstdint>
#include <memory>

/// Declared here, because the window system's header would define names like None in every test.
struct _XDisplay;
using WindowId = unsigned long;

using support::eventually;
using support::Program;

struct Place {
    int left = 0;
    int top = 0;
    int width = 0;
    int height = 0;
    bool operator==(const Place&) const = default;
};

/// The pixels of one window.
struct Screenshot {
    int width = 0;
    int height = 0;
    int depth = 0;
    std::uint32_t masks[3] = {}; ///< red, green, blue
    std::vector<std::uint32_t> pixels;
};

/// A virtual screen, with or without a window manager. Its root is white.
class Desk {
  public:
    enum class Manager { Bare, Openbox };
    explicit Desk(const std::string& screen = "640x480x24", Manager manager = Manager::Bare);
    ~Desk();
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    /// Starts a program on this screen.
    std::unique_ptr<Program> start(std::vector<std::string> command) const;

    /// Waits for the window of that title and returns it; 0 after a failure.
    WindowId window(const std::string& title);

    Place place(WindowId window);
    Screenshot screenshot(WindowId window);

    /// Gives the window the keyboard focus by the pointer or, with a manager, waits until that
    /// does.
    void awaitFocus(WindowId window);
    /// Gives the window the keyboard focus wherever the pointer is; not with a manager.
    void focus(WindowId window);
    /// Runs xdotool, which types and clicks.
    void xdotool(const std::vector<std::string>& arguments) const;

    /// Destroys a window of another program at once.
    void destroy(WindowId window);

    /// Sends a window a request of the protocols between managers and windows.
    void ask(WindowId window, const char* what);

    /// Covers a part of the screen with a white window for a moment. The windows below have been
    /// notified when this returns.
    void coverBriefly(const Place& part);

    /// Ends the server at once, as a crash does.
    void killServer();

    [[nodiscard]] _XDisplay* display() const { return display_.get(); }

  private:
    void startServer(const std::string& screen);
    void startManager();
    WindowId find(WindowId below, const std::string& title) const;

    support::TempDir home_;
    std::string number_;
    std::unique_ptr<Program> server_;
    std::shared_ptr<_XDisplay> display_;
    std::unique_ptr<Program> manager_;
    bool managed_ = false;
};
