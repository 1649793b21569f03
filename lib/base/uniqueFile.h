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

} // namespace base
