// SPDX-License-Identifier: MIT
#include "IPC_SharedMem.h"
#include "support/captureStderr.h"
#include "support/leakCounters.h"

#include <cstring>
#include <sys/random.h>
#include <sys/shm.h>

namespace {

using support::CaptureStderr;

/// A key that no other process uses, outside the range of new keys.
int privateKey() {
    int key = 0;
    (void)!getrandom(&key, sizeof key, 0);
    return (key & 0x3fffffff) | 0x40000000;
}

/// A block of 64 bytes with a unique key.
struct Block {
    int key = privateKey();
    int id = 0;
    void* const address = shmem_malloc(64, &key, &id);
};

long attachCount(int id) {
    shmid_ds state{};
    return shmctl(id, IPC_STAT, &state) < 0 ? -1 : static_cast<long>(state.shm_nattch);
}

std::string line(const char* what, int error) {
    return "(" + std::to_string(getpid()) + ") " + what + ": " + std::strerror(error) + "\n";
}

using SharedMem = support::NothingLeft;

TEST_F(SharedMem, AFreshKeyComesFromItsRange) {
    std::set<int> keys;
    for (int i = 0; i < 16; ++i) {
        int key = -1;
        int id = 7;
        void* const block = shmem_malloc(100, &key, &id);
        ASSERT_NE(block, nullptr);
        EXPECT_GE(key, 42);
        EXPECT_LE(key, 10041);
        EXPECT_GE(id, 0);
        keys.insert(key);
        shmem_free(block, id);
    }
    EXPECT_GT(keys.size(), 1U) << "always the same key";
}

TEST_F(SharedMem, AGivenKeyFindsTheBlockThatIsThere) {
    int key = privateKey();
    const int given = key;
    int id = 0;
    int sameId = 0;
    auto* const block = static_cast<char*>(shmem_malloc(5000, &key, &id));
    ASSERT_NE(block, nullptr);
    auto* const again = static_cast<char*>(shmem_malloc(100, &key, &sameId));
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(key, given);
    EXPECT_EQ(id, sameId);
    EXPECT_NE(block, again);
    block[4999] = 'x';
    EXPECT_EQ(again[4999], 'x');
    shmid_ds state{};
    ASSERT_EQ(shmctl(id, IPC_STAT, &state), 0);
    EXPECT_EQ(state.shm_perm.mode & 0777, 0777) << "the other side may be another user";
    EXPECT_EQ(shmem_size(sameId), 5000U) << "the real size, not the one asked for";

    shmem_free(again, sameId);
    EXPECT_EQ(attachCount(id), 1) << "a block that is still attached stays";
    EXPECT_EQ(shmget(key, 0, 0), id) << "and is still found by its key";
    shmem_free(block, id);
    EXPECT_EQ(attachCount(id), -1) << "the last one to let go removes it";
    EXPECT_EQ(shmem_size(id), 0U);
}

TEST_F(SharedMem, WhatCannotBeHadIsNull) {
    auto [key, id, block] = Block();
    ASSERT_NE(block, nullptr);
    const struct {
        const char* name;
        int size, key;
    } cases[] = {
        {"more than the block that is there", 65, key},
        {"negative size", -1, key},
        {"most negative size", INT32_MIN, privateKey()},
        {"negative size with a fresh key", -1, -1},
        {"nothing", 0, privateKey()},
    };
    for (const auto& bad : cases) {
        SCOPED_TRACE(bad.name);
        const CaptureStderr said;
        int badKey = bad.key;
        int badId = 7;
        EXPECT_EQ(shmem_malloc(bad.size, &badKey, &badId), nullptr);
        EXPECT_LT(badId, 0);
        EXPECT_EQ(said.text(), line("shmem_malloc: shmget", EINVAL));
    }
    shmem_free(block, id);
}

TEST_F(SharedMem, WhatCannotBeReleasedIsReported) {
    auto [key, id, block] = Block();
    ASSERT_NE(block, nullptr);
    const CaptureStderr said;
    shmem_free(block, -1);
    EXPECT_EQ(said.text(), line("shmem_free: shmctl", EINVAL));
    EXPECT_EQ(attachCount(id), 1) << "not detached";
    shmem_free(static_cast<char*>(block) + 1, id);
    EXPECT_EQ(said.text(), line("shmem_free: shmctl", EINVAL) + line("shmem_free: shmdt", EINVAL));
    EXPECT_EQ(shmdt(block), 0); // marked for removal before: the last detaching ends it
    EXPECT_EQ(attachCount(id), -1);
}

} // namespace
