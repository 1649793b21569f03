// SPDX-License-Identifier: MIT
// What the jobs on pictures share.
#pragma once

#include "tdr/driver.h"

namespace tdr {

/// Ends a job that has failed: the driver closes its file, if it has one. The next job finds it as
/// after a start.
void letGo(Driver& driver);

} // namespace tdr
