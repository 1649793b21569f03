// SPDX-License-Identifier: MIT
// Ownership of a buffered stream.
#pragma once

#include <cstdio>
#include <memory>

namespace base {

struct FileCloser {
    void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
};

/// Owns one stream and closes it. Use `closeWritten` for a stream that was written.
using UniqueFile = std::unique_ptr<std::FILE, FileCloser>;

/// Opens `path` for reading ('r') or writing ('w'), closed on exec, as `fopen` does, but never
/// blocks: a FIFO without a writer reads as empty, and one without a reader cannot be opened for
/// writing. Null when that fails; errno says why.
[[nodiscard]] UniqueFile openFile(const char* path, char mode);

/// Closes a stream that was written. Returns 0 when the system has all of it, otherwise the errno
/// of a write that failed, now or earlier (EIO if an earlier one left no reason): a stream drops
/// data that it could not write, so a later flush or close may succeed.
[[nodiscard]] int closeWritten(UniqueFile file);

} // namespace base
