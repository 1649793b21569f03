// SPDX-License-Identifier: MIT
// The subcommands: one file each, which registers itself and its options with the command line.
#pragma once

#include "output/outcome.h"
#include "pictures/alpha.h"
#include "pictures/driverSet.h"

#include <functional>
#include <span>
#include <string>

namespace CLI {
class App;
}

/// Shared by all subcommands. The selected subcommand stores its exit status in `exit`, or in
/// `successor` the name of a program in the same folder to execute with the same arguments.
struct Command {
    DriverOptions drivers;
    ExitCode exit = ExitCode::Done;
    std::string successor;
};

struct Subcommand {
    const char* name;
    void (*add)(CLI::App& app, Command& command);
    ExitCode failed = ExitCode::Failed; ///< the exit status if it runs out of memory
};

/// Runs a program with these subcommands; returns its exit status.
[[nodiscard]] int runCommand(int argc, char** argv, std::span<const Subcommand> subcommands);

void addDrivers(CLI::App& app, Command& command);
void addQuery(CLI::App& app, Command& command);
void addInfo(CLI::App& app, Command& command);
void addConvert(CLI::App& app, Command& command);
void addCompare(CLI::App& app, Command& command);
void addView(CLI::App& app, Command& command);
void addScene(CLI::App& app, Command& command);
void addPlot(CLI::App& app, Command& command);

/// `tdr view` and its function: tdr executes tdr-view, which calls `view`.
struct ViewOptions {
    std::string file;
    AlphaChange alpha = AlphaChange::None;
};
void addViewWith(CLI::App& app, std::function<void(const ViewOptions& options)> view);
