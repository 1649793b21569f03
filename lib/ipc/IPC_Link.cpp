// SPDX-License-Identifier: MIT
#include "IPC_Link.h"

std::int32_t IPC_Link::population = 0;
