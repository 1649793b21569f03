// SPDX-License-Identifier: MIT
// The program whose window the tests inspect.
//   tdr_window_show paste WIDTH HEIGHT TITLE          pasteBuffer
//   tdr_window_show try   WIDTH HEIGHT TITLE          tryPasteBuffer; prints "failed" if it says so
//   tdr_window_show depth WIDTH HEIGHT TITLE DEPTH    a visual of that depth
// It prints "done" at its end, to distinguish a return from a death, and exits with 3 when
// descriptors are left open or the error handler has not been restored. A picture that is 0 wide or
// high, or too large, is passed as null.
#include "TDR_BufferWindow.h"
#include "windowPattern.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <poll.h>
#include <string_view>

#include <X11/Xlib.h> // last, because its macros have common names

namespace {

struct Request {
    long width;
    long height;
    const char* title;
    const std::uint32_t* pixels;
    int depth;
};

void say(const char* what) {
    std::puts(what);
    std::fflush(stdout);
}

void paste(const Request& want) {
    pasteBuffer(want.width, want.height, want.pixels, want.title);
}

void tryToPaste(const Request& want) {
    if (!tryPasteBuffer(want.width, want.height, want.pixels, want.title)) {
        say("failed");
    }
}

void showInDepth(const Request& want) {
    BufferWindow window;
    if (!window.open(want.width, want.height, want.pixels, want.title, want.depth)) {
        return;
    }
    while (window.handlePending()) {
        pollfd wait{window.eventFd(), POLLIN, 0};
        ::poll(&wait, 1, -1);
    }
}

int ownHandler(Display* /*display*/, XErrorEvent* /*error*/) {
    return 0;
}

long openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 5) {
        return 2;
    }
    const long before = openDescriptors();
    XSetErrorHandler(ownHandler);
    Request want{std::atol(argv[2]), std::atol(argv[3]), argv[4], nullptr,
                 argc > 5 ? std::atoi(argv[5]) : 0};
    std::vector<std::uint32_t> pixels;
    if (want.width > 0 && want.height > 0 && want.width < 40000 && want.height < 40000) {
        pixels = pattern(static_cast<int>(want.width), static_cast<int>(want.height));
        want.pixels = pixels.data();
    }
    const std::string_view what = argv[1];
    (what == "paste" ? paste : what == "try" ? tryToPaste : showInDepth)(want);
    say("done");
    const bool restored = XSetErrorHandler(nullptr) == ownHandler;
    return restored && openDescriptors() == before ? 0 : 3;
}
