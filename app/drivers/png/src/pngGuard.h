// SPDX-License-Identifier: MIT
// The fence round libpng. libpng reports an error by a jump to the caller's `setjmp`; the jump
// would pass over destructors on its way. So every call that can fail runs inside `guarded`, which
// catches the jump one frame up and makes it a plain false.
#pragma once

#include <csetjmp>
#include <png.h>
#include <type_traits>

namespace png_filter {

/// The first error that libpng reported on one file; empty when there was none. libpng's own
/// warnings (about colour profiles, text and the like) do not concern pixels and are dropped.
struct PngReport {
    char text[128] = "";
};

/// What is said where the system has no memory left.
inline constexpr const char* kNoMemory = "not enough memory";

/// libpng's error and warning callbacks, whose error pointer is a `PngReport`.
[[noreturn]] void reportError(png_structp png, png_const_charp message);
void ignoreWarning(png_structp png, png_const_charp message);

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
