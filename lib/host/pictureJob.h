// SPDX-License-Identifier: MIT
// Shared by the jobs on pictures.
#pragma once

#include "tdr/session.h"

namespace tdr {

/// Ends a failed job: the driver closes its file, if any. The next job finds the driver as after
/// its start.
void letGo(Session& driver);

} // namespace tdr
