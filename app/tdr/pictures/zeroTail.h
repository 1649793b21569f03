// SPDX-License-Identifier: MIT
// Zero bytes at the end of a PIC picture or a TAG matte in place of its lines. A file system leaves
// them there for what was not yet written when the machine crashed.
#pragma once

#include "toolkitPicture.h"

#include <cstdint>

class ZeroTail {
  public:
    /// That of an open file. In a picture it is found only if all its lines are coded: of raw ones
    /// zero bytes are black pixels.
    static ZeroTail of(const ToolkitPicture& file);

    /// errno if the file could not be read.
    [[nodiscard]] int error() const { return error_; }

    /// Where the lines of any encoder have ended.
    [[nodiscard]] std::int64_t end() const { return end_; }

    /// True if no encoder writes a picture's line with these bytes: all of them are zero, or so
    /// many at its end that they are packets of one black pixel each. Of a matte: if some of them
    /// are zero; its words tell more.
    [[nodiscard]] bool cover(std::int64_t begin, std::int64_t end) const {
        return begin >= begin_ || end > certain_;
    }

    /// True if there are more zero bytes than a line has at its end.
    [[nodiscard]] bool isThere() const { return end_ > certain_; }

  private:
    static ZeroTail in(std::FILE* stream, std::int64_t lines, std::int64_t most);

    std::int64_t begin_ = INT64_MAX;   ///< of the zero bytes
    std::int64_t certain_ = INT64_MAX; ///< a line that goes on beyond this is none
    std::int64_t end_ = INT64_MAX;     ///< of the file, or of what can be lines
    int error_ = 0;
};
