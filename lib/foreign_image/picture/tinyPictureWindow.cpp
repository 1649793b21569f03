// SPDX-License-Identifier: MIT
#include "tinyPictureWindow.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace {

void empty(StreamWindow* window, std::int64_t position) {
    window->at = window->bytes;
    window->end = window->bytes;
    window->endPosition = position;
}

/// The part of `room` that a stream reads directly: the rest of a block would pass through its own
/// buffer.
std::size_t wholeBlocks(std::size_t room) {
    constexpr std::size_t kBlock = 4096; // of a stream's buffer in the GNU library
    return room < kBlock ? room : room - room % kBlock;
}

/// Reads up to `count` bytes after `end`.
void readMore(StreamWindow* window, std::size_t count) {
    std::uint8_t* to = window->bytes + (window->end - window->bytes);
    const std::int64_t left = std::max<std::int64_t>(window->last - window->endPosition, 0);
    const std::size_t most = std::min(count, static_cast<std::size_t>(left));
    errno = 0;
    const std::size_t got = fread_unlocked(to, 1, most, window->stream);
    window->end = to + got;
    window->endPosition += static_cast<std::int64_t>(got);
    window->ended = got < count;
    window->error = 0;
    if (window->ended && ferror_unlocked(window->stream) != 0) {
        window->error = errno != 0 ? errno : EIO;
        if (!window->exact) {
            clearerr_unlocked(window->stream); // it is recorded here, and the next read may succeed
        }
    }
}

/// Moves the stream; a failure ends the window.
bool place(StreamWindow* window, std::int64_t position) {
    window->misplaced = fseeko(window->stream, position, SEEK_SET) != 0;
    window->error = window->misplaced ? errno : 0;
    window->ended = window->misplaced;
    return !window->misplaced;
}

} // namespace

std::size_t windowFill(StreamWindow* window, std::size_t need) {
    const auto left = static_cast<std::size_t>(window->end - window->at);
    if (left >= need || window->ended) {
        return left;
    }
    std::memmove(window->bytes, window->at, left);
    window->at = window->bytes;
    window->end = window->bytes + left;
    const std::size_t wanted = need - left;
    readMore(window,
             window->exact ? wanted : std::max(wanted, wholeBlocks(window->capacity - left)));
    return static_cast<std::size_t>(window->end - window->at);
}

bool streamPosition(std::FILE* stream, std::int64_t* position) {
    *position = ftello(stream);
    const bool known = *position >= 0 || errno == ESPIPE;
    *position = std::max<std::int64_t>(*position, 0);
    return known;
}

std::int64_t windowPosition(const StreamWindow* window) {
    return window->endPosition - (window->end - window->at);
}

bool windowSeek(StreamWindow* window, std::int64_t position) {
    const std::int64_t begin = window->endPosition - (window->end - window->bytes);
    if (position >= begin && position <= window->endPosition) {
        window->at = window->bytes + (position - begin);
        return true;
    }
    // A caller that steps back usually keeps stepping back (a host that reads its lines from the
    // bottom up): the window then also covers earlier bytes, so that not every line needs a read.
    const auto capacity = static_cast<std::int64_t>(window->capacity);
    const bool goesBack = position >= 0 && position < begin && position + capacity > begin;
    const std::int64_t lead = goesBack ? std::min(position, capacity - capacity / 4) : 0;
    empty(window, position - lead);
    if (!place(window, position - lead)) {
        empty(window, position);
        return false;
    }
    if (lead == 0) {
        return true;
    }
    readMore(window, window->capacity);
    if (window->end - window->bytes >= lead) {
        window->at = window->bytes + lead;
        return true;
    }
    // The bytes before the position cannot be read; nothing may be taken for those at it.
    const int error = window->error;
    empty(window, position);
    if (place(window, position)) {
        window->error = error;
        window->ended = error != 0;
    }
    return window->error == 0;
}

void windowResume(StreamWindow* window) {
    if (window->misplaced) {
        place(window, window->endPosition);
    } else if (window->error != 0) {
        window->error = 0;
        window->ended = false;
    }
}

void windowSeekToEnd(StreamWindow* window) {
    const bool placed = fseeko(window->stream, 0, SEEK_END) == 0;
    empty(window, placed ? ftello(window->stream) : window->endPosition);
    window->ended = true;
    window->error = 0;
}
