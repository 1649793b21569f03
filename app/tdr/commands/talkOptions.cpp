// SPDX-License-Identifier: MIT
#include "talkOptions.h"

void addTalkOptions(Arguments& arguments, bool& quiet, bool& verbose, const TalkHelp& help) {
    auto silence = arguments.flag("-q,--quiet", quiet, help.quiet);
    silence.exclude(arguments.flag("-v,--verbose", verbose, help.verbose));
}
