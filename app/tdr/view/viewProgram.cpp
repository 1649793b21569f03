// SPDX-License-Identifier: MIT
// tdr-view, executed by `tdr view FILE...`: shows pictures in a window. No driver is left while it
// waits.
#include "commands/subcommands.h"
#include "viewer.h"

namespace {

void addViewHere(Arguments& arguments, Command& command) {
    addViewWith(arguments, [&command](const ViewOptions& options) {
        command.exit = Viewer(command.drivers, options).run();
    });
}

} // namespace

int main(int argc, char** argv) {
    static constexpr Subcommand kSubcommands[] = {{"view", kViewHelp, addViewHere}};
    return runCommand(argc, argv, kSubcommands);
}
