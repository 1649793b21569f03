// SPDX-License-Identifier: MIT
// Names for temporaries that say which process made them, so that a later one can tell whether it
// is gone.
#pragma once

#include <string>
#include <string_view>

/// A new name at each call: "tdr-WORLD-PID-START-NUMBER". WORLD is 16 hexadecimal digits that stand
/// for this boot of this machine, our pid namespace and our time namespace together: only within
/// one of these does a pid with its start time mean one process. (A 64-bit hash: two worlds that
/// share a folder are taken for one with a probability of 2^-64. Zeros: it cannot be known.)
[[nodiscard]] std::string ownMark();

/// True when `name` begins with a mark that a process of our own world made which is certainly
/// gone.
[[nodiscard]] bool isOfDeadProcess(std::string_view name);
