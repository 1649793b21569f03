// SPDX-License-Identifier: MIT
#include "tinySoftType.h"

#include <cstdarg>

OptionRecord option = {1, stderr};

void optionReset() {
    option = {1, stderr};
}

void optionPrint(const char* format, ...) {
    if (option.level != 1 || option.stream == nullptr) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start above is not understood
    std::vfprintf(option.stream, format, arguments);
    va_end(arguments);
}
