// SPDX-License-Identifier: MIT
// Hints about huge pages change only speed.
#include "base/hugePages.h"
#include "support/sharedBlock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <sys/mman.h>
#include <vector>

namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;

TEST(HugePages, ABlockHoldsWhatItHeldForEveryProcess) {
    for (const std::size_t size : {kMiB, 2 * kMiB - 1, 2 * kMiB, 2 * kMiB + 1, 7 * kMiB + 4097}) {
        SCOPED_TRACE(size);
        std::vector<std::uint8_t> pattern(size); // repeats with no page
        for (std::size_t at = 0; at < size; ++at) {
            pattern[at] = static_cast<std::uint8_t>(at % 251 + at / kMiB);
        }
        const support::SharedBlock block(size);
        void* const again = base::attachShared(block.id(), size);
        ASSERT_EQ(block.attachments(), 2U);
        std::copy(pattern.begin(), pattern.end(), block.bytes());
        base::useHugePages(again, size);
        base::useHugePages(block.bytes(), size); // at any address
        base::populate(again, size);
        EXPECT_EQ(std::memcmp(again, pattern.data(), size), 0);
        std::memset(again, 0, size / 2);
        EXPECT_EQ(block.bytes()[size / 2 - 1], 0) << "both still see the same memory";
        EXPECT_EQ(block.bytes()[size - 1], pattern.back());
        shmdt(again);
    }
}

TEST(HugePages, ClearedMemoryIsZeroAndTakesNoPages) {
    constexpr std::size_t kSize = 7 * kMiB;
    for (const std::size_t bytes : {std::size_t{100}, kMiB, 5 * kMiB + 77}) {
        SCOPED_TRACE(bytes);
        const support::SharedBlock block(kSize);
        std::uint8_t* const at = block.bytes() + 4000;
        std::memset(block.bytes(), 0xA7, kSize);
        base::clear(at, bytes);
        EXPECT_TRUE(at[-1] == 0xA7 && at[bytes] == 0xA7);
        std::vector<unsigned char> pages(kSize / 4096);
        mincore(block.bytes(), kSize, pages.data());
        const auto resident =
            std::count_if(pages.begin(), pages.end(), [](auto page) { return (page & 1) != 0; });
        EXPECT_EQ(resident<600, bytes> 2 * kMiB) << resident;
        EXPECT_EQ(std::count(at, at + bytes, 0), static_cast<std::ptrdiff_t>(bytes));
    }
}

bool isFree(const std::uint8_t* page) {
    return msync(const_cast<std::uint8_t*>(page), 1, MS_ASYNC) != 0 && errno == ENOMEM;
}

TEST(HugePages, ABlockBeginsWhereAHugePageCan) {
    for (const std::size_t size : {2 * kMiB, 3 * kMiB + 1, 20 * kMiB}) {
        SCOPED_TRACE(size);
        const support::SharedBlock block(size);
        const std::size_t length = (size + 4095) / 4096 * 4096;
        const auto occupy = [](std::size_t bytes) {
            return mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        };
        void* const gap = occupy(length + 4096); // which the system would choose
        void* const fence = occupy(4096);
        munmap(gap, length + 4096);
        for (const std::size_t expected : {size, 2 * kMiB}) {
            auto* const at = static_cast<std::uint8_t*>(base::attachShared(block.id(), expected));
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(at) % (2 * kMiB), 0U);
            EXPECT_FALSE(isFree(at + length - 4096));
            EXPECT_TRUE(isFree(at + length)) << "nothing else is occupied";
            shmdt(at);
        }
        munmap(fence, 4096);
    }
}

} // namespace
