// SPDX-License-Identifier: MIT
#include "outcome.h"

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
    case tdr::FailureKind::BadArgument:
    case tdr::FailureKind::NoMemory:
        break;
    }
    return ExitCode::Failed;
}

Problem problemWith(const tdr::Failure& failure) {
    return {exitCodeOf(failure.kind), failure.text()};
}

Problem problemWith(std::string_view file, const tdr::Failure& failure) {
    return {exitCodeOf(failure.kind), std::string(file) + ": " + failure.text()};
}

Problem problemWith(std::string_view file, int error) {
    return {ExitCode::Failed, std::string(file) + ": " + std::strerror(error)};
}
