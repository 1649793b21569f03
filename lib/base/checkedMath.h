// SPDX-License-Identifier: MIT
// Sizes that cannot overflow. A size that is computed from numbers of a file or a packet passes
// through these before it reaches an allocation.
#pragma once

#include <concepts>
#include <cstddef>
#include <optional>
#include <utility>

namespace base {

/// The product of the factors as a size, or nullopt when a factor is negative or the product does
/// not fit a `size_t`.
template <std::integral... Factors>
[[nodiscard]] constexpr std::optional<std::size_t> checkedProduct(Factors... factors) {
    std::size_t product = 1;
    bool fits = true;
    const auto multiply = [&](auto factor) {
        std::size_t next = 0;
        fits = fits && std::in_range<std::size_t>(factor) &&
               !__builtin_mul_overflow(product, static_cast<std::size_t>(factor), &next);
        product = next;
    };
    (multiply(factors), ...);
    return fits ? std::optional(product) : std::nullopt;
}

} // namespace base
