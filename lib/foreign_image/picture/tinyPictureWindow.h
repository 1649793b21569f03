// SPDX-License-Identifier: MIT
// A window over a stream, through which the scanline readers take their bytes. Inner to the module.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

/// The readable bytes are `at` to `end`, and behind `end` there is always room to read (not to
/// believe) kWindowSlack more, so that vector loads need no end test.
///
/// Plain data: the coders that are compiled for other instruction sets must not share inline
/// functions with the rest of the program.
struct StreamWindow {
    std::FILE* stream;
    std::uint8_t* bytes;      ///< `capacity` + kWindowSlack bytes, owned by whoever made the window
    std::size_t capacity;     ///< at least kMinWindow
    const std::uint8_t* at;   ///< next byte
    const std::uint8_t* end;  ///< one past the last byte read from the stream
    std::int64_t endPosition; ///< file position of `end`
    bool exact;               ///< read from the stream no more than was asked for
    bool ended;               ///< the stream has nothing more
    bool misplaced;           ///< ended by a seek that failed: the stream is not at `endPosition`
    int error;                ///< errno of the read or seek that ended it, 0 at the end of the file
};

inline constexpr std::size_t kWindowSlack = 128;
inline constexpr std::size_t kMinWindow = 1024;

/// Tries to have `need` bytes (at most the capacity) at `at`. Returns how many there are: fewer
/// only when the stream has ended.
std::size_t windowFill(StreamWindow* window, std::size_t need);

/// Where `stream` stands, 0 when it cannot seek; false when the system does not say (errno).
[[nodiscard]] bool streamPosition(std::FILE* stream, std::int64_t* position);

/// File position of `at`.
[[nodiscard]] std::int64_t windowPosition(const StreamWindow* window);

/// Moves to a file position, inside the window if it can. When the stream cannot be placed there
/// the window is ended, and the result is false.
bool windowSeek(StreamWindow* window, std::int64_t position);

/// Goes on where a read or seek failed. Nothing happens when none did.
void windowResume(StreamWindow* window);

/// Moves to the end of the file.
void windowSeekToEnd(StreamWindow* window);
