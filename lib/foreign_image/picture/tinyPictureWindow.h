// SPDX-License-Identifier: MIT
// A window over a stream, from which the scanline readers take their bytes. Inner to the module.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

/// The valid bytes are `at` to `end`. Another kWindowSlack bytes after `end` may be read but not
/// used, so that vector loads need no end test.
///
/// Plain data: the coders that are compiled for other instruction sets must not share inline
/// functions with the rest of the program.
struct StreamWindow {
    std::FILE* stream;
    std::uint8_t* bytes;    ///< `capacity` + kWindowSlack bytes, owned by the creator of the window
    std::size_t capacity;   ///< at least kMinWindow
    const std::uint8_t* at; ///< next byte
    const std::uint8_t* end;       ///< one past the last byte read from the stream
    std::int64_t endPosition;      ///< file position of `end`
    std::int64_t last = INT64_MAX; ///< nothing at this file position or behind it is read
    bool exact;                    ///< read no more than requested from the stream
    bool ended;                    ///< the stream has no more bytes
    bool misplaced; ///< ended by a seek that failed: the stream is not at `endPosition`
    int error;      ///< errno of the read or seek that ended it, 0 at the end of the file
};

inline constexpr std::size_t kWindowSlack = 128;
inline constexpr std::size_t kMinWindow = 1024;

/// Tries to provide `need` bytes (at most the capacity) at `at`. Returns their number, which is
/// less only when the stream has ended.
std::size_t windowFill(StreamWindow* window, std::size_t need);

/// The position of `stream`, 0 when it cannot seek; false when the system does not report it
/// (errno).
[[nodiscard]] bool streamPosition(std::FILE* stream, std::int64_t* position);

/// File position of `at`.
[[nodiscard]] std::int64_t windowPosition(const StreamWindow* window);

/// Moves to a file position, inside the window if possible. If the stream cannot seek there the
/// window is ended, and the result is false.
bool windowSeek(StreamWindow* window, std::int64_t position);

/// Continues where a read or seek failed. Does nothing if none did.
void windowResume(StreamWindow* window);

/// Moves to the end of the file.
void windowSeekToEnd(StreamWindow* window);
