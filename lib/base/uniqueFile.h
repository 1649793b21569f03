// SPDX-License-Identifier: MIT
// Ownership of a buffered stream.
#pragma once

#include <cstdio>
#include <memory>

namespace base {

struct FileCloser {
    void operator()(std::FILE* stream) const noexcept { std::fclose(stream); }
};

/// Owns one stream and closes it. Where a failed close matters (anything written), release the
/// stream and check `fclose` instead of letting this do it.
using UniqueFile = std::unique_ptr<std::FILE, FileCloser>;

/// Opens `path` for reading ('r') or writing ('w'), closed on exec, as `fopen` does, but waits for
/// nobody: a FIFO without a writer reads as empty and one without a reader cannot be opened for
/// writing. Null when that fails, errno says why.
[[nodiscard]] UniqueFile openFile(const char* path, char mode);

} // namespace base
