// SPDX-License-Identifier: MIT
#include "progressLine.h"

#include "formatted.h"
#include "utf8Text.h"
#include "wholeWrite.h"

#include <cmath>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace {

using namespace std::chrono_literals;

constexpr auto kPause = 100ms;
constexpr std::size_t kUsualWidth = 80;
constexpr std::string_view kBeginning = "\r\x1b[K"; ///< to the first column, and clear the line

std::size_t widthOfTerminal() {
    winsize size{};
    return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col
                                                                             : kUsualWidth;
}

std::string durationText(double seconds) {
    const auto whole = static_cast<long>(std::ceil(seconds));
    return whole < 100 ? formatted("{} s", whole)
                       : formatted("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

} // namespace

ProgressLine::ProgressLine(std::size_t total, bool wanted)
    : total_(total), wanted_(wanted && ::isatty(STDERR_FILENO) == 1) {}

void ProgressLine::show(std::size_t done, std::string_view file) {
    const auto now = Clock::now();
    if (!wanted_ || now < next_) {
        return;
    }
    next_ = now + kPause;
    const double passed = std::chrono::duration<double>(now - begun_).count();
    const double rate = passed > 0 ? static_cast<double>(done) / passed : 0;
    std::string line = formatted("{} of {}", done, total_);
    if (rate > 0) {
        line += formatted(", {:.1f}/s, {} left", rate,
                          durationText(static_cast<double>(total_ - done) / rate));
    }
    line = shortened(line + ": " + utf8Text(file), widthOfTerminal() - 1);
    (void)writeWhole(STDERR_FILENO, std::string(kBeginning) + line);
    shown_ = true;
}

void ProgressLine::hide() {
    if (std::exchange(shown_, false)) {
        (void)writeWhole(STDERR_FILENO, kBeginning);
    }
}
