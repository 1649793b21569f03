// SPDX-License-Identifier: MIT
#pragma once

/// The width to height ratio of a pixel that a file means: one that no picture has (not a number,
/// or outside 1/8 ... 8) counts as 1, since such headers have never been filled in.
[[nodiscard]] constexpr double meantRatio(double ratio) {
    return ratio >= 0.125 && ratio <= 8 ? ratio : 1; // false for not a number
}
