// SPDX-License-Identifier: MIT
#pragma once

namespace bench {

/// Adds the rows of large mattes: three channels of 8192 x 8192 pixels, written and read as a TAG
/// file against memcpy of their bits, eight in a byte.
void addMattes();

} // namespace bench
