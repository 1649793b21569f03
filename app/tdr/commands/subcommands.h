// SPDX-License-Identifier: MIT
// The subcommands: one file each, which adds its arguments to the command line.
#pragma once

#include "arguments.h"
#include "output/outcome.h"
#include "pictures/alpha.h"
#include "pictures/driverSet.h"

#include <functional>
#include <span>
#include <string>
#include <vector>

/// Shared by all subcommands. The selected subcommand stores its exit status in `exit`, or in
/// `successor` the name of a program in the same folder to execute with the same arguments.
struct Command {
    DriverOptions drivers;
    ExitCode exit = ExitCode::Done;
    std::string successor;
};

struct Subcommand {
    const char* name;
    const char* help;
    /// Adds the subcommand's arguments and what it does.
    void (*add)(Arguments& arguments, Command& command);
    ExitCode failed = ExitCode::Failed; ///< the exit status if it runs out of memory
    bool knowsAll = false;              ///< it needs the arguments of all others
};

/// Runs a program with these subcommands; returns its exit status.
[[nodiscard]] int runCommand(int argc, char** argv, std::span<const Subcommand> subcommands);

void addCompletion(Arguments& arguments, Command& command);
void addDrivers(Arguments& arguments, Command& command);
void addQuery(Arguments& arguments, Command& command);
void addInfo(Arguments& arguments, Command& command);
void addCheck(Arguments& arguments, Command& command);
void addConvert(Arguments& arguments, Command& command);
void addHash(Arguments& arguments, Command& command);
void addCompare(Arguments& arguments, Command& command);
void addThumbnail(Arguments& arguments, Command& command);
void addView(Arguments& arguments, Command& command);
void addSalvage(Arguments& arguments, Command& command);
void addScene(Arguments& arguments, Command& command);
void addPlot(Arguments& arguments, Command& command);

/// Adds --premultiply and --unpremultiply, which exclude each other.
void addAlphaOptions(Arguments& arguments, AlphaChange& change);

/// `tdr view` and its function: tdr executes tdr-view, which calls `view`.
struct ViewOptions {
    std::vector<std::string> files;
    double rate = 25; ///< pictures a second while they are played
    AlphaChange alpha = AlphaChange::None;
};
void addViewWith(Arguments& arguments, std::function<void(const ViewOptions& options)> view);
inline constexpr char kViewHelp[] = "Show pictures in a window; q or Escape closes it";
