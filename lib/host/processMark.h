// SPDX-License-Identifier: MIT
// Names for temporary files that identify their process, so that a later one can tell whether it is
// gone.
#pragma once

#include <string>
#include <string_view>

namespace tdr {

/// A new name at each call: "tdr-WORLD-PID-START-NUMBER". WORLD is 16 hexadecimal digits for this
/// boot of this machine, our pid namespace and our time namespace together: only within one of
/// these does a pid with its start time identify one process. (It is a 64-bit hash: two worlds that
/// share a folder are confused with a probability of 2^-64. Zeros mean unknown.)
[[nodiscard]] std::string ownMark();

/// True when `name` begins with the mark of a process of our own world that is certainly gone.
[[nodiscard]] bool isOfDeadProcess(std::string_view name);

} // namespace tdr
