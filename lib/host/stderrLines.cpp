// SPDX-License-Identifier: MIT
#include "stderrLines.h"

#include "base/retry.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace tdr {

namespace {

/// A longer line is passed on in pieces, so that a driver cannot fill the host's memory.
constexpr std::size_t kLongestLine = 4096;

/// Maximum capacity of a pipe, unless root enlarges it.
constexpr std::size_t kLargestPipe = std::size_t{1} << 20;

/// The words of a driver that continues with the readable part of a file.
constexpr std::string_view kDamaged = "cut short or damaged";

/// What a driver says of a file of a newer version before it reads it: never why it failed.
constexpr std::string_view kRemarks[] = {"Warning, file version ", "Attempt to read: "};

bool isRemark(std::string_view line) {
    return std::ranges::any_of(kRemarks, [&](auto begin) { return line.starts_with(begin); });
}

} // namespace

void StderrLines::open(base::UniqueFd pipe, std::function<void(std::string_view)> onLine) noexcept {
    pipe_ = std::move(pipe);
    onLine_ = std::move(onLine);
    if (pipe_.valid() && ::fcntl(pipe_.get(), F_SETFL, O_NONBLOCK) != 0) {
        lost_ = true; // reading it could block the host
        pipe_.reset();
    }
}

void StderrLines::drain() noexcept {
    std::array<char, 4096> bytes;
    for (std::size_t taken = 0; pipe_.valid() && taken < kLargestPipe;) {
        const ssize_t got =
            base::retried([&] { return ::read(pipe_.get(), bytes.data(), bytes.size()); });
        if (got > 0) {
            taken += static_cast<std::size_t>(got);
            keep({bytes.data(), static_cast<std::size_t>(got)});
        } else if (got == 0) {
            pipe_.reset();
        } else if (errno == EAGAIN) {
            return;
        } else {
            lost_ = true;
            pipe_.reset();
        }
    }
}

void StderrLines::settle() noexcept {
    drain();
    keep("\n");
}

void StderrLines::finish() noexcept {
    settle();
    pipe_.reset();
}

void StderrLines::keep(std::string_view bytes) noexcept {
    try {
        take(bytes);
    } catch (...) { // out of memory
        lost_ = true;
    }
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
    const std::string line = std::exchange(partial_, {});
    if (!isRemark(line)) {
        last_ = line;
        fresh_ = true;
    }
    if (damage_.empty() && line.find(kDamaged) != std::string::npos) {
        damage_ = line;
    }
    if (onLine_) {
        onLine_(line);
    }
}

} // namespace tdr
