// SPDX-License-Identifier: MIT
// Opening a window, and what its frame shows. All of it runs below the shield.
#include "bufferWindowState.h"
#include "xlibShield.h"

#include <cstdint>
#include <cstring>

#include <X11/Xatom.h>
#include <X11/Xutil.h>

namespace {

using State = BufferWindow::State;

/// Distance of the drawing area from the left and the lower edge of the screen.
constexpr int kMargin = 10;

/// Maximum length of a title: not every server accepts properties of any length.
constexpr std::size_t kMaxTitle = 1024;

/// The requested visual, the screen's own, or the deepest one in true colour.
bool findVisual(const State& state, XVisualInfo& found) {
    const int screen = DefaultScreen(state.display);
    const int preferred = state.depth != 0 ? state.depth : DefaultDepth(state.display, screen);
    if (XMatchVisualInfo(state.display, screen, preferred, TrueColor, &found) != 0) {
        return true;
    }
    for (int depth = 32; state.depth == 0 && depth > 0; --depth) {
        if (XMatchVisualInfo(state.display, screen, depth, TrueColor, &found) != 0) {
            return true;
        }
    }
    return false;
}

/// The drawing area's lower left corner is at the margins from that of the screen.
int topOf(const State& state) {
    const int screenHeight = DisplayHeight(state.display, DefaultScreen(state.display));
    return screenHeight - kMargin - state.height;
}

void createWindow(State& state, const XVisualInfo& visual) {
    Display* display = state.display;
    const Window root = RootWindow(display, DefaultScreen(display));
    XSetWindowAttributes wanted{};
    wanted.background_pixel = state.encoder.encode(0);
    wanted.border_pixel =
        wanted.background_pixel; // there is no default unless the visual is the root's
    wanted.colormap = XCreateColormap(display, root, visual.visual, AllocNone);
    wanted.event_mask = ExposureMask | KeyPressMask | StructureNotifyMask;
    if (state.forInput) {
        wanted.event_mask |=
            ButtonPressMask | PointerMotionMask | EnterWindowMask | LeaveWindowMask;
    }
    state.window = XCreateWindow(
        display, root, kMargin, topOf(state), static_cast<unsigned>(state.width),
        static_cast<unsigned>(state.height), 0, visual.depth, InputOutput, visual.visual,
        CWBackPixel | CWBorderPixel | CWColormap | CWEventMask, &wanted);
    state.gc = XCreateGC(display, state.window, 0, nullptr);
}

/// With static gravity the position is that of the drawing area, not of the manager's frame.
void setHints(State& state) {
    XSizeHints size{};
    size.flags = USPosition | USSize | PWinGravity | (state.forInput ? 0 : PMinSize | PMaxSize);
    size.x = kMargin;
    size.y = topOf(state);
    size.width = size.min_width = size.max_width = state.width;
    size.height = size.min_height = size.max_height = state.height;
    size.win_gravity = StaticGravity;
    XSetWMNormalHints(state.display, state.window, &size);

    XWMHints keys{};
    keys.flags = InputHint | StateHint;
    keys.input = True;
    keys.initial_state = NormalState;
    XSetWMHints(state.display, state.window, &keys);

    state.protocols = XInternAtom(state.display, "WM_PROTOCOLS", False);
    state.deleteWindow = XInternAtom(state.display, "WM_DELETE_WINDOW", False);
    XSetWMProtocols(state.display, state.window, &state.deleteWindow, 1);
}

bool hasManager(const State& state) {
    Atom type = 0;
    int format = 0;
    unsigned long count = 0;
    unsigned long left = 0;
    unsigned char* value = nullptr;
    XGetWindowProperty(state.display, DefaultRootWindow(state.display),
                       XInternAtom(state.display, "_NET_SUPPORTING_WM_CHECK", False), 0, 1, False,
                       XA_WINDOW, &type, &format, &count, &left, &value);
    if (value != nullptr) {
        XFree(value);
    }
    return type == XA_WINDOW;
}

void askManagerToFill(const State& state) {
    constexpr long kAdd = 1;
    constexpr long kRemove = 0;
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = state.window;
    event.xclient.message_type = XInternAtom(state.display, "_NET_WM_STATE", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = state.fillsScreen ? kAdd : kRemove;
    event.xclient.data.l[1] =
        static_cast<long>(XInternAtom(state.display, "_NET_WM_STATE_FULLSCREEN", False));
    XSendEvent(state.display, DefaultRootWindow(state.display), False,
               SubstructureNotifyMask | SubstructureRedirectMask, &event);
}

void fillWithoutManager(State& state) {
    const int screen = DefaultScreen(state.display);
    const WindowPlace whole{0, 0, DisplayWidth(state.display, screen),
                            DisplayHeight(state.display, screen)};
    if (state.fillsScreen) {
        state.smallPlace = state.place;
    }
    const WindowPlace& wanted = state.fillsScreen ? whole : state.smallPlace;
    XMoveResizeWindow(state.display, state.window, wanted.left, wanted.top,
                      static_cast<unsigned>(wanted.width), static_cast<unsigned>(wanted.height));
    XRaiseWindow(state.display, state.window);
}

} // namespace

namespace windowInner {

/// It is an image of the window's width with as many rows as fit the buffer, in the server's
/// layout.
bool makeStrip(State& state) {
    const XVisualInfo& visual = state.visual;
    XImage* strip =
        XCreateImage(state.display, visual.visual, static_cast<unsigned>(visual.depth), ZPixmap, 0,
                     state.bytes.data(), static_cast<unsigned>(state.width), 1, 32, 0);
    state.strip = strip;
    const auto rowBytes = static_cast<std::size_t>(strip != nullptr ? strip->bytes_per_line : 0);
    if (rowBytes == 0 || rowBytes > kStripBytes || strip->bits_per_pixel % 8 != 0) {
        return false;
    }
    strip->height = static_cast<int>(kStripBytes / rowBytes);
    state.encoder = PixelEncoder({static_cast<std::uint32_t>(visual.red_mask),
                                  static_cast<std::uint32_t>(visual.green_mask),
                                  static_cast<std::uint32_t>(visual.blue_mask), visual.depth,
                                  strip->bits_per_pixel / 8, strip->byte_order == MSBFirst});
    return true;
}

void dropStrip(State& state) {
    if (state.strip != nullptr) {
        state.strip->data = nullptr; // ours, not Xlib's to free
        XDestroyImage(state.strip);
        state.strip = nullptr;
    }
}

/// The old property for every window manager, the newer one for those that read UTF-8.
void setTitle(State& state) {
    const auto length = static_cast<int>(strnlen(state.title, kMaxTitle));
    const auto* text = reinterpret_cast<const unsigned char*>(state.title);
    const Atom utf8 = XInternAtom(state.display, "UTF8_STRING", False);
    const Atom name = XInternAtom(state.display, "_NET_WM_NAME", False);
    XChangeProperty(state.display, state.window, XA_WM_NAME, XA_STRING, 8, PropModeReplace, text,
                    length);
    XChangeProperty(state.display, state.window, name, utf8, 8, PropModeReplace, text, length);
    XFlush(state.display);
}

void open(State& state) {
    state.display = XOpenDisplay(nullptr);
    if (state.display == nullptr) {
        state.failure = "no X display can be opened";
        return;
    }
    state.fd = ConnectionNumber(state.display);
    if (!findVisual(state, state.visual) || !makeStrip(state)) {
        state.failure = "the X display has no such true-colour visual";
        return;
    }
    createWindow(state, state.visual);
    state.place = {kMargin, topOf(state), state.width, state.height};
    setHints(state);
    setTitle(state);
    XMapWindow(state.display, state.window);
    XSync(state.display, False); // failures show here and not as a blank window
    if (xlib::requestFailed()) {
        state.failure = "the X display refused the window";
    }
}

void askScreenSize(BufferWindow::ScreenSize& size) {
    Display* display = XOpenDisplay(nullptr);
    if (display != nullptr) {
        size = {DisplayWidth(display, DefaultScreen(display)),
                DisplayHeight(display, DefaultScreen(display))};
        XCloseDisplay(display);
    }
}

void fillScreen(State& state) {
    if (hasManager(state)) {
        askManagerToFill(state);
    } else {
        fillWithoutManager(state);
    }
    XFlush(state.display);
}

void close(State& state) {
    if (state.gc != nullptr) {
        XFreeGC(state.display, state.gc);
    }
    XCloseDisplay(state.display);
}

} // namespace windowInner
