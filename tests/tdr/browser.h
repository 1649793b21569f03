// SPDX-License-Identifier: MIT
// A headless browser, for tests of SVG drawings.
#pragma once

#include "support/program.h"
#include "support/tempDir.h"

namespace browser {

inline constexpr const char* kProgram = "/usr/bin/chromium";

inline bool isInstalled() {
    return access(kProgram, X_OK) == 0;
}

/// Ends every process that the browser has left behind; this process must be their reaper.
inline void endLeftOver() {
    for (;;) {
        std::ifstream list("/proc/thread-self/children");
        pid_t child = 0;
        if (!(list >> child)) {
            return;
        }
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
}

/// Runs the browser on a file with a new profile and returns its stdout. All processes that it
/// started have then ended.
inline std::string run(const std::vector<std::string>& options, const std::string& file) {
    const support::TempDir home;
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    std::vector<std::string> line = {"env",
                                     "HOME=" + home.path().string(),
                                     kProgram,
                                     "--headless",
                                     "--no-sandbox",
                                     "--disable-gpu",
                                     "--disable-quic",
                                     "--no-first-run",
                                     "--hide-scrollbars",
                                     "--disable-dev-shm-usage",
                                     "--disable-breakpad",
                                     "--disable-background-networking",
                                     "--disable-component-update",
                                     "--disable-sync",
                                     "--user-data-dir=" + (home / "profile")};
    line.insert(line.end(), options.begin(), options.end());
    line.push_back("file://" + file);
    support::Program program(line);
    program.exitStatus(std::chrono::seconds(250)); // a loaded machine is slow
    endLeftOver();
    return program.out();
}

/// The document as the browser parsed it.
inline std::string dom(const std::string& file) {
    return run({"--dump-dom"}, file);
}

/// Draws the file into a PNG of that size in pixels.
inline void screenshot(const std::string& file, const std::string& png, int width, int height) {
    run({"--screenshot=" + png,
         "--window-size=" + std::to_string(width) + "," + std::to_string(height)},
        file);
}

} // namespace browser
