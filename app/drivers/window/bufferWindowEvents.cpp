// SPDX-License-Identifier: MIT
// Drawing, and what happens to an open window. All of it runs below the shield.
#include "bufferWindowState.h"

#include <algorithm>
#include <iterator>

#include <X11/Xutil.h>
#include <X11/keysym.h>

namespace {

using State = BufferWindow::State;
using Kind = WindowInput::Kind;

// --- Drawing -------------------------------------------------------------------------------------

void drawRows(State& state, const WindowDamage& box, int top, int rows) {
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
    const WindowDamage box = state.damage;
    state.damage = {};
    if (state.pixels == nullptr || box.right <= box.left) {
        return;
    }
    for (int top = box.top; top < box.bottom; top += state.strip->height) {
        drawRows(state, box, top, std::min(state.strip->height, box.bottom - top));
    }
}

void takeExpose(State& state, const XEvent& event) {
    state.pointerStale = true;
    const XExposeEvent& part = event.xexpose;
    const WindowDamage box{std::max(part.x, 0), std::max(part.y, 0),
                           std::min(part.x + part.width, state.width),
                           std::min(part.y + part.height, state.height)};
    if (box.right <= box.left || box.bottom <= box.top) {
        return;
    }
    WindowDamage& all = state.damage;
    if (all.right <= all.left) {
        all = box;
        return;
    }
    all = {std::min(all.left, box.left), std::min(all.top, box.top), std::max(all.right, box.right),
           std::max(all.bottom, box.bottom)};
}

// --- Input ---------------------------------------------------------------------------------------

struct KeyRow {
    KeySym symbol;
    int key;
};

// Every other key with a character is that character.
constexpr KeyRow kKeys[] = {
    {XK_Escape, kKeyEscape}, {XK_Return, kKeyReturn}, {XK_KP_Enter, kKeyReturn},
    {XK_Left, kKeyLeft},     {XK_Right, kKeyRight},   {XK_Up, kKeyUp},
    {XK_Down, kKeyDown},     {XK_Page_Up, kKeyUp},    {XK_Page_Down, kKeyDown},
    {XK_F11, kKeyF11},
};

int keyOf(const XEvent& event) {
    XKeyEvent pressed = event.xkey;
    char text = 0;
    KeySym symbol = NoSymbol;
    const int length = XLookupString(&pressed, &text, 1, &symbol, nullptr);
    const auto* row = std::ranges::find(kKeys, symbol, &KeyRow::symbol);
    return row != std::end(kKeys) ? row->key : length == 1 && text >= ' ' ? text : 0;
}

void takeKey(State& state, const XEvent& event) {
    const int key = keyOf(event);
    if (state.forInput && key != 0) {
        state.inputs.add({Kind::Key, 0, 0, 0, 0, key});
    }
    state.closing = state.closing || (!state.forInput && key == kKeyEscape);
}

/// A step of the wheel is a button.
void takeButton(State& state, const XEvent& event) {
    const XButtonEvent& button = event.xbutton;
    if (button.button == Button4 || button.button == Button5) {
        state.inputs.add(
            {Kind::Wheel, button.x, button.y, 0, 0, button.button == Button4 ? 1 : -1});
    }
    state.pointerX = button.x;
    state.pointerY = button.y;
}

void takeMotion(State& state, const XEvent& event) {
    const XMotionEvent& motion = event.xmotion;
    const bool held = (motion.state & Button1Mask) != 0;
    state.inputs.add({Kind::Point, motion.x, motion.y, held ? motion.x - state.pointerX : 0,
                      held ? motion.y - state.pointerY : 0, 0});
    state.pointerX = motion.x;
    state.pointerY = motion.y;
    state.pointerKnown = true;
}

void takeLeave(State& state, const XEvent& /*event*/) {
    state.inputs.add({Kind::Leave, 0, 0, 0, 0, 0});
}

/// The window has moved below the pointer, which may have stayed where it was on the screen.
void findPointer(State& state) {
    state.pointerStale = false;
    Window root = 0;
    Window child = 0;
    int rootX = 0;
    int rootY = 0;
    unsigned buttons = 0;
    const int sameScreen = XQueryPointer(state.display, state.window, &root, &child, &rootX, &rootY,
                                         &state.pointerX, &state.pointerY, &buttons);
    const int x = state.pointerX;
    const int y = state.pointerY;
    const bool inside =
        sameScreen != 0 && x >= 0 && x < state.place.width && y >= 0 && y < state.place.height;
    state.inputs.add({inside ? Kind::Point : Kind::Leave, x, y, 0, 0, 0});
}

/// Of the pointer, or of the window below it. A window that opens below it reports nothing yet.
void takeEnter(State& state, const XEvent& event) {
    if (state.pointerKnown) {
        state.pointerX = event.xcrossing.x;
        state.pointerY = event.xcrossing.y;
        state.inputs.add({Kind::Point, state.pointerX, state.pointerY, 0, 0, 0});
    }
}

void takeConfigure(State& state, const XEvent& event) {
    const XConfigureEvent& now = event.xconfigure;
    const bool resized = now.width != state.place.width || now.height != state.place.height;
    state.place = {now.x, now.y, now.width, now.height};
    if (state.forInput && resized) {
        state.inputs.add({Kind::Resize, now.width, now.height, 0, 0, 0});
    }
    state.pointerStale = true;
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
constexpr EventRow kEvents[] = {
    {Expose, takeExpose},
    {KeyPress, takeKey},
    {ButtonPress, takeButton},
    {MotionNotify, takeMotion},
    {EnterNotify, takeEnter},
    {LeaveNotify, takeLeave},
    {ConfigureNotify, takeConfigure},
    {ClientMessage, takeMessage},
    {DestroyNotify, takeDestroy},
    {MappingNotify, takeMapping},
};

void takeEvent(State& state) {
    XEvent event;
    XNextEvent(state.display, &event);
    for (const EventRow& row : kEvents) {
        if (row.type == event.type) {
            row.take(state, event);
        }
    }
}

} // namespace

void WindowInputs::add(const WindowInput& input) {
    WindowInput& last = all[(first + count + all.size() - 1) % all.size()];
    const bool merges = input.kind == Kind::Point || input.kind == Kind::Resize;
    if (merges && count > 0 && last.kind == input.kind) {
        const WindowInput before = last;
        last = input;
        last.movedX += before.movedX;
        last.movedY += before.movedY;
    } else if (count < all.size()) {
        all[(first + count++) % all.size()] = input;
    }
}

std::optional<WindowInput> WindowInputs::take() {
    if (count == 0) {
        return {};
    }
    --count;
    const WindowInput input = all[first];
    first = (first + 1) % all.size();
    return input;
}

namespace windowInner {

/// Everything uncovered while events wait is drawn at once. XPending sends buffered requests and
/// reads new events, so that none are left inside Xlib when it returns 0.
void takeEvents(State& state) {
    while (!state.closing && XPending(state.display) > 0) {
        while (!state.closing && XPending(state.display) > 0) {
            takeEvent(state);
        }
        if (state.pointerStale && state.pointerKnown) {
            findPointer(state);
        }
        if (!state.closing) {
            drawDamage(state);
        }
    }
}

/// The strip belongs to the width of what is drawn.
void drawAll(State& state) {
    if (state.strip->width != state.width) {
        dropStrip(state);
        if (!makeStrip(state)) {
            state.closing = true;
            return;
        }
    }
    state.damage = {0, 0, state.width, state.height};
    drawDamage(state);
    XFlush(state.display);
}

} // namespace windowInner
