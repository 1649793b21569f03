// SPDX-License-Identifier: MIT
#include "subcommands.h"

void addAlphaOptions(Arguments& arguments, AlphaChange& change) {
    auto multiply = arguments.flag(
        "--premultiply", [&change] { change = AlphaChange::Premultiply; },
        "Multiply the colours by their alpha");
    multiply.exclude(arguments.flag(
        "--unpremultiply", [&change] { change = AlphaChange::Unpremultiply; },
        "Divide the colours by their alpha"));
}
