// SPDX-License-Identifier: MIT
#include "tdr/result.h"

#include <array>
#include <cstddef>
#include <cstring>
#include <new>

namespace tdr {

namespace {

constexpr std::array kKindNames = {"CouldNotStart", "Refused",        "NotMyFormat", "Died",
                                   "TimedOut",      "ProtocolBroken", "Interrupted", "CannotOpen",
                                   "Damaged",       "BadArgument",    "NoMemory"};
static_assert(kKindNames.size() == static_cast<std::size_t>(FailureKind::NoMemory) + 1);

} // namespace

const char* nameOf(FailureKind kind) {
    return kKindNames[static_cast<std::size_t>(kind)];
}

std::string DriverEnd::text() const noexcept {
    try {
        if (known && signal != 0) {
            const char* description = ::sigdescr_np(signal);
            return "signal " + std::to_string(signal) + " (" +
                   (description != nullptr ? description : "unknown") + ")";
        }
        return known ? "exit status " + std::to_string(exitStatus) : "unknown end";
    } catch (const std::bad_alloc&) {
        return "unknown end"; // short enough to need no allocation
    }
}

std::string Failure::text() const noexcept {
    try {
        std::string all = what;
        if (end) {
            all += " (" + end->text() + ")";
        }
        if (!lastLine.empty()) {
            all += ": " + lastLine;
        }
        return all;
    } catch (const std::bad_alloc&) {
        return nameOf(kind); // also short enough
    }
}

} // namespace tdr
