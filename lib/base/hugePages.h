// SPDX-License-Identifier: MIT
// Shared memory in large pieces. A system maps shared memory page by page, which takes as long as
// decoding a picture does; in pages of 2 MiB it takes a fiftieth of that. Everything here is a
// hint: where it cannot be followed (small memory, Linux before 6.1, no free huge page) things are
// slower and otherwise the same.
#pragma once

#include <cstddef>

namespace base {

/// While it lives, the system's own choice of an address for `bytes` of memory fits huge pages: it
/// takes the highest gap that is large enough, and this object holds the end of that gap.
class HugePageGap {
  public:
    explicit HugePageGap(std::size_t bytes);
    ~HugePageGap();
    HugePageGap(const HugePageGap&) = delete;
    HugePageGap& operator=(const HugePageGap&) = delete;

  private:
    void* held_ = nullptr;
    std::size_t heldBytes_ = 0;
};

/// Gives attached shared memory, best when nobody has touched it yet, huge pages, as far as whole
/// ones lie in it. What it holds stays. The system's setting for shared memory, which is usually
/// "never", does not matter, unless it is "deny": this asks for these pages only.
void useHugePages(void* memory, std::size_t bytes);

/// Has the system map shared memory in one call before it is used, instead of by a page fault for
/// every page, which takes half as long again.
void populate(void* memory, std::size_t bytes);

/// The same piece by piece, from the end of the memory to its beginning, each just before it is
/// used: for whoever may find that there is nothing to be put there.
class PopulateBackwards {
  public:
    PopulateBackwards(char* memory, std::size_t bytes) : begin_(memory), done_(memory + bytes) {}

    /// Everything from `at` on, which lies in the memory, is going to be used.
    void reach(char* at);

  private:
    char* begin_;
    char* done_; ///< populated from here on
};

/// Zeroes memory. Large shared memory gives back its pages, so that it costs nothing until somebody
/// looks.
void clear(void* memory, std::size_t bytes);

} // namespace base
