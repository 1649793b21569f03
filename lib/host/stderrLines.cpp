// SPDX-License-Identifier: MIT
#include "stderrLines.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace tdr {

namespace {

/// A longer line is handed on in pieces, so that a driver cannot fill the host's memory.
constexpr std::size_t kLongestLine = 4096;

/// What a driver says when it goes on with what it could read of a file.
constexpr std::string_view kDamaged = "cut short or damaged";

} // namespace

void StderrLines::open(base::UniqueFd pipe, std::function<void(std::string_view)> onLine) {
    pipe_ = std::move(pipe);
    onLine_ = std::move(onLine);
    if (pipe_.valid()) {
        ::fcntl(pipe_.get(), F_SETFL, O_NONBLOCK);
    }
}

void StderrLines::drain() {
    int waiting = 0;
    ::ioctl(pipe_.get(), FIONREAD, &waiting);
    std::array<char, 4096> bytes;
    do { // once at least: the end of the pipe has no bytes
        const ssize_t got = ::read(pipe_.get(), bytes.data(), bytes.size());
        if (got > 0) {
            take({bytes.data(), static_cast<std::size_t>(got)});
            waiting -= static_cast<int>(got);
        } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
            pipe_.reset();
        } else if (errno == EAGAIN) {
            return;
        }
    } while (pipe_.valid() && waiting > 0);
}

void StderrLines::settle() {
    drain();
    endLine();
}

void StderrLines::finish() {
    settle();
    pipe_.reset();
}

void StderrLines::take(std::string_view bytes) {
    for (const char byte : bytes) {
        if (byte == '\n' || partial_.size() == kLongestLine) {
            endLine();
        }
        if (byte != '\n') {
            partial_ += byte;
        }
    }
}

void StderrLines::endLine() {
    if (partial_.empty()) {
        return;
    }
    last_ = std::exchange(partial_, {});
    fresh_ = true;
    if (damage_.empty() && last_.find(kDamaged) != std::string::npos) {
        damage_ = last_;
    }
    if (onLine_) {
        onLine_(last_);
    }
}

} // namespace tdr
