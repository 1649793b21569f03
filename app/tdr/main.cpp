// SPDX-License-Identifier: MIT
// tdr: pictures through drivers, from the command line.
#include "commands/subcommands.h"

int main(int argc, char** argv) {
    // In the order of the help.
    static constexpr AddSubcommand kSubcommands[] = {
        addDrivers, addQuery, addInfo, addConvert, addCompare, addView, addScene, addPlot,
    };
    return runCommand(argc, argv, kSubcommands);
}
