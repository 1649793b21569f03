// SPDX-License-Identifier: MIT
// From the arguments to the exit status, for tdr and for the program that it hands over to.
#include "console.h"
#include "subcommands.h"
#include "tdr/interruptGuard.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <exception>
#include <new>
#include <unistd.h>

namespace {

void addSharedOptions(CLI::App& app, DriverOptions& drivers) {
    app.add_option("--driver-dir", drivers.directories,
                   "Folder to look for drivers in too, before tdr's own (may be repeated)")
        ->type_name("DIR")
        ->check(CLI::ExistingDirectory)
        ->allow_extra_args(false);
    app.add_option("--timeout", drivers.timeout,
                   "Seconds to wait for an answer of a driver (default: 20 for its start, 120 for "
                   "a request)")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 1e6));
}

std::string checkNotEmpty(const std::string& value) {
    return value.empty() ? "may not be empty" : "";
}

/// Nothing on our command line has a use for an empty value: it comes from a variable that somebody
/// forgot to set, and some would mean something else then.
void refuseEmptyValues(CLI::App& app) {
    for (CLI::Option* option : app.get_options()) {
        option->check(checkNotEmpty);
    }
    for (CLI::App* sub : app.get_subcommands({})) {
        refuseEmptyValues(*sub);
    }
}

ExitCode run(int argc, char** argv, std::span<const AddSubcommand> subcommands, Command& command) {
    CLI::App app("Reads, converts and describes image files through their drivers.", "tdr");
    app.set_version_flag("--version", TDR_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    app.footer("Exit status: 0 done, 1 failed, 2 usage, 3 a driver could not be started or died.");
    addSharedOptions(app, command.drivers);
    for (const AddSubcommand add : subcommands) {
        add(app, command);
    }
    refuseEmptyValues(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& wanted) { // --help, --version
        std::ostringstream text;
        app.exit(wanted, text, text);
        return say(text.str());
    } catch (const CLI::ParseError& error) {
        // A word that nobody knows explains more than what is missing because of it.
        const auto unknown = app.remaining(true);
        complain(unknown.empty() ? error.what() : "unknown argument: " + unknown.front());
        complain("'tdr --help' shows what there is");
        return ExitCode::Usage;
    }
    return command.exit;
}

/// Becomes the program of that name beside this one. Returns when it cannot be executed.
ExitCode handOver(const std::string& program, char** argv) {
    const std::string path = ownDirectory() / program;
    ::execv(path.c_str(), argv);
    return complain(problemWith(path, errno));
}

} // namespace

int runCommand(int argc, char** argv, std::span<const AddSubcommand> subcommands) {
    Command command;
    ExitCode exit = ExitCode::Failed;
    {
        const tdr::InterruptGuard guard;
        try {
            exit = run(argc, argv, subcommands, command);
        } catch (const std::bad_alloc&) {
            complain("out of memory");
        } catch (const std::exception& error) {
            complain(error.what());
        }
    }
    if (const int signal = tdr::InterruptGuard::signal(); signal != 0) {
        tdr::InterruptGuard::endBySignal(signal);
    }
    if (!command.successor.empty()) { // only now, with the signals' own actions in force again
        exit = handOver(command.successor, argv);
    }
    return static_cast<int>(exit);
}
