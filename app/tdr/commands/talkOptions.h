// SPDX-License-Identifier: MIT
// The options -q and -v of the subcommands that work on many files.
#pragma once

#include "arguments.h"

/// What a subcommand does for them.
struct TalkHelp {
    const char* quiet = "Show no progress";
    const char* verbose = "Report the time that each file takes";
};

/// Adds them; they exclude each other.
void addTalkOptions(Arguments& arguments, bool& quiet, bool& verbose, const TalkHelp& help = {});
