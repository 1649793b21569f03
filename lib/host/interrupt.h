// SPDX-License-Identifier: MIT
// The part of the interrupt guard that the library's own waits use.
#pragma once

namespace tdr {

/// A descriptor that is readable once a guarded signal has arrived; -1 without a guard.
[[nodiscard]] int interruptFd();

/// True when a guard exists and its signal has arrived.
[[nodiscard]] bool interrupted();

} // namespace tdr
