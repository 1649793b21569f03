// SPDX-License-Identifier: MIT
// From the arguments to the exit status, for tdr and for the program that it executes.
#include "commands/subcommands.h"
#include "files/replacedFile.h"
#include "output/console.h"
#include "output/wholeWrite.h"
#include "tdr/interruptGuard.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <new>
#include <string_view>
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
    app.add_flag_callback("--sync", ReplacedFile::syncToDisk,
                          "End only when the files written are on the disk");
}

std::string checkNotEmpty(const std::string& value) {
    return value.empty() ? "may not be empty" : "";
}

/// No option or argument accepts an empty value: it usually comes from an unset variable, and for
/// some it would have another meaning.
void refuseEmptyValues(CLI::App& app) {
    for (CLI::Option* option : app.get_options()) {
        option->check(checkNotEmpty);
    }
    for (CLI::App* sub : app.get_subcommands({})) {
        refuseEmptyValues(*sub);
    }
}

ExitCode run(int argc, char** argv, std::span<const Subcommand> subcommands, Command& command) {
    CLI::App app("Reads, converts and describes image files through their drivers.", "tdr");
    app.set_version_flag("--version", TDR_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    app.footer("Exit status: 0 done, 1 failed, 2 usage, 3 a driver could not be started or died.");
    addSharedOptions(app, command.drivers);
    for (const Subcommand& subcommand : subcommands) {
        Arguments arguments(*app.add_subcommand(subcommand.name, subcommand.help));
        subcommand.add(arguments, command);
    }
    refuseEmptyValues(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& wanted) { // --help, --version
        std::ostringstream text;
        app.exit(wanted, text, text);
        return say(text.str());
    } catch (const CLI::ParseError& error) {
        // An unknown word explains more than the missing argument that results from it.
        const auto unknown = app.remaining(true);
        warn(unknown.empty() ? error.what() : "unknown argument: " + unknown.front());
        warn("'tdr --help' shows what there is");
        return ExitCode::Usage;
    }
    return command.exit;
}

/// Executes the program of that name in this one's folder. Returns only on failure.
ExitCode handOver(const std::string& program, char** argv) {
    const std::string path = ownDirectory() / program;
    ::execv(path.c_str(), argv);
    return fail(problemWith(path, errno));
}

/// Our files must not get the number of a closed standard stream. The replacement fails to be
/// written or read, like a closed stream.
void openStandardStreams() {
    constexpr int kModes[] = {O_WRONLY, O_RDONLY, O_RDONLY};
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (::fcntl(fd, F_GETFD) < 0) {
            [[maybe_unused]] const int lowestFree = ::open("/dev/null", kModes[fd]);
        }
    }
}

/// The exit status of the selected subcommand when out of memory, found without allocating.
ExitCode outOfMemoryStatus = ExitCode::Failed;

void setOutOfMemoryStatus(std::span<char*> arguments, std::span<const Subcommand> subcommands) {
    for (const std::string_view argument : arguments) {
        const auto chosen = std::ranges::find(subcommands, argument, &Subcommand::name);
        if (chosen != subcommands.end()) {
            outOfMemoryStatus = chosen->failed;
            return;
        }
    }
}

/// Some library calls end the process when out of memory. The next run removes what is left.
[[noreturn]] void endForWantOfMemory() {
    (void)writeWhole(STDERR_FILENO, "tdr: out of memory\n");
    std::_Exit(static_cast<int>(outOfMemoryStatus));
}

/// A run throws most likely because it is out of memory; its objects have cleaned up by then.
template <typename Run>
ExitCode withoutThrowing(Run run) {
    try {
        return run();
    } catch (const std::bad_alloc&) {
        (void)writeWhole(STDERR_FILENO, "tdr: out of memory\n");
    } catch (const std::exception& error) {
        (void)writeWhole(STDERR_FILENO, "tdr: ");
        (void)writeWhole(STDERR_FILENO, error.what());
        (void)writeWhole(STDERR_FILENO, "\n");
    }
    return outOfMemoryStatus;
}

} // namespace

int runCommand(int argc, char** argv, std::span<const Subcommand> subcommands) {
    openStandardStreams();
    setOutOfMemoryStatus({argv, static_cast<std::size_t>(argc)}, subcommands);
    std::set_terminate(endForWantOfMemory);
    Command command;
    ExitCode exit = ExitCode::Failed;
    {
        const tdr::InterruptGuard guard;
        exit = withoutThrowing([&] { return run(argc, argv, subcommands, command); });
    }
    if (const int signal = tdr::InterruptGuard::signal(); signal != 0) {
        tdr::InterruptGuard::endBySignal(signal);
    }
    if (!command.successor.empty()) { // only now, with the signals' original actions restored
        exit = withoutThrowing([&] { return handOver(command.successor, argv); });
    }
    return static_cast<int>(exit);
}
