// SPDX-License-Identifier: MIT
// The checks that need no picture: what the driver reports, and what it refuses.
#include "lintTrial.h"

#include "output/formatted.h"
#include "tdr/driverSearch.h"

#include <algorithm>
#include <fstream>

namespace {

constexpr std::int16_t kNoCode = 1999; ///< of no query and no action

/// Keeps it for the names of new files if names can end in it.
void lintEnding(LintTrial& trial, const std::string& ending) {
    trial.expect(ending.size() > 1 && ending.starts_with('.'),
                 "namingExtension is not an ending with its dot, so hosts do not find the driver");
    if (trial.expect(tdr::endsNames(ending), "namingExtension has a / or more than 32 bytes")) {
        trial.run.ending = ending;
    }
}

void lintFormats(LintTrial& trial) {
    const auto count = trial.answered(trial.driver().formatCount(), "format count");
    trial.expect(!count || *count > 0, "no formats (formatCount, formats)");
    for (std::int32_t i = 0; count && i < *count; ++i) {
        const auto format = trial.answered(trial.driver().format(i), formatted("format {}", i));
        if (!format || !trial.expect(format->has_value(), formatted("format {} is missing", i))) {
            return;
        }
    }
}

} // namespace

void lintIdentity(LintTrial& trial) {
    tdr::Session& driver = trial.driver();
    const auto vendor = trial.answered(driver.vendorName(), "vendor name");
    trial.expect(!vendor || !vendor->empty(), "no vendorName");
    const auto name = trial.answered(driver.formatName(), "format name");
    trial.expect(!name || !name->empty(), "no formatName");
    if (const auto naming = trial.answered(driver.fileNaming(), "file naming")) {
        lintEnding(trial, naming->extension);
    }
    trial.answered(driver.accessModes(), "access modes");
    trial.answered(driver.writeDirection(), "write direction");
    trial.answered(driver.currentFormat(), "current format");
    trial.answered(driver.bounds(), "bounds");
    trial.answered(driver.tiling(), "tiling");
    trial.answered(driver.stampBounds(), "stamp bounds");
    trial.answered(driver.currentCell(), "current cell");
    trial.answered(driver.startCell(), "start cell");
    trial.answered(driver.endCell(), "end cell");
    trial.answered(driver.defaultPreReadCommand(), "default pre-read command");
    trial.answered(driver.defaultPostWriteCommand(), "default post-write command");
    lintFormats(trial);
}

void lintSettings(LintTrial& trial) {
    tdr::Session& driver = trial.driver();
    const tdr::Bounds wanted{0, 0, 7, 5};
    if (trial.done(driver.setBounds(wanted), "set bounds")) {
        const auto bounds = trial.answered(driver.bounds(), "bounds");
        trial.expect(!bounds || *bounds == wanted, "the bounds are not those that were set");
    }
    if (trial.done(driver.setPixelFormat(0), "set pixel format 0")) {
        const auto current = trial.answered(driver.currentFormat(), "current format");
        trial.expect(!current || *current == 0, "currentFormat is not the format that was set");
    }
    trial.refused(driver.order(kNoCode), "an unknown action");
    const auto unknown = driver.queryLongs(kNoCode);
    trial.refused(unknown ? tdr::Status() : tdr::Status(unknown.failure()), "an unknown query");
}

void lintWithoutFile(LintTrial& trial) {
    tdr::Session& driver = trial.driver();
    auto block = trial.block(4096);
    if (!block || !trial.done(driver.setBounds({0, 0, 7, 5}), "set bounds")) {
        return;
    }
    trial.refused(driver.getLine(*block, 0), "get line without an open file");
    trial.refused(driver.putLine(*block, 0), "put line without an open file");
    trial.done(driver.disconnectFromFile(), "disconnect without an open file");
}

void lintForeignFiles(LintTrial& trial) {
    tdr::Session& driver = trial.driver();
    const auto pathOf = [&](const char* name) {
        return (trial.run.folder / (name + trial.run.ending)).native();
    };
    const auto missing = driver.connectToFile(pathOf("missing"), tdr::Access::Read);
    trial.refused(missing, "a missing file");
    trial.expect(missing || missing.failure().kind != tdr::FailureKind::NotMyFormat,
                 "a missing file is refused without a line on standard error, which means that it "
                 "has another format");
    std::ofstream(pathOf("text")) << "A text, and not a picture at all, whatever its name says.\n";
    const auto text = driver.connectToFile(pathOf("text"), tdr::Access::Read);
    trial.refused(text, "a file of another format");
    trial.expect(text || text.failure().kind != tdr::FailureKind::Refused,
                 "a file of another format is refused with a line on standard error, which means "
                 "that it is damaged; refuse it without one");
}
