// SPDX-License-Identifier: MIT
#include "talkOptions.h"

void addTalkOptions(Arguments& arguments, bool& quiet, bool& verbose) {
    auto option = arguments.flag("-q,--quiet", quiet, "Report only failures");
    option.exclude(arguments.flag("-v,--verbose", verbose, "Report each file"));
}
