// SPDX-License-Identifier: MIT
// tdr: pictures through drivers, from the command line.
#include "commands/subcommands.h"

int main(int argc, char** argv) {
    // In the order of the help.
    static constexpr Subcommand kSubcommands[] = {
        {"drivers", "List the drivers and what they say of themselves", addDrivers},
        {"query", "Ask a driver all sixteen queries", addQuery},
        {"info", "Tell what files are: who reads them, size, format", addInfo},
        {"check", "Tell which pictures, scenes, splines and hierarchies are whole", addCheck},
        {"convert", "Read a picture and write it in another format", addConvert},
        {"compare", "Tell whether two pictures have the same pixels", addCompare,
         ExitCode::NotCompared}, // a script reads 1 as "different"
        {"hash", "Print the MD5 of the pixels of pictures, whatever their formats", addHash},
        {"thumbnail", "Write a small PNG of a picture", addThumbnail},
        {"view", kViewHelp, addView},
        {"salvage", "Write the lines of a damaged PIC picture that can still be read", addSalvage},
        {"scene", "Check, reformat and convert .scn, .spl, .hrc files", addScene},
        {"plot", "Draw curves, splines or trees of a file as SVG", addPlot},
        {"completion", "Print what bash or zsh reads to complete these arguments", addCompletion,
         ExitCode::Failed, true},
    };
    return runCommand(argc, argv, kSubcommands);
}
