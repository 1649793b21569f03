// SPDX-License-Identifier: MIT
// A block of shared memory that carries pictures between a host and its drivers.
#pragma once

#include "tdr/result.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace tdr {

/// One System V shared memory segment, which this object makes, attaches and removes. Move-only.
/// One block can be passed to any number of drivers in turn: a driver can write a line that another
/// one has read into the block, without a copy.
///
/// The block must outlive every request that names it. Requests of `Session` return only when the
/// driver has answered or has ended, so the key is not looked up after that.
class SharedBlock {
  public:
    /// Makes a zero-filled block of `bytes` bytes (1 ... 2147483647, the protocol's sizes are
    /// 32-bit). The key is new, 0x7d500000 plus 20 random bits, so that it never names another
    /// process's segment. The mode is 0700, so drivers must run as the host's user. Fails with
    /// `BadArgument` or `NoMemory`; the latter names a system setting if that is the reason. With
    /// huge pages, blocks of 2 MiB and more take their memory at once; all others when it is used.
    static Result<SharedBlock> create(std::size_t bytes) noexcept;

    /// Removes the blocks that killed processes of this user have left: those with a key of this
    /// library to which no process is attached and whose maker is gone. Returns their number. Call
    /// it at the start of a program; `create` does so when the system has no more segments.
    static int removeLeftOvers() noexcept;

    SharedBlock(SharedBlock&& other) noexcept;
    SharedBlock& operator=(SharedBlock&& other) noexcept;
    SharedBlock(const SharedBlock&) = delete;
    SharedBlock& operator=(const SharedBlock&) = delete;
    /// Detaches and removes the segment.
    ~SharedBlock();

    /// The memory, of the requested size.
    [[nodiscard]] std::span<std::uint8_t> bytes() const { return {address_, size_}; }
    [[nodiscard]] std::int32_t size() const { return static_cast<std::int32_t>(size_); }
    [[nodiscard]] std::int32_t key() const { return key_; }
    [[nodiscard]] std::int32_t id() const { return id_; }

  private:
    SharedBlock() = default;
    [[nodiscard]] int makeSegment(std::size_t bytes);
    void remove() noexcept;

    std::uint8_t* address_ = nullptr;
    std::size_t size_ = 0;
    std::int32_t key_ = -1;
    std::int32_t id_ = -1;
};

} // namespace tdr
