// SPDX-License-Identifier: MIT
#include "talkOptions.h"

void addTalkOptions(Arguments& arguments, bool& quiet, bool& verbose) {
    auto silence = arguments.flag("-q,--quiet", quiet, "Report only failures");
    silence.exclude(arguments.flag("-v,--verbose", verbose, "Report each file"));
}
