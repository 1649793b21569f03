// SPDX-License-Identifier: MIT
// Blocks of System V shared memory, through which picture data travel beside the packets. A block
// is found by its key; every process that works on it attaches it and lets go of it again.
#pragma once

#include <cstddef>

/// Creates or finds a block of `size` bytes and attaches it.
///
/// `*key` names the block: an existing one of that key is used as it is, a missing one is created
/// with mode 0777. -1 asks for a fresh key, which is drawn from 42 ... 10041 and stored in `*key`.
/// The drawing does not ask for exclusive creation, so a key that another program uses already may
/// come out with that program's block; a host that wants a block of its own makes it itself.
///
/// Returns the address and stores the block's id in `*shmid`. On failure the result is null, a line
/// on stderr tells the reason, and `*shmid` is negative when no block could be had at all (also for
/// a negative `size`, which is refused before the system is asked). Let go with `shmem_free`.
[[nodiscard]] void* shmem_malloc(int size, int* key, int* shmid);

/// Detaches the block at `address` and removes it from the system when this process was the only
/// one attached to it. Failures are told on stderr; a block whose state cannot be had (no such id)
/// is not detached.
void shmem_free(void* address, int shmid);

/// The real size in bytes of the block with this id, which may be larger than what was asked for;
/// 0 when it cannot be had (no such block, no permission).
[[nodiscard]] std::size_t shmem_size(int shmid);
