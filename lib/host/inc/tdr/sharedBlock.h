// SPDX-License-Identifier: MIT
// A block of shared memory in which pictures travel between a host and its drivers.
#pragma once

#include "tdr/result.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace tdr {

/// One System V shared memory segment, made, attached and in the end removed by this object.
/// Move-only. One block can be handed to any number of drivers in turn: a line that one driver
/// has read into it can be written by another without being copied.
///
/// The block must outlive every request that names it. Requests of `Driver` return only when the
/// driver has answered or has ended, so nobody can look up the key after that.
class SharedBlock {
  public:
    /// Makes a zero-filled block of `bytes` bytes (1 ... 2147483647, the protocol's sizes are
    /// 32-bit). The key is new, 0x7d500000 and 20 random bits: a segment of somebody else is never
    /// joined. Mode 0700, so drivers must run as the host's user. Fails with `BadArgument` or with
    /// `NoMemory`, which says what to do where the system's settings are the reason. Where the
    /// system has huge pages, blocks of 2 MiB and more take their memory at once; elsewhere, as
    /// smaller ones, when it is used.
    static Result<SharedBlock> create(std::size_t bytes) noexcept;

    /// Removes the blocks that processes of this user have left, having been killed: those with a
    /// key of this library's to which nobody is attached and whose maker is gone. Gives their
    /// number. For the start of a program; `create` does it when the system has no more segments.
    static int removeLeftOvers() noexcept;

    SharedBlock(SharedBlock&& other) noexcept;
    SharedBlock& operator=(SharedBlock&& other) noexcept;
    SharedBlock(const SharedBlock&) = delete;
    SharedBlock& operator=(const SharedBlock&) = delete;
    /// Detaches and removes the segment.
    ~SharedBlock();

    /// The memory; as many bytes as asked for.
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
