// SPDX-License-Identifier: MIT
// The options -q and -v of the subcommands that work on many files.
#pragma once

#include "arguments.h"

/// Adds them; they exclude each other.
void addTalkOptions(Arguments& arguments, bool& quiet, bool& verbose);
