// SPDX-License-Identifier: MIT
// A shared block as a host makes it: a new key, owned and removed by the test.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <sys/ipc.h>
#include <sys/shm.h>

namespace support {

class SharedBlock {
  public:
    explicit SharedBlock(std::size_t size) {
        std::random_device random;
        do {
            key_ = static_cast<int>(random() & 0x7FFFFFFFU) | 0x10000;
            id_ = shmget(key_, size, IPC_CREAT | IPC_EXCL | 0700);
        } while (id_ < 0 && errno == EEXIST);
        address_ = id_ < 0 ? nullptr : shmat(id_, nullptr, 0);
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the system's failure value
        if (address_ == nullptr || address_ == reinterpret_cast<void*>(-1)) {
            std::abort();
        }
    }
    ~SharedBlock() {
        abandon();
        shmctl(id_, IPC_RMID, nullptr);
    }
    SharedBlock(const SharedBlock&) = delete;
    SharedBlock& operator=(const SharedBlock&) = delete;

    [[nodiscard]] int key() const { return key_; }
    [[nodiscard]] int id() const { return id_; }
    [[nodiscard]] std::uint8_t* bytes() const { return static_cast<std::uint8_t*>(address_); }

    /// Detaches the block without removing it, like the death of its host.
    void abandon() {
        if (address_ != nullptr) {
            shmdt(address_);
            address_ = nullptr;
        }
    }

    /// Number of attachments of the block, including this one.
    [[nodiscard]] std::size_t attachments() const {
        shmid_ds status{};
        return shmctl(id_, IPC_STAT, &status) == 0 ? status.shm_nattch : 0;
    }

  private:
    int key_ = -1;
    int id_ = -1;
    void* address_ = nullptr;
};

} // namespace support
