// SPDX-License-Identifier: MIT
#include "xlibShield.h"

#include "base/holdSigpipe.h"

#include <X11/Xlib.h>
#include <array>
#include <atomic>
#include <csetjmp>
#include <cstddef>
#include <mutex>
#include <unistd.h>

namespace xlib {

namespace {

std::mutex gHandlers; // held while Xlib's handlers are ours
XErrorHandler gErrorBefore = nullptr;
XIOErrorHandler gLossBefore = nullptr;
thread_local std::jmp_buf* tWayOut = nullptr; // set while this thread runs below the shield
thread_local Display* tLost = nullptr;        // the connection over which it has jumped there
thread_local bool tRequestFailed = false;

int onRequestError(Display* display, XErrorEvent* error) {
    if (tWayOut == nullptr) {
        return gErrorBefore(display, error);
    }
    tRequestFailed = true;
    return 0;
}

int onConnectionLost(Display* display) {
    if (tWayOut == nullptr) {
        return gLossBefore(display);
    }
    tLost = display;
    std::longjmp(*tWayOut, 1);
}

bool runToTheEnd(void (*work)(void*), void* data) {
    std::jmp_buf wayOut;
    tRequestFailed = false;
    if (setjmp(wayOut) != 0) {
        tWayOut = nullptr;
        return false;
    }
    tWayOut = &wayOut;
    work(data);
    tWayOut = nullptr;
    return true;
}

} // namespace

bool requestFailed() {
    return tRequestFailed;
}

void rememberLost(const void* lost) {
    static std::array<const void*, 128> all;
    static std::atomic<std::size_t> count = 0;
    all[count++ % all.size()] = lost;
}

bool runShielded(void (*work)(void* data), void* data) {
    const std::lock_guard<std::mutex> lock(gHandlers);
    const base::HoldSigpipe held; // for writes to a server that has gone
    gErrorBefore = XSetErrorHandler(onRequestError);
    gLossBefore = XSetIOErrorHandler(onConnectionLost);
    const bool connected = runToTheEnd(work, data);
    XSetErrorHandler(gErrorBefore);
    XSetIOErrorHandler(gLossBefore);
    if (!connected) {
        rememberLost(tLost);
        ::close(ConnectionNumber(tLost));
    }
    return connected;
}

} // namespace xlib
