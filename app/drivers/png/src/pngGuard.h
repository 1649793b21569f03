// SPDX-License-Identifier: MIT
// The guard around libpng. libpng reports an error by a jump to the caller's `setjmp`, which would
// skip destructors. So every call that can fail runs inside `guarded`, which catches the jump one
// frame up and returns false.
#pragma once

#include <csetjmp>
#include <cstring>
#include <png.h>
#include <type_traits>

namespace png_filter {

/// The first failure with one file: of the system, or of the file. libpng's own warnings do not
/// concern pixels and are dropped.
struct PngReport {
    int systemError = 0; ///< errno of the read, write or allocation that failed, 0 when none did
    char text[128] = ""; ///< what is wrong with the file; empty if nothing is

    /// The reason of the failure; empty if there is none.
    [[nodiscard]] const char* reason() const {
        return systemError != 0 ? std::strerror(systemError) : text;
    }
};

/// libpng's objects, whose errors, including out of memory, go to the report. Null when out of
/// memory.
[[nodiscard]] png_structp createReader(PngReport* report);
[[nodiscard]] png_structp createWriter(PngReport* report);

/// Runs `call`, which may call libpng on `png`; false when libpng reported an error. Nothing
/// inside `call` may need a destructor, because a jump leaves it.
template <typename Call>
[[nodiscard]] bool guarded(png_structp png, Call call) {
    static_assert(std::is_trivially_destructible_v<Call>);
    if (setjmp(png_jmpbuf(png)) != 0) { // NOLINT(cert-err52-cpp): libpng offers no other way
        return false;
    }
    call();
    return true;
}

} // namespace png_filter
