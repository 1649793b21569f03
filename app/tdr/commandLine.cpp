// SPDX-License-Identifier: MIT
// From the arguments to the exit status, for tdr and for the program that it executes.
#include "commands/subcommands.h"
#include "files/replacedFile.h"
#include "output/console.h"
#include "output/wholeWrite.h"
#include "tdr/interruptGuard.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <new>
#include <string_view>
#include <unistd.h>

namespace {

void addSharedOptions(Arguments shared, DriverOptions& drivers) {
    shared
        .value("--driver-dir", "DIR", drivers.directories,
               "Folder to look for drivers in too, before tdr's own (may be repeated)")
        .existingFolder();
    shared
        .value("--timeout", "SECONDS", drivers.timeout,
               "Seconds to wait for an answer of a driver (default: 20 for its start, 120 for a "
               "request)")
        .range(0.001, 1e6);
    shared.flag("--sync", ReplacedFile::syncToDisk,
                "End only when the files written are on the disk");
}

/// Whether the arguments may select a subcommand: adding what all of them take would be a seventh
/// of the time before the first file.
class Selectable {
  public:
    Selectable(std::span<char*> arguments, std::span<const Subcommand> subcommands)
        : arguments_(arguments),
          all_(std::ranges::none_of(subcommands, [&](const auto& sub) { return isNamed(sub); }) ||
               std::ranges::any_of(subcommands, [&](const Subcommand& subcommand) {
                   return subcommand.knowsAll && isNamed(subcommand);
               })) {}

    [[nodiscard]] bool contains(const Subcommand& subcommand) const {
        return all_ || isNamed(subcommand);
    }

  private:
    [[nodiscard]] bool isNamed(const Subcommand& subcommand) const {
        return std::ranges::find(arguments_, std::string_view(subcommand.name)) != arguments_.end();
    }

    std::span<char*> arguments_;
    bool all_;
};

ExitCode run(int argc, char** argv, std::span<const Subcommand> subcommands, Command& command) {
    ArgumentParser parser("tdr", "Reads, converts and describes image files through their drivers.",
                          TDR_VERSION);
    Arguments all = parser.all();
    all.footer("Exit status: 0 done, 1 failed, 2 usage, 3 a driver could not be started or died.");
    addSharedOptions(all, command.drivers);
    const Selectable selectable({argv, static_cast<std::size_t>(argc)}, subcommands);
    for (const Subcommand& subcommand : subcommands) {
        Arguments arguments = all.subcommand(subcommand.name, subcommand.help);
        if (selectable.contains(subcommand)) {
            subcommand.add(arguments, command);
        }
    }
    const Parsed parsed = parser.parse(argc, argv);
    switch (parsed.as) {
    case Parsed::As::Run:
        return command.exit;
    case Parsed::As::Text:
        return say(parsed.text);
    case Parsed::As::Error:
        break;
    }
    warn(parsed.text);
    warn(parsed.usage);
    warn("'" + parsed.helper + "' shows what there is");
    return ExitCode::Usage;
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

/// Some library calls end the process when out of memory. A later run removes what is left.
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
        warn(error.what());
    }
    return outOfMemoryStatus;
}

} // namespace

int runCommand(int argc, char** argv, std::span<const Subcommand> subcommands) {
    openStandardStreams();
    std::signal(SIGCHLD, SIG_DFL); // inherited as ignored, it would hide how drivers end
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
