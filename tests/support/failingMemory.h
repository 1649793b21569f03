// SPDX-License-Identifier: MIT
// Memory that runs out at every place of a call in turn. A test program that uses it is built with
// failingMemory.cpp, whose allocator then serves the whole program, the C library's streams and
// `operator new` included.
#pragma once

#include <gtest/gtest.h>

namespace support {

/// Whether memory can be made to fail here: a sanitizer brings an allocator of its own.
extern const bool kMemoryCanFail;

/// Pieces of memory that this program holds now.
[[nodiscard]] long piecesOfMemory();

/// While it lives, allocation number `number` (from 0) of this thread fails with ENOMEM.
class FailingMemory {
  public:
    explicit FailingMemory(long number);
    ~FailingMemory();
    FailingMemory(const FailingMemory&) = delete;
    FailingMemory& operator=(const FailingMemory&) = delete;

    /// Whether it came so far.
    [[nodiscard]] static bool happened();
};

/// Calls `call` as it is, then with its first allocation failing, its second one and so on, until a
/// call makes no more of them. After each, `check(failed)` looks at what the call has answered and
/// gives back what it holds: memory that is then still held is a failure of the test.
template <class Call, class Check>
void withEachAllocationFailing(Call call, Check check) {
    call(); // what is only made once is made now
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
