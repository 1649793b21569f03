// SPDX-License-Identifier: MIT
#include "windowDesk.h"

// Last, because its macros have common names.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace {

/// Windows appear and disappear while the tests search for them.
int ignoreError(Display* /*display*/, XErrorEvent* /*error*/) {
    return 0;
}

bool isViewable(Display* display, Window window) {
    XWindowAttributes attributes{};
    return XGetWindowAttributes(display, window, &attributes) != 0 &&
           attributes.map_state == IsViewable;
}

struct Family {
    Window parent = 0;
    std::vector<Window> children;
};

Family familyOf(Display* display, Window window) {
    Family family;
    Window root = 0;
    Window* children = nullptr;
    unsigned count = 0;
    if (XQueryTree(display, window, &root, &family.parent, &children, &count) != 0) {
        family.children.assign(children, children + count);
        XFree(children);
    }
    return family;
}

/// The window manager puts windows into frames. Without one, a mapped window is viewable.
bool isManaged(Display* display, Window window) {
    return familyOf(display, window).parent != DefaultRootWindow(display) &&
           isViewable(display, window);
}

std::string textOf(Display* display, Window window, const char* property) {
    Atom type = 0;
    int format = 0;
    unsigned long size = 0;
    unsigned long left = 0;
    unsigned char* bytes = nullptr;
    XGetWindowProperty(display, window, XInternAtom(display, property, False), 0, 300, False,
                       AnyPropertyType, &type, &format, &size, &left, &bytes);
    std::string text(reinterpret_cast<const char*>(bytes), bytes != nullptr ? size : 0);
    XFree(bytes);
    return text;
}

/// The title; empty unless the old and the newer property agree.
std::string titleOf(Display* display, Window window) {
    const std::string title = textOf(display, window, "WM_NAME");
    return title == textOf(display, window, "_NET_WM_NAME") ? title : "";
}

} // namespace

Desk::Desk(const std::string& screen, Manager manager) : managed_(manager == Manager::Openbox) {
    startServer(screen);
    if (display_ && managed_) {
        startManager();
    }
}

Desk::~Desk() {
    manager_.reset();
    display_.reset();
    if (server_) {
        server_->kill(SIGTERM); // lets it remove its lock file
        server_->exitStatus();
    }
}

void Desk::startServer(const std::string& screen) {
    XSetErrorHandler(ignoreError);
    server_ = std::make_unique<Program>(std::vector<std::string>{
        "Xvfb", "-displayfd", "1", "-screen", "0", screen, "-nolisten", "tcp", "-noreset"});
    const auto numbered = [this] { return server_->out().find('\n') != std::string::npos; };
    if (!eventually("an X server (scripts/setup test installs it)", numbered)) {
        return;
    }
    number_ = server_->out().substr(0, server_->out().find('\n'));
    Display* const display = XOpenDisplay((":" + number_).c_str());
    ASSERT_TRUE(display);
    display_.reset(display, XCloseDisplay);
    XSetWindowBackground(display, DefaultRootWindow(display),
                         WhitePixel(display, DefaultScreen(display)));
    XClearWindow(display, DefaultRootWindow(display));
    XSync(display, False);
}

void Desk::startManager() {
    const std::string home = "=" + home_.path().string();
    manager_ = start({"env", "HOME" + home, "XDG_CONFIG_HOME" + home, "XDG_CACHE_HOME" + home,
                      "XDG_DATA_HOME" + home, "openbox", "--sm-disable"});
    // It announces itself before it manages windows, and ignores those that appear in between.
    const Window probe =
        XCreateSimpleWindow(display(), DefaultRootWindow(display()), 0, 0, 20, 20, 0, 0, 0);
    eventually("the window manager", [this, probe] {
        XMapWindow(display(), probe);
        return isManaged(display(), probe);
    });
    XDestroyWindow(display(), probe);
    XSync(display(), False);
}

std::unique_ptr<Program> Desk::start(std::vector<std::string> command) const {
    command.insert(command.begin(), {"env", "DISPLAY=:" + number_});
    return std::make_unique<Program>(std::move(command));
}

