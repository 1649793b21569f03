// SPDX-License-Identifier: MIT
// The subcommands: one file each, which registers itself and its options with the command line.
#pragma once

#include "driverSet.h"
#include "outcome.h"

#include <functional>
#include <span>
#include <string>

namespace CLI {
class App;
}

/// What all subcommands share. A subcommand that was chosen leaves its exit status in `exit`, or in
/// `successor` the name of the program beside this one that goes on with the same arguments.
struct Command {
    DriverOptions drivers;
    ExitCode exit = ExitCode::Done;
    std::string successor;
};

using AddSubcommand = void (*)(CLI::App& app, Command& command);

/// The whole run of a program that knows these subcommands: its exit status.
[[nodiscard]] int runCommand(int argc, char** argv, std::span<const AddSubcommand> subcommands);

void addDrivers(CLI::App& app, Command& command);
void addQuery(CLI::App& app, Command& command);
void addInfo(CLI::App& app, Command& command);
void addConvert(CLI::App& app, Command& command);
void addCompare(CLI::App& app, Command& command);
void addView(CLI::App& app, Command& command);
void addScene(CLI::App& app, Command& command);
void addPlot(CLI::App& app, Command& command);

/// `tdr view` with what it does: tdr hands over to tdr-view, and that one calls `view`.
void addViewWith(CLI::App& app, std::function<void(const std::string& file)> view);
