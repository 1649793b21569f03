// SPDX-License-Identifier: MIT
#include "pngGuard.h"

#include <cstdio>

namespace png_filter {

void reportError(png_structp png, png_const_charp message) {
    auto* report = static_cast<PngReport*>(png_get_error_ptr(png));
    if (report->text[0] == '\0') {
        std::snprintf(report->text, sizeof report->text, "%s", message);
    }
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp, png_const_charp) {}

} // namespace png_filter
