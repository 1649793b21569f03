// SPDX-License-Identifier: MIT
// The window on Xlib. Every call into Xlib goes through `xlib::shielded`.
#include "TDR_BufferWindow.h"

#include "base/diagnostics.h"
#include "bufferWindowPixels.h"
#include "xlibShield.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>
#include <algorithm>
#include <array>
#include <cstring>
#include <new>

namespace {

/// Largest side of a window: coordinates of the X protocol are signed 16-bit numbers.
constexpr long kMaxSide = 32767;

/// Distance of the drawing area from the left and the lower edge of the screen.
constexpr int kMargin = 10;

/// Size of the buffer in which rows are converted before they are sent. Holds the widest row (4 x
/// 32767 bytes) and stays below the request size that every server accepts (256 KiB).
constexpr std::size_t kStripBytes = std::size_t{128} << 10;

/// Maximum length of a title: not every server accepts properties of any length.
constexpr std::size_t kMaxTitle = 1024;

/// The part of the window to redraw; empty when right <= left.
struct Damage {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;
};

} // namespace

/// Plain data, so that a long jump out of functions with a reference to it skips no destructor.
struct BufferWindow::State {
    int width = 0; // of the window, at least 1
    int height = 0;
    const std::uint32_t* pixels = nullptr; // null: nothing to draw, the window stays black
    const char* title = nullptr;           // only while opening
    int depth = 0;                         // only while opening: the requested depth

    Display* display = nullptr;
    int fd = -1;
    Window window = 0;
    GC gc = nullptr;
    Atom protocols = 0;
    Atom deleteWindow = 0;
    XImage* strip = nullptr; // its data is `bytes`
    PixelEncoder encoder;
    Damage damage;
    bool closing = false;
    const char* failure = nullptr; // why the window could not be opened
    std::array<char, kStripBytes> bytes;
};

