// SPDX-License-Identifier: MIT
#pragma once

/// The intended width to height ratio of a pixel: an implausible one (not a number, or outside 1/8
/// ... 8) counts as 1, because such a header was not filled in.
[[nodiscard]] constexpr double meantRatio(double ratio) {
    return ratio >= 0.125 && ratio <= 8 ? ratio : 1; // false for NaN
}
