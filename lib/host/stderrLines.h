// SPDX-License-Identifier: MIT
// The lines that a driver writes to its stderr, taken from the pipe without ever waiting for one.
// Nothing here throws; what could not be taken is remembered by `lost`.
#pragma once

#include "base/uniqueFd.h"

#include <functional>
#include <string>
#include <string_view>

namespace tdr {

class StderrLines {
  public:
    /// Takes the read end of the pipe and makes it non-blocking. `onLine` may be empty; moved from.
    void open(base::UniqueFd pipe, std::function<void(std::string_view)> onLine) noexcept;

    /// The descriptor to poll, or -1 once the pipe has ended.
    [[nodiscard]] int fd() const { return pipe_.get(); }

    /// Takes all that is there, and at most as much as a pipe can hold, so that a driver that never
    /// stops writing cannot keep the host here.
    void drain() noexcept;

    /// Drains and counts an unfinished line as a line: nothing belongs to it any more.
    void settle() noexcept;

    /// Settles and closes the pipe.
    void finish() noexcept;

    /// True once something that the driver wrote could not be read or kept.
    [[nodiscard]] bool lost() const { return lost_; }

    /// The last line so far; empty lines do not count.
    [[nodiscard]] const std::string& last() const { return last_; }

    /// The last line since `mark`, or empty.
    [[nodiscard]] std::string lastSinceMark() const { return fresh_ ? last_ : std::string(); }
    void mark() { fresh_ = false; }

    /// The first line since `forgetDamage` that tells of a damaged file, or empty.
    [[nodiscard]] const std::string& damage() const { return damage_; }
    void forgetDamage() { damage_.clear(); }

  private:
    void keep(std::string_view bytes) noexcept;
    void take(std::string_view bytes);
    void endLine();

    base::UniqueFd pipe_;
    std::function<void(std::string_view)> onLine_;
    std::string partial_;
    std::string last_;
    std::string damage_;
    bool fresh_ = false;
    bool lost_ = false;
};

} // namespace tdr
