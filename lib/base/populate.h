// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <sys/mman.h>

namespace base {

/// Has the system map shared memory in one call before it is used, instead of by a page fault for
/// every page, which takes half as long again. For reading: pages of shared memory may be written
/// then, too, and marking them as written beforehand costs more. Only a hint: a system that does
/// not know it (Linux before 5.14) does nothing.
inline void populate(void* memory, std::size_t bytes) {
#ifdef MADV_POPULATE_READ
    constexpr int kAdvice = MADV_POPULATE_READ;
#else
    constexpr int kAdvice = 22; // of the system call; older headers have no name for it
#endif
    static_cast<void>(::madvise(memory, bytes, kAdvice));
}

} // namespace base
