// SPDX-License-Identifier: MIT
// The subcommands: one file each, which registers itself and its options with the command line.
#pragma once

#include "driverSet.h"
#include "outcome.h"

namespace CLI {
class App;
}

/// What all subcommands share. A subcommand that was chosen leaves its exit status in `exit`.
struct Command {
    DriverOptions drivers;
    ExitCode exit = ExitCode::Done;
};

void addDrivers(CLI::App& app, Command& command);
void addQuery(CLI::App& app, Command& command);
void addInfo(CLI::App& app, Command& command);
void addConvert(CLI::App& app, Command& command);
void addCompare(CLI::App& app, Command& command);
void addView(CLI::App& app, Command& command);
void addScene(CLI::App& app, Command& command);
void addPlot(CLI::App& app, Command& command);
