// SPDX-License-Identifier: MIT
// The checks of writing: lines in any order, whole pictures, what has to be refused.
#include "lintPicture.h"

#include "output/console.h"

#include <algorithm>
#include <array>
#include <system_error>

namespace {

/// The orders in which the lines of a new picture are put.
constexpr std::array<std::array<std::int32_t, kLintHeight>, 3> kOrders = {
    {{4, 3, 2, 1, 0}, {0, 1, 2, 3, 4}, {2, 4, 0, 1, 3}}};

bool connectToWrite(LintTrial& trial, const std::string& path) {
    tdr::Session& driver = trial.driver();
    if (!trial.done(driver.setPixelFormat(0), "set pixel format 0") ||
        !trial.done(driver.setBounds({0, 0, kLintWidth, kLintHeight}), "set bounds")) {
        return false;
    }
    const auto connected = driver.connectToFile(path, tdr::Access::Write);
    if (isRefusal(connected) && trial.run.writtenFile.empty()) {
        const std::string& reason = connected.failure().lastLine;
        trial.note("it refuses to write, so writing is not checked" +
                   (reason.empty() ? "" : ": " + printable(reason)));
        return false;
    }
    return trial.done(connected, "connect for writing");
}

/// A driver that writes no files reads without them too, in the size that the host has set.
void checkFileless(LintTrial& trial, const std::string& path, const std::string& how) {
    const auto connected = trial.driver().connectToFile(path, tdr::Access::Read);
    if (isRefusal(connected)) {
        trial.fault("every request succeeds, but no file is there, " + how);
    } else if (trial.done(connected, "connect for reading")) {
        trial.note("it writes no file and reads without one, so reading is not checked");
    }
}

/// Reads a new file back; false when it is not as it was written, or when nothing is there.
bool checkWritten(LintTrial& trial, const std::string& path, const std::string& how) {
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
        checkFileless(trial, path, how);
        return false;
    }
    const auto picture = connect(trial, path);
    const auto lines = picture ? readLines(trial, *picture, true) : std::nullopt;
    if (!lines ||
        !trial.expect(lines->size() == kLintHeight, "the new picture has another height")) {
        return false;
    }
    for (std::int32_t line = 0; line < kLintHeight; ++line) {
        if (!trial.expect((*lines)[static_cast<std::size_t>(line)] == lineToWrite(line),
                          formatted("line {} has other pixels than were put, {}", line, how))) {
            return false;
        }
    }
    return trial.done(trial.driver().disconnectFromFile(), "disconnect after reading");
}

/// Connects and puts the lines in an order.
bool putLines(LintTrial& trial, const std::string& path, std::span<const std::int32_t> order) {
    auto block = trial.block(tdr::lineBytes(kLintWidth));
    if (!block || !connectToWrite(trial, path)) {
        return false;
    }
    for (const std::int32_t line : order) {
        std::ranges::copy(lineToWrite(line), block->bytes().begin());
        if (!trial.done(trial.driver().putLine(*block, line), formatted("put line {}", line))) {
            return false;
        }
    }
    return true;
}

/// Puts the lines in an order and reads them back.
bool writeLines(LintTrial& trial, const std::string& path, std::span<const std::int32_t> order) {
    std::string how;
    for (const std::int32_t line : order) {
        how += (how.empty() ? "when the lines come in the order " : ", ") + std::to_string(line);
    }
    return putLines(trial, path, order) &&
           trial.done(trial.driver().disconnectFromFile(), "disconnect after writing") &&
           checkWritten(trial, path, how);
}

void writeWhole(LintTrial& trial, const std::string& path) {
    auto block = trial.block(tdr::pictureBytes(kLintWidth, kLintHeight));
    if (!block || !transfersCaches(trial, tdr::Access::Write, "put cache") ||
        !connectToWrite(trial, path)) {
        return;
    }
    for (std::int32_t line = 0; line < kLintHeight; ++line) {
        std::ranges::copy(lineToWrite(line),
                          block->bytes().subspan(tdr::pictureBytes(kLintWidth, line)).begin());
    }
    const auto put = trial.driver().putCache(*block);
    if (!put && put.failure().kind == tdr::FailureKind::Refused) {
        trial.note("it refuses whole pictures; hosts put the lines");
    } else if (trial.done(put, "put cache") &&
               trial.done(trial.driver().disconnectFromFile(), "disconnect after writing")) {
        checkWritten(trial, path, "when they come as a whole picture");
    }
}

} // namespace

void lintWriting(LintTrial& trial) {
    for (const auto& order : kOrders) {
        const std::string path = newFile(trial, formatted("lines{}", order[0]));
        if (!writeLines(trial, path, order)) {
            return;
        }
        trial.run.writtenFile = path;
    }
    writeWhole(trial, newFile(trial, "whole"));
}

void lintWrongPuts(LintTrial& trial) {
    if (!connectToWrite(trial, newFile(trial, "refused"))) {
        return;
    }
    tdr::Session& driver = trial.driver();
    const Connected picture{kLintWidth, kLintHeight, tdr::lineBytes(kLintWidth)};
    refuseWrongLines(trial, picture, "put line",
                     [&](auto& block, std::int32_t line) { return driver.putLine(block, line); });
    auto block = trial.block(picture.lineBytes);
    if (block) {
        trial.refused(driver.getLine(*block, 0), "get line from a file that is being written");
        trial.refused(driver.putCache(*block), "put cache with a block of one line");
    }
    refuseAnotherSize(trial, picture);
}

void lintPostWrite(LintTrial& trial) {
    tdr::Session& driver = trial.driver();
    const std::filesystem::path ran = trial.run.folder / "ran"; // a byte for each time
    const auto times = [&] {
        std::error_code error;
        const auto size = std::filesystem::file_size(ran, error);
        return error ? 0 : size;
    };
    if (!trial.done(driver.setPostWriteCommand("echo >>'" + ran.native() + "';:"),
                    "set post-write command") ||
        !putLines(trial, newFile(trial, "first"), kOrders[0])) {
        return;
    }
    const auto before = times();
    const bool second = putLines(trial, newFile(trial, "second"), kOrders[0]);
    trial.expect(!second || times() > before,
                 "a connect while a written file is open does not run the post-write command");
    const auto between = times();
    trial.expect(!second || !trial.done(driver.disconnectFromFile(), "disconnect after writing") ||
                     times() > between,
                 "a disconnect after writing does not run the post-write command");
}