Window Desk::find(Window below, const std::string& title) const {
    Window found = 0;
    for (const Window child : familyOf(display(), below).children) {
        const bool here = titleOf(display(), child) == title && isViewable(display(), child);
        found = found != 0 ? found : here ? child : find(child, title);
    }
    return found;
}

Window Desk::window(const std::string& title) {
    Window found = 0;
    eventually(("a window titled " + title).c_str(), [&] {
        found = find(DefaultRootWindow(display()), title);
        return found != 0;
    });
    return found;
}

Place Desk::place(Window window) {
    XWindowAttributes attributes{};
    Window child = 0;
    Place place;
    if (XGetWindowAttributes(display(), window, &attributes) != 0) {
        XTranslateCoordinates(display(), window, attributes.root, 0, 0, &place.left, &place.top,
                              &child);
    }
    place.width = attributes.width;
    place.height = attributes.height;
    return place;
}

Screenshot Desk::screenshot(Window window) {
    const Place shown = place(window);
    const auto width = static_cast<unsigned>(shown.width);
    const auto height = static_cast<unsigned>(shown.height);
    XImage* image = XGetImage(display(), window, 0, 0, width, height, AllPlanes, ZPixmap);
    if (image == nullptr) {
        ADD_FAILURE() << "nothing of the window to be seen";
        return {};
    }
    const auto mask = [](unsigned long bits) { return static_cast<std::uint32_t>(bits); };
    Screenshot shot{shown.width,
                    shown.height,
                    image->depth,
                    {mask(image->red_mask), mask(image->green_mask), mask(image->blue_mask)},
                    {}};
    for (int row = 0; row < shown.height; ++row) {
        for (int column = 0; column < shown.width; ++column) {
            shot.pixels.push_back(static_cast<std::uint32_t>(XGetPixel(image, column, row)));
        }
    }
    XDestroyImage(image);
    return shot;
}

void Desk::awaitFocus(Window window) {
    if (!managed_) {
        XWarpPointer(display(), 0, window, 0, 0, 0, 0, 0, 0);
        XSync(display(), False);
        return;
    }
    eventually("the manager to give the window the keyboard", [&] {
        Window focused = 0;
        int revert = 0;
        XGetInputFocus(display(), &focused, &revert);
        return focused == window;
    });
}

void Desk::focus(Window window) {
    XSetInputFocus(display(), window, RevertToPointerRoot, CurrentTime);
    XSync(display(), False);
}

void Desk::xdotool(const std::vector<std::string>& arguments) const {
    std::vector<std::string> command{"xdotool"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const auto tool = start(command);
    EXPECT_EQ(tool->exitStatus(), 0) << tool->err();
}

void Desk::ask(Window window, const char* what) {
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = window;
    event.xclient.message_type = XInternAtom(display(), "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(XInternAtom(display(), what, False));
    XSendEvent(display(), window, False, NoEventMask, &event);
    XSync(display(), False);
}

void Desk::destroy(Window window) {
    XDestroyWindow(display(), window);
    XSync(display(), False);
}

void Desk::coverBriefly(const Place& part) {
    XSetWindowAttributes wanted{};
    wanted.override_redirect = True;
    wanted.background_pixel = WhitePixel(display(), DefaultScreen(display()));
    const Window cover = XCreateWindow(
        display(), DefaultRootWindow(display()), part.left, part.top,
        static_cast<unsigned>(part.width), static_cast<unsigned>(part.height), 0, CopyFromParent,
        InputOutput, nullptr, CWOverrideRedirect | CWBackPixel, &wanted);
    XMapRaised(display(), cover);
    XSync(display(), False);
    destroy(cover);
    XSync(display(), False); // twice: the first answer may have been sent before other events
}

void Desk::killServer() {
    manager_.reset();
    display_.reset();
    server_->kill(SIGKILL);
    const pid_t pid = server_->pid();
    server_.reset();
    // Removes the server's lock file, but not that of another server with the same number.
    const std::string lock = "/tmp/.X" + number_ + "-lock";
    pid_t owner = 0;
    std::ifstream(lock) >> owner;
    if (owner == pid) {
        std::filesystem::remove("/tmp/.X11-unix/X" + number_);
        std::filesystem::remove(lock);
    }
}
