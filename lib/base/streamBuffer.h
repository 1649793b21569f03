// SPDX-License-Identifier: MIT
// The buffer inside a stream: characters are taken from it, or put into it, without a call for each
// piece. The stream stays an ordinary one at every moment.
//
// The C library of GNU/Linux publishes the members used here, because its own inline functions use
// them. With another library the buffer seems to be empty and full, and callers use the stream.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <span>
#include <string_view>

namespace base {

#ifdef __GLIBC__

/// The characters that the stream has read and that nobody has taken yet, maybe none. Valid until
/// the stream is used.
[[nodiscard]] inline std::string_view bufferedInput(const std::FILE* stream) {
    const std::ptrdiff_t count = stream->_IO_read_end - stream->_IO_read_ptr;
    return {stream->_IO_read_ptr, static_cast<std::size_t>(std::max<std::ptrdiff_t>(count, 0))};
}

/// Takes the characters of `bufferedInput` before `end`.
inline void takeBuffered(std::FILE* stream, const char* end) {
    stream->_IO_read_ptr = const_cast<char*>(end);
}

/// The room in the buffer of the stream, maybe none, and its end after characters were put there.
[[nodiscard]] inline std::span<char> bufferedRoom(const std::FILE* stream) {
    const std::ptrdiff_t count = stream->_IO_write_end - stream->_IO_write_ptr;
    return {stream->_IO_write_ptr, static_cast<std::size_t>(std::max<std::ptrdiff_t>(count, 0))};
}
inline void putBuffered(std::FILE* stream, std::size_t count) {
    stream->_IO_write_ptr += count;
}

#else

[[nodiscard]] inline std::string_view bufferedInput(const std::FILE*) {
    return {};
}
inline void takeBuffered(std::FILE*, const char*) {}
[[nodiscard]] inline std::span<char> bufferedRoom(const std::FILE*) {
    return {};
}
inline void putBuffered(std::FILE*, std::size_t) {}

#endif

} // namespace base
