// SPDX-License-Identifier: MIT
#include "toolkitMessages.h"

#include "tinySoftType.h"

#include <cstdio>
#include <new>
#include <sys/types.h>
#include <utility>

namespace {

/// The toolkit prints each message in one write to a stream without a buffer. No exception may
/// cross it.
ssize_t pass(void* take, const char* bytes, std::size_t size) {
    try {
        (*static_cast<ToolkitMessages::Take*>(take))({bytes, size});
    } catch (const std::bad_alloc&) {
        return static_cast<ssize_t>(size);
    }
    return static_cast<ssize_t>(size);
}

} // namespace

ToolkitMessages::ToolkitMessages(Take take)
    : take_(std::move(take)), stream_(fopencookie(&take_, "w", {nullptr, pass, nullptr, nullptr})) {
    if (stream_ != nullptr) {
        std::setvbuf(stream_.get(), nullptr, _IONBF, 0);
    }
    option.stream = stream_.get(); // null: no messages
}

ToolkitMessages::~ToolkitMessages() {
    optionReset();
}
