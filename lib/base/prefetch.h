// SPDX-License-Identifier: MIT
// Memory that is needed soon.
#pragma once

#include <cstddef>
#include <cstdint>

namespace base {

enum class Use : int { Read = 0, Write = 1 };

/// Prefetches the `bytes` bytes that are `offset` bytes behind `memory`. A hint: the address need
/// not belong to anything.
template <Use kUse>
inline void prefetch(const void* memory, std::ptrdiff_t offset, std::size_t bytes) {
    constexpr std::size_t kCacheLine = 64;
    const auto begin =
        reinterpret_cast<std::uintptr_t>(memory) + static_cast<std::uintptr_t>(offset);
    for (std::size_t i = 0; i < bytes; i += kCacheLine) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): may be past the memory
        __builtin_prefetch(reinterpret_cast<const void*>(begin + i), static_cast<int>(kUse));
    }
}

} // namespace base
