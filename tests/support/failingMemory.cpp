// SPDX-License-Identifier: MIT
#include "support/failingMemory.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

namespace support {

namespace {

constexpr long kNone = -1;

thread_local long allocationsLeft = kNone; ///< before the failing one
thread_local bool hasFailed = false;
std::atomic<long> pieces = 0;

/// True if this allocation has to fail.
[[maybe_unused]] bool failsNow() {
    if (allocationsLeft == kNone || allocationsLeft-- > 0) {
        return false;
    }
    hasFailed = true;
    errno = ENOMEM;
    return true;
}

[[maybe_unused]] void* counted(void* memory) {
    pieces += memory != nullptr ? 1 : 0;
    return memory;
}

} // namespace

long piecesOfMemory() {
    return pieces;
}

FailingMemory::FailingMemory(long number) {
    hasFailed = false;
    allocationsLeft = number;
}

FailingMemory::~FailingMemory() {
    allocationsLeft = kNone;
}

bool FailingMemory::happened() {
    return hasFailed;
}

#if defined(__SANITIZE_ADDRESS__)

const bool kMemoryCanFail = false;

} // namespace support

#else

const bool kMemoryCanFail = true;

} // namespace support

// The C library's own allocator under its alternative names. The definitions here replace the
// standard names in the whole program.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);

void* malloc(std::size_t size) {
    return support::failsNow() ? nullptr : support::counted(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) {
    return support::failsNow() ? nullptr : support::counted(__libc_calloc(count, size));
}

void* realloc(void* memory, std::size_t size) {
    if (support::failsNow()) {
        return nullptr;
    }
    void* const moved = __libc_realloc(memory, size);
    return memory == nullptr ? support::counted(moved) : moved;
}

void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return support::failsNow() ? nullptr : support::counted(__libc_memalign(alignment, size));
}

void free(void* memory) {
    support::pieces -= memory != nullptr ? 1 : 0;
    __libc_free(memory);
}

} // extern "C"

#endif
