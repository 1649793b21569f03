// SPDX-License-Identifier: MIT
// The host library leads its drivers to a file; so does tdr.
#pragma once

#include "privateFolder.h"
#include "tdr/driverLink.h"

using tdr::DriverLink;
using tdr::FileNames;
