// SPDX-License-Identifier: MIT
// tdr: pictures through drivers, from the command line.
#include "commands/subcommands.h"

int main(int argc, char** argv) {
    // In the order of the help.
    static constexpr Subcommand kSubcommands[] = {
        {"drivers", addDrivers},
        {"query", addQuery},
        {"info", addInfo},
        {"convert", addConvert},
        {"compare", addCompare, ExitCode::NotCompared}, // a script reads 1 as "different"
        {"view", addView},
        {"scene", addScene},
        {"plot", addPlot},
    };
    return runCommand(argc, argv, kSubcommands);
}
