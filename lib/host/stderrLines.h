// SPDX-License-Identifier: MIT
// The lines that a driver writes to its stderr, read from the pipe without blocking. Nothing here
// throws; `lost` tells whether a line could not be read.
#pragma once

#include "base/uniqueFd.h"

#include <functional>
#include <string>
#include <string_view>

namespace tdr {

class StderrLines {
  public:
    /// Takes the read end of the pipe and makes it non-blocking. `onLine` may be empty; it is moved
    /// from.
    void open(base::UniqueFd pipe, std::function<void(std::string_view)> onLine) noexcept;

    /// The descriptor to poll, or -1 once the pipe has ended.
    [[nodiscard]] int fd() const { return pipe_.get(); }

    /// Reads everything available, at most the capacity of a pipe, so that a driver that never
    /// stops writing cannot keep the host here.
    void drain() noexcept;

    /// Drains, and counts an unfinished line as complete.
    void settle() noexcept;

    /// Settles and closes the pipe.
    void finish() noexcept;

    /// True once a line of the driver could not be read or stored.
    [[nodiscard]] bool lost() const { return lost_; }

    /// The last line so far; empty lines and remarks about a file's version do not count.
    [[nodiscard]] const std::string& last() const { return last_; }

    /// The last line since `mark`, or empty.
    [[nodiscard]] std::string lastSinceMark() const { return fresh_ ? last_ : std::string(); }
    void mark() { fresh_ = false; }

    /// The first line since `forgetDamage` that reports a damaged file, or empty.
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
