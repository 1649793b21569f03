// SPDX-License-Identifier: MIT
#include "TDR_BufferWindow.h"

#include "base/holdSigpipe.h"

#include <cstdio>
#include <poll.h>

namespace {

/// Ends early on a signal; the caller checks the window again anyway.
void waitForEvent(const BufferWindow& window) {
    pollfd wait{window.eventFd(), POLLIN, 0};
    ::poll(&wait, 1, -1);
}

void say(const char* what, const char* title) {
    const base::HoldSigpipe held; // nobody may be reading
    std::printf("pasteBuffer:  %s event loop for window titled \"%s\".\n", what, title);
    std::fflush(stdout);
}

} // namespace

void pasteBuffer(long width, long height, const std::uint32_t* pixels, const char* title) {
    [[maybe_unused]] const bool shown = tryPasteBuffer(width, height, pixels, title);
}

bool tryPasteBuffer(long width, long height, const std::uint32_t* pixels, const char* title) {
    const char* name = title != nullptr ? title : "";
    BufferWindow window;
    if (!window.open(width, height, pixels, name)) {
        return false;
    }
    say("entering", name);
    while (window.handlePending()) {
        waitForEvent(window);
    }
    say("exited", name);
    return !window.lost();
}
