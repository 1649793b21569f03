// SPDX-License-Identifier: MIT
// The window on Xlib: its public functions. Every call into Xlib goes through `xlib::shielded`.
#include "TDR_BufferWindow.h"

#include "base/diagnostics.h"
#include "bufferWindowState.h"
#include "xlibShield.h"

#include <new>

namespace {

/// Largest side of a window: coordinates of the X protocol are signed 16-bit numbers.
constexpr long kMaxSide = 32767;

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
    const bool connected = xlib::shielded(windowInner::askScreenSize, size);
    return connected && size.width > 0 ? std::optional(size) : std::nullopt;
}

BufferWindow::BufferWindow() = default;

BufferWindow::~BufferWindow() {
    close();
}

bool BufferWindow::open(long width, long height, const std::uint32_t* pixels, const char* title,
                        int depth) {
    return prepare(width, height, pixels) && openPrepared(title, depth, false);
}

bool BufferWindow::openForInput(long width, long height, const std::uint32_t* pixels,
                                const char* title) {
    return prepare(width, height, pixels) && openPrepared(title, 0, true);
}

bool BufferWindow::prepare(long width, long height, const std::uint32_t* pixels) {
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
    return true;
}

bool BufferWindow::openPrepared(const char* title, int depth, bool forInput) {
    state_->title = title != nullptr ? title : "";
    state_->depth = depth;
    state_->forInput = forInput;
    const bool connected = xlib::shielded(windowInner::open, *state_);
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

/// Runs `work` on the open window, and lets go of it if it ends thereby.
void BufferWindow::run(void (*work)(State& state)) {
    const bool connected = xlib::shielded(work, *state_);
    lost_ = !connected;
    if (lost_) {
        base::say("BufferWindow: the X server went away - closing window.\n");
    }
    if (!connected || state_->closing) {
        letGo(connected);
    }
}

bool BufferWindow::handlePending() {
    if (!closed()) {
        run(windowInner::takeEvents);
    }
    return !closed();
}

std::optional<WindowInput> BufferWindow::nextInput() {
    return closed() ? std::nullopt : state_->inputs.take();
}

void BufferWindow::show(long width, long height, const std::uint32_t* pixels) {
    if (closed() || refused(width, height, pixels) || width == 0 || height == 0) {
        return;
    }
    state_->width = static_cast<int>(width);
    state_->height = static_cast<int>(height);
    state_->pixels = pixels;
    run(windowInner::drawAll);
}

void BufferWindow::setTitle(const char* title) {
    if (!closed()) {
        state_->title = title;
        run(windowInner::setTitle);
    }
}

void BufferWindow::fillScreen(bool fill) {
    if (!closed() && state_->fillsScreen != fill) {
        state_->fillsScreen = fill;
        run(windowInner::fillScreen);
    }
}

void BufferWindow::close() {
    if (!closed()) {
        letGo(true);
    }
}

void BufferWindow::letGo(bool connected) {
    windowInner::dropStrip(*state_);
    if (state_->display != nullptr &&
        (!connected || !xlib::shielded(windowInner::close, *state_))) {
        xlib::rememberLost(state_->gc);
    }
    state_.reset();
}
