// SPDX-License-Identifier: MIT
#include "knownLines.h"

#include <algorithm>
#include <ctime>
#include <sys/stat.h>
#include <utility>

namespace softimage {

namespace {

std::int64_t nanoseconds(const timespec& time) {
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

} // namespace

std::optional<FileState> settledState(std::FILE* stream) {
    constexpr std::int64_t kSettled = 2'000'000'000; // the coarsest times of a file system
    struct stat status {};
    timespec now{};
    if (::fstat(::fileno(stream), &status) != 0 || !S_ISREG(status.st_mode) ||
        ::clock_gettime(CLOCK_REALTIME, &now) != 0) {
        return std::nullopt;
    }
    const FileState state{status.st_dev, status.st_ino, status.st_size, nanoseconds(status.st_mtim),
                          nanoseconds(status.st_ctim)};
    const bool settled = std::max(state.written, state.changed) + kSettled < nanoseconds(now);
    return settled ? std::optional(state) : std::nullopt;
}

void KnownLines::remember(const FileState& state, std::unique_ptr<std::uint64_t[]> positions,
                          std::size_t count) {
    state_ = state;
    positions_ = std::move(positions);
    count_ = count;
}

bool KnownLines::recall(const std::optional<FileState>& state,
                        std::span<std::uint64_t> positions) const {
    const bool known = state && state == state_ && positions.size() == count_;
    if (known) {
        std::copy_n(positions_.get(), count_, positions.begin());
    }
    return known;
}

} // namespace softimage
