// SPDX-License-Identifier: MIT
// The entry point of every driver process: arguments, the one driver object, the loop.
#include "TDR_Driver.h"

#include "attempt.h"
#include "base/diagnostics.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <string_view>
#include <unistd.h>

namespace {

constexpr int kBadUsage = -1;
constexpr int kNoDriver = -2;

struct Arguments {
    int port = 0;
    bool predicate = false;
};

void keepInvocationName(std::string_view path) {
    const std::string_view name = path.substr(path.rfind('/') + 1);
    *std::copy_n(name.begin(), std::min(name.size(), sizeof gInvocationName - 1), gInvocationName) =
        '\0';
}

int usage() {
    base::say("usage: %s [-ipc_link_port port#]\n", gInvocationName);
    return kBadUsage;
}

/// Parses the command line into `arguments`; false when it is wrong.
bool readArguments(int argc, char** argv, Arguments& arguments) {
    for (int i = 1; i < argc; ++i) {
        const std::string_view argument = argv[i];
        if (argument == "-ipc_link_port" && i + 1 < argc) {
            // Reads the leading number: "123xyz" is 123, "xyz" leaves the port unchanged.
            const char* const text = argv[++i];
            char* end = nullptr;
            const long port = std::strtol(text, &end, 10);
            arguments.port = end != text ? static_cast<int>(port) : arguments.port;
        } else if (argument == "-predicate") {
            arguments.predicate = true;
        } else {
            return false;
        }
    }
    return arguments.port != 0 || arguments.predicate;
}

/// Makes a write beyond the process's file size limit fail like one on a full disk instead of
/// ending the driver. Uses a handler, because an ignored signal would stay ignored in outside
/// commands.
void makeFileSizeLimitAnError() {
    struct sigaction action {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;
    sigaction(SIGXFSZ, &action, nullptr);
}

/// Opens closed standard descriptors on /dev/null: otherwise a picture file could get the number of
/// stderr and receive the messages. False when one stays closed.
bool fillStandardDescriptors() {
    const auto isOpen = [](int fd) {
        return fcntl(fd, F_GETFD) >= 0 || open("/dev/null", O_RDWR) == fd;
    };
    return isOpen(STDIN_FILENO) && isOpen(STDOUT_FILENO) && isOpen(STDERR_FILENO);
}

/// Tells the host and the caller whether the driver can work on this machine.
int answerPredicate(TDR_Driver& driver, bool hasHost) {
    const bool works = attempt(
                           gInvocationName, [&] { return driver.devicePredicate(); }, 0) != 0;
    if (hasHost) {
        works ? driver.sendOK() : driver.sendError();
    }
    return works ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    if (!fillStandardDescriptors()) {
        return kNoDriver;
    }
    keepInvocationName(argc > 0 ? argv[0] : "");
    Arguments arguments;
    if (!readArguments(argc, argv, arguments)) {
        return usage();
    }
    makeFileSizeLimitAnError();
    std::unique_ptr<TDR_Driver> driver;
    attempt(gInvocationName, [&] { return driver.reset(createDriver(arguments.port)), 0; });
    if (driver == nullptr || driver->status != 0) {
        std::_Exit(kNoDriver); // the driver never worked: nothing to shut down
    }
    if (arguments.predicate) {
        return answerPredicate(*driver, arguments.port != 0);
    }
    driver->sendOK();
    bool whole = true; // false after an event that threw: only shutdown is safe then
    const auto handleEvent = [&] { return driver->handleEvent(), 0; };
    do {
        whole = attempt(gInvocationName, handleEvent) == 0;
    } while (whole && gExitFlag == 0);
    driver.reset();
    return 0;
}
