// SPDX-License-Identifier: MIT
#include "hugePages.h"

#include <cstdint>
#include <cstring>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/shm.h>
#include <unistd.h>

namespace base {

namespace {

constexpr std::size_t kHugePage = std::size_t{2} << 20;

/// The size populated at once: a fraction of a millisecond's work.
constexpr std::size_t kPiece = 4 * kHugePage;

// Arguments of the system call; older headers have no names for them.
constexpr int kPopulateRead = 22; // since Linux 5.14
constexpr int kCollapse = 25;     // since Linux 6.1

std::size_t roundUp(std::size_t value, std::size_t unit) {
    return (value + unit - 1) / unit * unit;
}

} // namespace

/// The system alone would choose any gap that is large enough. So a part of a larger gap is
/// occupied that begins where a huge page can, and the block replaces it. A block that its owner
/// made of huge pages occupies the last one whole; the system refuses to unmap the rest of it.
void* attachShared(int id, std::size_t bytes) {
    struct shmid_ds block {};
    if (bytes < kHugePage || ::shmctl(id, IPC_STAT, &block) != 0) {
        return ::shmat(id, nullptr, 0);
    }
    const std::size_t length = roundUp(block.shm_segsz, static_cast<std::size_t>(::getpagesize()));
    const std::size_t most = roundUp(length, kHugePage);
    const std::size_t whole = most + kHugePage;
    void* const gap =
        ::mmap(nullptr, whole, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (gap == MAP_FAILED) {
        return ::shmat(id, nullptr, 0);
    }
    char* const begin = static_cast<char*>(gap);
    const auto start = reinterpret_cast<std::uintptr_t>(gap);
    const std::size_t before = roundUp(start, kHugePage) - start;
    char* const place = begin + before;
    if (::shmat(id, place, SHM_REMAP) != place) {
        ::munmap(begin, whole);
        return ::shmat(id, nullptr, 0);
    }
    ::munmap(begin, before);
    ::munmap(place + length, most - length);
    ::munmap(place + most, kHugePage - before);
    return place;
}

void useHugePages(void* memory, std::size_t bytes) {
    if (reinterpret_cast<std::uintptr_t>(memory) % kHugePage != 0) {
        return;
    }
    // The system can only make a huge page from an existing page. It makes all of them in one call,
    // because each call waits for the other processors.
    char* const begin = static_cast<char*>(memory);
    const std::size_t whole = bytes / kHugePage * kHugePage;
    for (std::size_t at = 0; at < whole; at += kHugePage) {
        if (::madvise(begin + at, 1, kPopulateRead) != 0) {
            return;
        }
    }
    static_cast<void>(::madvise(begin, whole, kCollapse));
}

/// Populates for reading: pages of shared memory are then writable too, and marking them as written
/// beforehand takes longer.
void populate(void* memory, std::size_t bytes) {
    static_cast<void>(::madvise(memory, bytes, kPopulateRead));
}

void PopulateBackwards::reach(char* at) {
    if (at >= done_) {
        return;
    }
    // Whole pieces only: the system needs page-aligned addresses.
    const auto offset = static_cast<std::size_t>(at - begin_) / kPiece * kPiece;
    populate(begin_ + offset, static_cast<std::size_t>(done_ - begin_) - offset);
    done_ = begin_ + offset;
}

void clear(void* memory, std::size_t bytes) {
    const auto page = static_cast<std::size_t>(::getpagesize());
    const std::size_t head = roundUp(reinterpret_cast<std::uintptr_t>(memory), page) -
                             reinterpret_cast<std::uintptr_t>(memory);
    char* const at = static_cast<char*>(memory);
    if (bytes < kHugePage || ::madvise(at + head, (bytes - head) / page * page, MADV_REMOVE) != 0) {
        std::memset(at, 0, bytes);
        return;
    }
    const std::size_t tail = (bytes - head) % page;
    std::memset(at, 0, head);
    std::memset(at + bytes - tail, 0, tail);
}

} // namespace base
