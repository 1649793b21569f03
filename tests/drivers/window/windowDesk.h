// SPDX-License-Identifier: MIT
// A screen of the tests' own, and the ways to look at windows on it and to use them.
#pragma once

#include "support/program.h"
#include "support/tempDir.h"

#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

// As the window system has them; its own header would bring names like None to every test.
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

/// What one window shows.
struct Screenshot {
    int width = 0;
    int height = 0;
    int depth = 0;
    std::uint32_t masks[3] = {}; ///< red, green, blue
    std::vector<std::uint32_t> pixels;
    [[nodiscard]] std::uint32_t at(int column, int row) const {
        return pixels[static_cast<std::size_t>(row) * static_cast<std::size_t>(width) +
                      static_cast<std::size_t>(column)];
    }
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

    /// The window of that title when it is on the screen, waited for; 0 after a failure.
    WindowId window(const std::string& title);

    Place place(WindowId window);
    Screenshot screenshot(WindowId window);

    /// Gives the window the keyboard by the pointer or, with a manager, waits until that has.
    void awaitFocus(WindowId window);
    /// Runs xdotool, which types and clicks like a person.
    void xdotool(const std::vector<std::string>& arguments) const;

    /// Destroys a window at once, though it is another program's.
    void destroy(WindowId window);

    /// Covers a part of the screen with a white window for a moment. What was below has been told
    /// when this returns.
    void coverBriefly(const Place& part);

    /// Ends the server at once, as a crash does.
    void killServer();

    /// Starts a program on a screen that goes away when it has sent so many messages, the first of
    /// which opens the connection.
    std::unique_ptr<Program> startCut(std::vector<std::string> command, int messages);

    [[nodiscard]] _XDisplay* display() const { return display_.get(); }

  private:
    void startServer(const std::string& screen);
    void startManager();
    WindowId find(WindowId below, const std::string& title) const;
    [[nodiscard]] std::string environment() const { return "DISPLAY=:" + number_; }

    struct Closer {
        void operator()(_XDisplay* display) const;
    };
    support::TempDir home_;
    std::string number_;
    std::unique_ptr<Program> server_;
    std::unique_ptr<_XDisplay, Closer> display_;
    std::unique_ptr<Program> manager_;
    bool managed_ = false;
    std::jthread cut_;
};
