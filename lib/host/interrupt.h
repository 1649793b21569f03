// SPDX-License-Identifier: MIT
// What the library's own waits need of the interrupt guard.
#pragma once

namespace tdr {

/// A descriptor that is readable once a guarded signal has come; -1 without a guard.
[[nodiscard]] int interruptFd();

/// True when a guard lives and its signal has come.
[[nodiscard]] bool interrupted();

} // namespace tdr
