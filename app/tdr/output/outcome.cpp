// SPDX-License-Identifier: MIT
#include "outcome.h"

#include "tdr/interruptGuard.h"

#include <cerrno>
#include <cstddef>
#include <cstring>

ExitCode exitCodeOf(tdr::FailureKind kind) {
    switch (kind) {
    case tdr::FailureKind::CouldNotStart:
    case tdr::FailureKind::Died:
    case tdr::FailureKind::TimedOut:
    case tdr::FailureKind::ProtocolBroken:
        return ExitCode::DriverFailed;
    case tdr::FailureKind::Refused:
    case tdr::FailureKind::NotMyFormat:
    case tdr::FailureKind::Interrupted:
    case tdr::FailureKind::CannotOpen:
    case tdr::FailureKind::Damaged:
    case tdr::FailureKind::BadArgument:
    case tdr::FailureKind::NoMemory:
        break;
    }
    return ExitCode::Failed;
}

const char* wordOf(Cause cause) {
    constexpr const char* kWords[] = {"failed",  "missing",   "empty",  "notAFile", "unreadable",
                                      "damaged", "wrongKind", "driver", "noMemory", "exists"};
    return kWords[static_cast<std::size_t>(cause)];
}

namespace {

Cause causeOf(const tdr::Failure& failure) {
    switch (failure.kind) {
    case tdr::FailureKind::Refused: // with a reason of the driver
    case tdr::FailureKind::Damaged:
        return Cause::Damaged;
    case tdr::FailureKind::CannotOpen:
        return Cause::Unreadable;
    case tdr::FailureKind::NotMyFormat:
        return Cause::WrongKind;
    case tdr::FailureKind::NoMemory:
        return Cause::NoMemory;
    default:
        return exitCodeOf(failure.kind) == ExitCode::DriverFailed ? Cause::Driver : Cause::Failed;
    }
}

Cause causeOf(int error) {
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return Cause::Missing;
    case EISDIR:
        return Cause::NotAFile;
    case ENOMEM:
        return Cause::NoMemory;
    default:
        return Cause::Unreadable;
    }
}

} // namespace

/// A signal from a terminal also reaches the drivers; their death is then not reported.
static bool isInterruption(const tdr::Failure& failure) {
    return tdr::InterruptGuard::signal() != 0 && exitCodeOf(failure.kind) == ExitCode::DriverFailed;
}

Problem problemWith(const tdr::Failure& failure) {
    return isInterruption(failure)
               ? Problem{ExitCode::Failed, "interrupted"}
               : Problem{exitCodeOf(failure.kind), failure.text(), causeOf(failure)};
}

/// The driver's name in "driver: request: how it failed"; empty if no driver has failed.
static std::string_view driverIn(std::string_view what) {
    const std::string_view name = what.substr(0, what.find(": "));
    return name.size() < what.size() && name.ends_with("Filter") &&
                   name.find(' ') == std::string_view::npos
               ? name
               : std::string_view();
}

/// What a line of a driver says about the file behind its name, if that is its form: "PNG Filter:
/// Unable to open file 'a.png' - IHDR: CRC error.", "PNG Filter: 'a.png': Permission denied" or
/// "tinyPicture: 'a.pic' ends inside its header."
static std::string_view reasonIn(std::string_view line, std::string_view file) {
    for (const char* between : {"' - ", "': ", "' "}) {
        const std::string name = "'" + std::string(file) + between;
        if (const std::size_t at = line.find(name); at != std::string_view::npos) {
            line.remove_prefix(at + name.size());
            line.remove_suffix(line.ends_with('.') ? 1 : 0);
            break;
        }
    }
    return line;
}

Problem problemWith(std::string_view file, const tdr::Failure& failure) {
    if (isInterruption(failure)) {
        return {ExitCode::Failed, std::string(file) + ": interrupted"};
    }
    const std::string_view driver = driverIn(failure.what);
    const bool hasReason = exitCodeOf(failure.kind) == ExitCode::Failed && !driver.empty() &&
                           !failure.lastLine.empty();
    const std::string request =
        failure.text().substr(driver.empty() ? 0 : driver.size() + std::strlen(": "));
    std::string text = std::string(file) + ": ";
    text += hasReason ? reasonIn(failure.lastLine, file) : std::string_view(request);
    text += driver.empty() ? "" : " (" + std::string(driver) + ")";
    return {exitCodeOf(failure.kind), text, causeOf(failure)};
}

Problem problemWith(std::string_view file, const Problem& problem) {
    return {problem.code, std::string(file) + ": " + problem.text, problem.cause};
}

Problem problemWith(std::string_view file, int error) {
    if (error == EINTR && tdr::InterruptGuard::signal() != 0) {
        return {ExitCode::Failed, std::string(file) + ": interrupted"};
    }
    return {ExitCode::Failed, std::string(file) + ": " + std::strerror(error), causeOf(error)};
}
