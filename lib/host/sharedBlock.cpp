// SPDX-License-Identifier: MIT
#include "tdr/sharedBlock.h"

#include "base/hugePages.h"
#include "noThrow.h"

#include <cerrno>
#include <cstring>
#include <limits>
#include <sys/ipc.h>
#include <sys/random.h>
#include <sys/shm.h>
#include <utility>

namespace tdr {

namespace {

/// Keys up to here belong to blocks made by the link's own fresh-key rule (42 ... 10041), where
/// two processes may meet in one segment.
constexpr std::int32_t kLastSharedKey = 10041;

/// Tries for a free key; among two thousand million keys one miss is already unlikely.
constexpr int kKeyTries = 100;

/// The driver asks for the segment with mode 0777; the kernel grants that to its owner only with
/// all three of the owner's bits.
constexpr int kOwnerOnly = 0700;

Failure noBlock(std::size_t bytes, const char* step) {
    return {FailureKind::NoMemory,
            "no shared memory block of " + std::to_string(bytes) + " bytes: " + step + ": " +
                std::strerror(errno),
            {},
            {}};
}

/// A random positive key above the shared ones, or -1 when the system gives no random bytes.
std::int32_t randomKey() {
    std::uint32_t bits = 0;
    std::int32_t key = -1;
    do {
        if (::getrandom(&bits, sizeof bits, 0) != sizeof bits) {
            return -1;
        }
        key = static_cast<std::int32_t>(bits & std::numeric_limits<std::int32_t>::max());
    } while (key <= kLastSharedKey);
    return key;
}

} // namespace

Result<SharedBlock> SharedBlock::create(std::size_t bytes) {
    return withoutThrowing([&]() -> Result<SharedBlock> {
        if (bytes < 1 || bytes > std::numeric_limits<std::int32_t>::max()) {
            return Failure{FailureKind::BadArgument,
                           "a shared memory block cannot have " + std::to_string(bytes) + " bytes",
                           {},
                           {}};
        }
        SharedBlock block;
        for (int tries = 0; block.id_ < 0 && tries < kKeyTries; ++tries) {
            block.key_ = randomKey();
            if (block.key_ < 0) {
                return noBlock(bytes, "getrandom");
            }
            block.id_ = ::shmget(block.key_, bytes, IPC_CREAT | IPC_EXCL | kOwnerOnly);
            if (block.id_ < 0 && errno != EEXIST) {
                break;
            }
        }
        if (block.id_ < 0) {
            return noBlock(bytes, "shmget");
        }
        const base::HugePageGap gap(bytes);
        void* address = ::shmat(block.id_, nullptr, 0);
        if (address == reinterpret_cast<void*>(-1)) { // NOLINT(performance-no-int-to-ptr)
            return noBlock(bytes, "shmat");
        }
        block.address_ = static_cast<std::uint8_t*>(address);
        block.size_ = bytes;
        base::useHugePages(address, bytes);
        return block;
    });
}

SharedBlock::SharedBlock(SharedBlock&& other) noexcept
    : address_(std::exchange(other.address_, nullptr)), size_(std::exchange(other.size_, 0)),
      key_(std::exchange(other.key_, -1)), id_(std::exchange(other.id_, -1)) {}

SharedBlock& SharedBlock::operator=(SharedBlock&& other) noexcept {
    if (this != &other) {
        remove();
        address_ = std::exchange(other.address_, nullptr);
        size_ = std::exchange(other.size_, 0);
        key_ = std::exchange(other.key_, -1);
        id_ = std::exchange(other.id_, -1);
    }
    return *this;
}

SharedBlock::~SharedBlock() {
    remove();
}

void SharedBlock::remove() noexcept {
    if (address_ != nullptr) {
        ::shmdt(address_);
    }
    if (id_ >= 0) {
        ::shmctl(id_, IPC_RMID, nullptr);
    }
}

} // namespace tdr
