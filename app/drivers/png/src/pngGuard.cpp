// SPDX-License-Identifier: MIT
#include "pngGuard.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace png_filter {

namespace {

[[noreturn]] void reportError(png_structp png, png_const_charp message) {
    auto* report = static_cast<PngReport*>(png_get_error_ptr(png));
    if (report->text[0] == '\0') {
        std::snprintf(report->text, sizeof report->text, "%s", message);
    }
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp, png_const_charp) {}

png_voidp allocate(png_structp png, png_alloc_size_t size) {
    void* const memory = std::malloc(size);
    if (memory == nullptr) {
        static_cast<PngReport*>(png_get_mem_ptr(png))->systemError = ENOMEM;
    }
    return memory;
}

void release(png_structp, png_voidp memory) {
    std::free(memory);
}

} // namespace

png_structp createReader(PngReport* report) {
    return png_create_read_struct_2(PNG_LIBPNG_VER_STRING, report, reportError, ignoreWarning,
                                    report, allocate, release);
}

png_structp createWriter(PngReport* report) {
    return png_create_write_struct_2(PNG_LIBPNG_VER_STRING, report, reportError, ignoreWarning,
                                     report, allocate, release);
}

} // namespace png_filter
