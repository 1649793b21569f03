// SPDX-License-Identifier: MIT
#include "outcome.h"

#include "tdr/interruptGuard.h"

#include <cctype>
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
                                      "damaged", "wrongKind", "driver", "noMemory"};
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

bool namesFile(std::string_view text, std::string_view file) {
    const auto isPartOfName = [&](std::size_t at) {
        constexpr std::string_view kOthers = "/._-";
        return at < text.size() && (std::isalnum(static_cast<unsigned char>(text[at])) != 0 ||
                                    kOthers.find(text[at]) != std::string_view::npos);
    };
    for (std::size_t at = text.find(file); at != std::string_view::npos;
         at = text.find(file, at + 1)) {
        if (!isPartOfName(at - 1) && !isPartOfName(at + file.size())) { // before 0 is npos
            return true;
        }
    }
    return false;
}

/// A signal from a terminal also reaches the drivers; their death is then not reported.
static bool isInterruption(const tdr::Failure& failure) {
    return tdr::InterruptGuard::signal() != 0 && exitCodeOf(failure.kind) == ExitCode::DriverFailed;
}

Problem problemWith(const tdr::Failure& failure) {
    return isInterruption(failure)
               ? Problem{ExitCode::Failed, "interrupted"}
               : Problem{exitCodeOf(failure.kind), failure.text(), causeOf(failure)};
}

Problem problemWith(std::string_view file, const tdr::Failure& failure) {
    if (isInterruption(failure)) {
        return {ExitCode::Failed, std::string(file) + ": interrupted"};
    }
    const bool named =
        (failure.kind == tdr::FailureKind::Refused && namesFile(failure.lastLine, file)) ||
        (failure.kind == tdr::FailureKind::Damaged && namesFile(failure.what, file));
    return {exitCodeOf(failure.kind), (named ? "" : std::string(file) + ": ") + failure.text(),
            causeOf(failure)};
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
