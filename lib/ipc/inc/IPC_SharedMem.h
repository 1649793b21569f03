// SPDX-License-Identifier: MIT
// Blocks of System V shared memory, which carry picture data outside the packets. A block is found
// by its key; every process that uses it attaches and detaches it.
#pragma once

#include <cstddef>

/// Creates or finds a block of `size` bytes and attaches it.
///
/// `*key` names the block: an existing block is used unchanged, a missing one is created with mode
/// 0777. -1 requests a new random key from 42 ... 10041, which is stored in `*key`. Creation is not
/// exclusive, so the new key may name a block of another program; a host that needs its own block
/// creates it itself.
///
/// Returns the address and stores the block's id in `*shmid`. On failure the result is null, a line
/// on stderr gives the reason, and `*shmid` is negative when no block could be obtained (also for a
/// negative `size`, which is refused without a system call). Release with `shmem_free`.
[[nodiscard]] void* shmem_malloc(int size, int* key, int* shmid);

/// Detaches the block at `address` and removes it if this process was the only one attached.
/// Failures are reported on stderr; a block whose state cannot be read (no such id) is not
/// detached.
void shmem_free(void* address, int shmid);

/// The real size in bytes of the block with this id, which may be larger than requested; 0 when it
/// cannot be read (no such block, no permission).
[[nodiscard]] std::size_t shmem_size(int shmid);
