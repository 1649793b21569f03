// SPDX-License-Identifier: MIT
#include "tinySoftType.h"

#include "base/diagnostics.h"

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
    base::sayTo(option.stream, format, arguments);
    va_end(arguments);
}
