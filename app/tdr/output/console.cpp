// SPDX-License-Identifier: MIT
#include "console.h"

#include "formatted.h"
#include "progressLine.h"
#include "tdr/interruptGuard.h"
#include "utf8Text.h"
#include "wholeWrite.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace {

/// Escapes the C1 control characters, which terminals also obey, as JSON does. Other control
/// characters come only from the command itself.
std::string forTerminal(std::string text) {
    constexpr std::string_view kFirstByte = "\xc2";
    for (std::size_t at = text.find(kFirstByte); at != std::string::npos;
         at = text.find(kFirstByte, at + 1)) {
        const auto code = static_cast<unsigned char>(text.substr(at + 1, 1)[0]);
        if (code >= 0x80 && code < 0xA0) {
            text.replace(at, 2, formatted("\\u00{:02x}", code));
        }
    }
    return text;
}

/// Why stdout takes nothing more, or 0.
std::atomic<int> outputError = 0;

/// Where this thread's messages are collected, if they are.
thread_local std::string* collected = nullptr;

void putMessage(const std::string& line) {
    if (collected != nullptr) {
        *collected += line;
    } else {
        ProgressLine::hide();
        (void)writeWhole(STDERR_FILENO, line);
    }
}

} // namespace

CollectedMessages::CollectedMessages() {
    collected = &lines_;
}

CollectedMessages::~CollectedMessages() {
    collected = nullptr;
}

void showMessages(std::string_view lines) {
    ProgressLine::hide();
    (void)writeWhole(STDERR_FILENO, lines);
}

bool resultsAreWanted() {
    return outputError == 0 && verdictIsWanted();
}

bool verdictIsWanted() {
    return (outputError == 0 || outputError == EPIPE) && tdr::InterruptGuard::signal() == 0;
}

ExitCode say(std::string_view text) {
    if (outputError != 0) {
        return outputError == EPIPE ? ExitCode::Done : ExitCode::Failed;
    }
    const bool onTerminal = ::isatty(STDOUT_FILENO) == 1;
    if (onTerminal) {
        ProgressLine::hide();
    }
    const int error = onTerminal ? writeWhole(STDOUT_FILENO, forTerminal(std::string(text)))
                                 : writeWhole(STDOUT_FILENO, text);
    outputError = error;
    if (error == 0 || error == EPIPE) {
        return ExitCode::Done;
    }
    if (error != EINTR) { // a signal needs no message
        warn(std::string("standard output: ") + std::strerror(error));
    }
    return ExitCode::Failed;
}

void warn(std::string_view text) {
    putMessage("tdr: " + printable(text) + "\n");
}

ExitCode fail(const Problem& problem) {
    warn(problem.text);
    return problem.code;
}

void passOn(std::string_view driverLine) {
    putMessage(printable(driverLine) + "\n");
}

std::string printable(std::string_view text) {
    return utf8Text(text);
}
