// SPDX-License-Identifier: MIT
// The lines of a damaged PIC picture that can still be read.
#pragma once

#include "lineChain.h"
#include "zeroTail.h"

#include <cstdint>
#include <vector>

/// Lines count from the top one, which is 0.
struct SalvagedLines {
    /// Where each line begins in the file; -1 for a lost one.
    std::vector<std::int64_t> begins;
    std::int32_t lostFirst = 0;   ///< the lost lines are one range
    std::int32_t lostEnd = 0;     ///< one past the last of them
    std::int64_t damageBegin = 0; ///< the bytes between the lines before and after them
    std::int64_t damageEnd = 0;

    [[nodiscard]] std::int32_t lost() const { return lostEnd - lostFirst; }
    [[nodiscard]] std::int64_t damaged() const { return damageEnd - damageBegin; }
};

/// Decides which lines of the picture are read and which are lost.
///
/// Those from the top are read as far as they can be decoded, and those from the bottom as far as
/// they can be found (see findLastLines). Both may go on for some lines behind the damage with
/// pixels that are not the picture's: such a line differs much from its neighbours, and is lost. If
/// no byte is missing between the lines, but lines are, their place is a guess: where two
/// neighbours differ most, or the end if none differ much.
[[nodiscard]] SalvagedLines salvageLines(ToolkitPicture& file, LinesAt& lines,
                                         const ZeroTail& zeros);