namespace {

// --- Opening, below the shield -------------------------------------------------------------------

using State = BufferWindow::State;

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

/// An image of the window's width with as many rows as fit the buffer, in the server's layout.
bool makeStrip(State& state, const XVisualInfo& visual) {
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
    state.window = XCreateWindow(
        display, root, kMargin, topOf(state), static_cast<unsigned>(state.width),
        static_cast<unsigned>(state.height), 0, visual.depth, InputOutput, visual.visual,
        CWBackPixel | CWBorderPixel | CWColormap | CWEventMask, &wanted);
    state.gc = XCreateGC(display, state.window, 0, nullptr);
}

/// With static gravity the position is that of the drawing area, not of the manager's frame.
void setHints(State& state) {
    XSizeHints size{};
    size.flags = USPosition | USSize | PMinSize | PMaxSize | PWinGravity;
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

/// The old property for every window manager, the newer one for those that read UTF-8.
void setTitle(const State& state) {
    const auto length = static_cast<int>(strnlen(state.title, kMaxTitle));
    const auto* text = reinterpret_cast<const unsigned char*>(state.title);
    const Atom utf8 = XInternAtom(state.display, "UTF8_STRING", False);
    const Atom name = XInternAtom(state.display, "_NET_WM_NAME", False);
    XChangeProperty(state.display, state.window, XA_WM_NAME, XA_STRING, 8, PropModeReplace, text,
                    length);
    XChangeProperty(state.display, state.window, name, utf8, 8, PropModeReplace, text, length);
}

void openShielded(State& state) {
    state.display = XOpenDisplay(nullptr);
    if (state.display == nullptr) {
        state.failure = "no X display can be opened";
        return;
    }
    state.fd = ConnectionNumber(state.display);
    XVisualInfo visual{};
    if (!findVisual(state, visual) || !makeStrip(state, visual)) {
        state.failure = "the X display has no such true-colour visual";
        return;
    }
    createWindow(state, visual);
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

// --- Events, below the shield --------------------------------------------------------------------

void drawRows(State& state, const Damage& box, int top, int rows) {
    const XImage& strip = *state.strip;
    const auto count = static_cast<std::size_t>(box.right - box.left);
    for (int row = 0; row < rows; ++row) {
        const auto fromBottom = static_cast<std::size_t>(state.height - 1 - (top + row));
        const std::uint32_t* from = state.pixels +
                                    fromBottom * static_cast<std::size_t>(state.width) +
                                    static_cast<std::size_t>(box.left);
        char* to = strip.data + std::ptrdiff_t{row} * strip.bytes_per_line;
        state.encoder.encodeRow({from, count}, reinterpret_cast<unsigned char*>(to));
    }
    XPutImage(state.display, state.window, state.gc, state.strip, 0, 0, box.left, top,
              static_cast<unsigned>(count), static_cast<unsigned>(rows));
}

void drawDamage(State& state) {
    const Damage box = state.damage;
    state.damage = {};
    if (state.pixels == nullptr || box.right <= box.left) {
        return;
    }
    for (int top = box.top; top < box.bottom; top += state.strip->height) {
        drawRows(state, box, top, std::min(state.strip->height, box.bottom - top));
    }
}

void takeExpose(State& state, const XEvent& event) {
    const XExposeEvent& part = event.xexpose;
    const Damage box{std::max(part.x, 0), std::max(part.y, 0),
                     std::min(part.x + part.width, state.width),
                     std::min(part.y + part.height, state.height)};
    if (box.right <= box.left || box.bottom <= box.top) {
        return;
    }
    Damage& all = state.damage;
    if (all.right <= all.left) {
        all = box;
        return;
    }
    all = {std::min(all.left, box.left), std::min(all.top, box.top), std::max(all.right, box.right),
           std::max(all.bottom, box.bottom)};
}

void takeKey(State& state, const XEvent& event) {
    XKeyEvent key = event.xkey;
    state.closing = state.closing || XLookupKeysym(&key, 0) == XK_Escape;
}

void takeMessage(State& state, const XEvent& event) {
    const XClientMessageEvent& message = event.xclient;
    const bool request = message.format == 32 && message.message_type == state.protocols;
    const auto wanted = static_cast<Atom>(message.data.l[0]);
    state.closing = state.closing || (request && wanted == state.deleteWindow);
}

void takeDestroy(State& state, const XEvent& event) {
    state.closing = state.closing || event.xdestroywindow.window == state.window;
}

void takeMapping(State& /*state*/, const XEvent& event) {
    XMappingEvent mapping = event.xmapping;
    XRefreshKeyboardMapping(&mapping);
}

struct EventRow {
    int type;
    void (*take)(State& state, const XEvent& event);
};

// Every other event is read and dropped.
constexpr EventRow kEvents[] = {{Expose, takeExpose},
                                {KeyPress, takeKey},
                                {ClientMessage, takeMessage},
                                {DestroyNotify, takeDestroy},
                                {MappingNotify, takeMapping}};

void takeEvent(State& state) {
    XEvent event;
    XNextEvent(state.display, &event);
    for (const EventRow& row : kEvents) {
        if (row.type == event.type) {
            row.take(state, event);
        }
    }
}

/// Everything uncovered while events wait is drawn at once. XPending sends buffered requests and
/// reads new events, so that none are left inside Xlib when it returns 0.
void takeEventsShielded(State& state) {
    while (!state.closing && XPending(state.display) > 0) {
        while (!state.closing && XPending(state.display) > 0) {
            takeEvent(state);
        }
        if (!state.closing) {
            drawDamage(state);
        }
    }
}

void closeShielded(State& state) {
    if (state.gc != nullptr) {
        XFreeGC(state.display, state.gc);
    }
    XCloseDisplay(state.display);
}

bool refused(long width, long height, const std::uint32_t* pixels) {
    if (width < 0 || height < 0 || width > kMaxSide || height > kMaxSide) {
        base::say("BufferWindow: %ld x %ld is not the size of a window (0 to %ld).\n", width,
                  height, kMaxSide);
        return true;
    }
    if (width > 0 && height > 0 && pixels == nullptr) {
        base::say("BufferWindow: no pixels given.\n");
        return true;
    }
    return false;
}

} // namespace

std::optional<BufferWindow::ScreenSize> BufferWindow::screenSize() {
    ScreenSize size;
    const bool connected = xlib::shielded(askScreenSize, size);
    return connected && size.width > 0 ? std::optional(size) : std::nullopt;
}

BufferWindow::BufferWindow() = default;

BufferWindow::~BufferWindow() {
    close();
}

bool BufferWindow::open(long width, long height, const std::uint32_t* pixels, const char* title,
                        int depth) {
    close();
    lost_ = false;
    if (refused(width, height, pixels)) {
        return false;
    }
    state_.reset(new (std::nothrow) State);
    if (!state_) {
        base::say("BufferWindow: out of memory.\n");
        return false;
    }
    const bool empty = width == 0 || height == 0;
    state_->width = empty ? 1 : static_cast<int>(width);
    state_->height = empty ? 1 : static_cast<int>(height);
    state_->pixels = empty ? nullptr : pixels;
    state_->title = title != nullptr ? title : "";
    state_->depth = depth;
    const bool connected = xlib::shielded(openShielded, *state_);
    const char* failure = connected ? state_->failure : "the X server went away";
    if (failure != nullptr) {
        base::say("BufferWindow: %s (display \"%s\").\n", failure, XDisplayName(nullptr));
        letGo(connected);
    }
    return failure == nullptr;
}

int BufferWindow::eventFd() const {
    return state_ ? state_->fd : -1;
}

bool BufferWindow::handlePending() {
    if (closed()) {
        return false;
    }
    const bool connected = xlib::shielded(takeEventsShielded, *state_);
    lost_ = !connected;
    if (lost_) {
        base::say("BufferWindow: the X server went away - closing window.\n");
    }
    if (!connected || state_->closing) {
        letGo(connected);
    }
    return !closed();
}

void BufferWindow::close() {
    if (!closed()) {
        letGo(true);
    }
}

void BufferWindow::letGo(bool connected) {
    if (state_->strip != nullptr) {
        state_->strip->data = nullptr; // ours, not Xlib's to free
        XDestroyImage(state_->strip);
    }
    if (state_->display != nullptr && (!connected || !xlib::shielded(closeShielded, *state_))) {
        xlib::rememberLost(state_->gc);
    }
    state_.reset();
}
