// SPDX-License-Identifier: MIT
#include "stderrLines.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace tdr {

namespace {

/// A longer line is handed on in pieces, so that a driver cannot fill the host's memory.
constexpr std::size_t kLongestLine = 4096;

/// Reads in one go, so that a driver that never stops writing cannot keep the host here.
constexpr int kReadsInOneGo = 16;

} // namespace

void StderrLines::open(base::UniqueFd pipe, std::function<void(std::string_view)> onLine) {
    pipe_ = std::move(pipe);
    onLine_ = std::move(onLine);
    if (pipe_.valid()) {
        ::fcntl(pipe_.get(), F_SETFL, O_NONBLOCK);
    }
}

void StderrLines::drain() {
    std::array<char, 4096> bytes;
    for (int reads = 0; pipe_.valid() && reads < kReadsInOneGo; ++reads) {
        const ssize_t got = ::read(pipe_.get(), bytes.data(), bytes.size());
        if (got > 0) {
            take({bytes.data(), static_cast<std::size_t>(got)});
        } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
            pipe_.reset();
        } else if (errno == EAGAIN) {
            return;
        }
    }
}

void StderrLines::finish() {
    drain();
    endLine();
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
    if (onLine_) {
        onLine_(last_);
    }
}

} // namespace tdr
