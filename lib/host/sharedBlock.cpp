// SPDX-License-Identifier: MIT
#include "tdr/sharedBlock.h"

#include "base/hugePages.h"
#include "noThrow.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <limits>
#include <string_view>
#include <sys/ipc.h>
#include <sys/random.h>
#include <sys/shm.h>
#include <unistd.h>
#include <utility>

namespace tdr {

namespace {

/// Our keys are 0x7d500000 plus 20 random bits, so that a later run can tell its user's left-over
/// blocks from those of other programs. They are far above the new keys of the link (42 ... 10041),
/// where two processes may get the same segment.
constexpr std::int32_t kMark = 0x7d500000;
constexpr std::uint32_t kRandomBits = 0x000fffff;

/// Attempts to find a free key; a system has at most a few thousand segments for a million keys.
constexpr int kKeyTries = 100;

/// The driver requests the segment with mode 0777; the kernel grants that to its owner only if all
/// three of the owner's bits are set.
constexpr int kOwnerOnly = 0700;

/// Advice for errors whose system text is not enough.
struct Advice {
    std::string_view step;
    int error;
    const char* text;
};

constexpr Advice kAdvice[] = {
    {"shmget", EINVAL, "a block may be as large as kernel.shmmax says"},
    {"shmget", ENOSPC,
     "shared memory is used up: see 'ipcs -m', remove with 'ipcrm -m' what nobody needs, or raise "
     "kernel.shmmni and kernel.shmall"},
    {"shmget", EEXIST, "no key was free: see 'ipcs -m'"},
    {"shmat", ENOMEM, "the process may have no more memory: see 'ulimit -v'"},
};

Failure noBlock(std::size_t bytes, std::string_view step, int error) {
    std::string what = "no shared memory block of " + std::to_string(bytes) +
                       " bytes: " + std::string(step) + ": " + std::strerror(error);
    for (const Advice& advice : kAdvice) {
        if (advice.step == step && advice.error == error) {
            what += std::string(" (") + advice.text + ")";
        }
    }
    return {FailureKind::NoMemory, std::move(what)};
}

bool isGone(pid_t pid) {
    return ::kill(pid, 0) != 0 && errno == ESRCH;
}

/// True for a block that no process can use any more. A creator from another pid namespace has the
/// process id 0; whether it lives is unknown.
bool isLeftOver(const struct shmid_ds& segment) {
    const auto key = static_cast<std::uint32_t>(segment.shm_perm.__key);
    return (key & ~kRandomBits) == kMark && segment.shm_perm.uid == ::geteuid() &&
           segment.shm_perm.cuid == ::geteuid() && segment.shm_nattch == 0 &&
           segment.shm_cpid > 0 && isGone(segment.shm_cpid);
}

} // namespace

Result<SharedBlock> SharedBlock::create(std::size_t bytes) noexcept {
    return withoutThrowing([&]() -> Result<SharedBlock> {
        if (bytes < 1 || bytes > std::numeric_limits<std::int32_t>::max()) {
            return Failure{FailureKind::BadArgument,
                           "a shared memory block cannot have " + std::to_string(bytes) + " bytes"};
        }
        SharedBlock block;
        int error = block.makeSegment(bytes);
        if (error == ENOSPC && removeLeftOvers() > 0) {
            error = block.makeSegment(bytes);
        }
        if (error != 0) {
            return noBlock(bytes, "shmget", error);
        }
        void* address = base::attachShared(block.id_, bytes);
        if (address == reinterpret_cast<void*>(-1)) { // NOLINT(performance-no-int-to-ptr)
            return noBlock(bytes, "shmat", errno);
        }
        block.address_ = static_cast<std::uint8_t*>(address);
        block.size_ = bytes;
        base::useHugePages(address, bytes);
        return block;
    });
}

/// Creates a segment with a new key: 0, or errno.
int SharedBlock::makeSegment(std::size_t bytes) {
    for (int tries = 0; tries < kKeyTries; ++tries) {
        std::uint32_t random = 0;
        if (::getrandom(&random, sizeof random, 0) != sizeof random) {
            return errno;
        }
        key_ = kMark | static_cast<std::int32_t>(random & kRandomBits);
        id_ = ::shmget(key_, bytes, IPC_CREAT | IPC_EXCL | kOwnerOnly);
        if (id_ >= 0 || errno != EEXIST) {
            return id_ >= 0 ? 0 : errno;
        }
    }
    return EEXIST;
}

int SharedBlock::removeLeftOvers() noexcept {
    struct shm_info info {};
    int removed = 0;
    const int last = ::shmctl(0, SHM_INFO, reinterpret_cast<struct shmid_ds*>(&info));
    for (int index = 0; index <= last; ++index) {
        struct shmid_ds segment {};
        const int id = ::shmctl(index, SHM_STAT, &segment);
        if (id >= 0 && isLeftOver(segment) && ::shmctl(id, IPC_RMID, nullptr) == 0) {
            ++removed;
        }
    }
    return removed;
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
