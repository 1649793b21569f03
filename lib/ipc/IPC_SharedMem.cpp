// SPDX-License-Identifier: MIT
#include "IPC_SharedMem.h"

#include "base/diagnostics.h"
#include "base/hugePages.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

namespace {

constexpr int kFreshKey = -1;
constexpr int kFirstKey = 42;
constexpr unsigned kKeyCount = 10000;
constexpr int kDrawings = 10000;
constexpr int kCreateForAll = IPC_CREAT | 0777;

/// One line: the process, what failed, and the system's reason.
void complain(const char* what) {
    const int reason = errno;
    char prefix[64];
    std::snprintf(prefix, sizeof prefix, "(%d) %s", static_cast<int>(getpid()), what);
    base::sayError(prefix, reason);
}

/// The id of the block, or a negative number with errno set.
int findOrCreate(int key, int size) {
    if (size < 0) {
        errno = EINVAL;
        return -1;
    }
    return shmget(key, static_cast<std::size_t>(size), kCreateForAll);
}

int findOrCreateFresh(int* key, int size) {
    int id = -1;
    for (int drawing = 0; drawing < kDrawings && id < 0; ++drawing) {
        *key = static_cast<int>(arc4random_uniform(kKeyCount)) + kFirstKey;
        id = findOrCreate(*key, size);
    }
    return id;
}

} // namespace

void* shmem_malloc(int size, int* key, int* shmid) {
    *shmid = 0;
    *shmid = *key == kFreshKey ? findOrCreateFresh(key, size) : findOrCreate(*key, size);
    if (*shmid < 0) {
        complain("shmem_malloc: shmget");
        return nullptr;
    }
    void* const address = base::attachShared(*shmid, static_cast<std::size_t>(size));
    // The system reports failure by the address -1.
    if (address == reinterpret_cast<void*>(-1)) { // NOLINT(performance-no-int-to-ptr)
        complain("shmem_malloc: shmat");
        return nullptr;
    }
    return address;
}

void shmem_free(void* address, int shmid) {
    shmid_ds state{};
    if (shmctl(shmid, IPC_STAT, &state) < 0) {
        complain("shmem_free: shmctl");
        return;
    }
    if (shmdt(address) < 0) {
        complain("shmem_free: shmdt");
    }
    if (state.shm_nattch == 1) {
        shmctl(shmid, IPC_RMID, nullptr);
    }
}

std::size_t shmem_size(int shmid) {
    shmid_ds state{};
    return shmctl(shmid, IPC_STAT, &state) < 0 ? 0 : state.shm_segsz;
}
