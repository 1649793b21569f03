// SPDX-License-Identifier: MIT
// The fence round libpng. libpng reports an error by a jump to the caller's `setjmp`; the jump
// would pass over destructors on its way. So every call that can fail runs inside `guarded`, which
// catches the jump one frame up and makes it a plain false.
#pragma once

#include <csetjmp>
#include <cstring>
#include <png.h>
#include <type_traits>

namespace png_filter {

/// What went wrong first with one file: the system's doing, or the file's. libpng's own warnings do
/// not concern pixels and are dropped.
struct PngReport {
    int systemError = 0; ///< errno of the read, write or allocation that failed, 0 when none did
    char text[128] = ""; ///< what is wrong with the file; empty when nothing is

    /// Why a file cannot be served; empty when it can.
    [[nodiscard]] const char* reason() const {
        return systemError != 0 ? std::strerror(systemError) : text;
    }
};

/// libpng's objects, whose errors, and whose memory that cannot be had, go to the report. Null
/// without memory.
[[nodiscard]] png_structp createReader(PngReport* report);
[[nodiscard]] png_structp createWriter(PngReport* report);

/// Runs `call`, which may call libpng on `png`; false when libpng reported an error. Nothing
/// inside `call` may need a destructor, because a jump leaves it.
template <typename Call>
[[nodiscard]] bool guarded(png_structp png, Call call) {
    static_assert(std::is_trivially_destructible_v<Call>);
    if (setjmp(png_jmpbuf(png)) != 0) { // NOLINT(cert-err52-cpp): libpng knows no other way
        return false;
    }
    call();
    return true;
}

} // namespace png_filter
