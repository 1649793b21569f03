// SPDX-License-Identifier: MIT
#include "tdr/result.h"

#include <array>
#include <cstddef>
#include <cstring>

namespace tdr {

namespace {

constexpr std::array kKindNames = {"CouldNotStart", "Refused",     "NotMyFormat",
                                   "Died",          "TimedOut",    "ProtocolBroken",
                                   "Interrupted",   "BadArgument", "NoMemory"};
static_assert(kKindNames.size() == static_cast<std::size_t>(FailureKind::NoMemory) + 1);

} // namespace

const char* nameOf(FailureKind kind) {
    return kKindNames[static_cast<std::size_t>(kind)];
}

std::string DriverEnd::text() const {
    if (!known) {
        return "unknown end";
    }
    if (signal != 0) {
        const char* description = ::sigdescr_np(signal);
        return "signal " + std::to_string(signal) + " (" +
               (description != nullptr ? description : "unknown") + ")";
    }
    return "exit status " + std::to_string(exitStatus);
}

std::string Failure::text() const {
    std::string all = what;
    if (end) {
        all += " (" + end->text() + ")";
    }
    if (!lastLine.empty()) {
        all += ": " + lastLine;
    }
    return all;
}

} // namespace tdr
