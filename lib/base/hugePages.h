// SPDX-License-Identifier: MIT
// Shared memory in huge pages. The system maps shared memory page by page, which takes as long as
// decoding a picture; with pages of 2 MiB it takes a fiftieth of that. Everything here is a hint:
// where the system cannot follow it (small memory, Linux before 6.1, no free huge page) access is
// slower and otherwise the same.
#pragma once

#include <cstddef>

namespace base {

/// As `shmat` of a block of at least `bytes`, at an address that fits huge pages.
[[nodiscard]] void* attachShared(int id, std::size_t bytes);

/// Backs attached shared memory with huge pages wherever whole ones fit; contents are kept. Works
/// best on unused memory. The system's setting for shared memory, by default "never", does not
/// matter unless it is "deny".
void useHugePages(void* memory, std::size_t bytes);

/// Has the system map shared memory in one call before it is used, instead of by a page fault for
/// every page, which takes half as long again.
void populate(void* memory, std::size_t bytes);

/// The same piece by piece, from the end of the memory to its beginning, each just before it is
/// used, so that memory that stays unused is not populated.
class PopulateBackwards {
  public:
    PopulateBackwards(char* memory, std::size_t bytes) : begin_(memory), done_(memory + bytes) {}

    /// Announces that everything from `at` on, an address in the memory, will be used.
    void reach(char* at);

  private:
    char* begin_;
    char* done_; ///< populated from here on
};

/// Zeroes memory. Large shared memory releases its pages, so that it takes none until it is used.
void clear(void* memory, std::size_t bytes);

} // namespace base
