// SPDX-License-Identifier: MIT
// Fails each allocation of a call in turn. A test program that uses it is built with
// failingMemory.cpp, whose allocator then serves the whole program, including the C library's
// streams and `operator new`.
#pragma once

#include <gtest/gtest.h>

namespace support {

/// Whether allocations can be made to fail: a sanitizer has its own allocator.
extern const bool kMemoryCanFail;

/// Number of current allocations of this program.
[[nodiscard]] long piecesOfMemory();

/// While it exists, allocation number `number` (from 0) of this thread fails with ENOMEM.
class FailingMemory {
  public:
    explicit FailingMemory(long number);
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    /// True if that allocation was reached.
    [[nodiscard]] static bool happened();
};

/// Calls `call` normally, then with its first allocation failing, its second one and so on, until a
/// call has no more allocations. After each, `check(failed)` checks the result and frees it: memory
/// that is then still allocated fails the test.
template <class Call, class Check>
void withEachAllocationFailing(Call call, Check check) {
    call(); // one-time allocations happen here
    check(false);
    bool failed = kMemoryCanFail;
    for (long number = 0; failed && !testing::Test::HasFailure(); ++number) {
        SCOPED_TRACE("allocation " + std::to_string(number) + " fails");
        const long before = piecesOfMemory();
        {
            const FailingMemory failing(number);
            call();
            failed = FailingMemory::happened();
        }
        check(failed);
        EXPECT_TRUE(testing::Test::HasFailure() || piecesOfMemory() == before)
            << "memory is left behind";
    }
}

} // namespace support
