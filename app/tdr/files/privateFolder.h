// SPDX-License-Identifier: MIT
// The private folder that tdr shares with the host library.
#pragma once

#include "tdr/privateFolder.h"

using tdr::pathOfDescriptor;
using tdr::PrivateFolder;
