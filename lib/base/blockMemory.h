// SPDX-License-Identifier: MIT
// Advice to the system about the memory of large shared blocks. Only hints: a system that does not
// know one, or has it switched off, does nothing.
#pragma once

#include <cstddef>
#include <sys/mman.h>

namespace base {

/// Asks for huge pages, whoever of a block's processes gets to a page first. A system that allows
/// them for shared memory then maps a large picture in a tenth of the time.
inline void preferHugePages(void* memory, std::size_t bytes) {
    constexpr std::size_t kHugePage = std::size_t{2} << 20;
    if (bytes >= kHugePage) {
        static_cast<void>(::madvise(memory, bytes, MADV_HUGEPAGE));
    }
}

/// Has the system map memory in one call before it is used, instead of by a page fault for every
/// page, which takes half as long again. For reading: pages of shared memory may be written then,
/// too, and marking them as written beforehand costs more.
inline void populate(void* memory, std::size_t bytes) {
#ifdef MADV_POPULATE_READ // since Linux 5.14
    constexpr int kAdvice = MADV_POPULATE_READ;
#else
    constexpr int kAdvice = 22; // of the system call; older headers have no name for it
#endif
    preferHugePages(memory, bytes);
    static_cast<void>(::madvise(memory, bytes, kAdvice));
}

} // namespace base
