// SPDX-License-Identifier: MIT
// Hints about huge pages change only speed.
#include "base/hugePages.h"
#include "support/sharedBlock.h"

#include <gtest/gtest.h>

#include <algorithm>
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
        void* again = nullptr;
        {
            const base::HugePageGap gap(size);
            again = shmat(block.id(), nullptr, 0);
        }
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

TEST(HugePages, TheSystemChoosesAnAddressThatFits) {
    for (const std::size_t size : {2 * kMiB, 3 * kMiB + 1, 20 * kMiB}) {
        const support::SharedBlock block(size);
        const base::HugePageGap gap(size);
        void* const address = shmat(block.id(), nullptr, 0);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(address) % (2 * kMiB), 0U) << size;
        shmdt(address);
    }
}

} // namespace
