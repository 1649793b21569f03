// SPDX-License-Identifier: MIT
// The checks that need no picture: what the driver reports, and what it refuses.
#include "lintTrial.h"

#include "output/formatted.h"

#include <algorithm>
#include <fstream>

namespace {

constexpr std::int16_t kNoCode = 1999; ///< of no query and no action

} // namespace

void lintIdentity(LintTrial& trial) {
    tdr::Session& driver = trial.driver();
    const auto vendor = driver.vendorName();
    const auto name = driver.formatName();
    trial.expect(vendor && !vendor->empty(), "no vendorName");
    trial.expect(name && !name->empty(), "no formatName");
    const auto naming = driver.fileNaming();
    if (naming) {
        trial.run.ending = naming->extension;
    }
    trial.expect(naming && naming->extension.size() > 1 && naming->extension.starts_with('.'),
                 "namingExtension is not an ending with its dot, so hosts do not find the driver");
    const auto count = driver.formatCount();
    if (!trial.expect(count && *count > 0, "no formats (formatCount, formats)")) {
        return;
    }
    for (std::int32_t i = 0; i < *count; ++i) {
        const auto format = driver.format(i);
        trial.expect(format && format->has_value(), formatted("format {} is missing", i));
    }
}

void lintSettings(LintTrial& trial) {
    tdr::Session& driver = trial.driver();
    const tdr::Bounds wanted{0, 0, 7, 5};
    if (trial.done(driver.setBounds(wanted), "set bounds")) {
        const auto bounds = driver.bounds();
        trial.expect(bounds && *bounds == wanted, "the bounds are not those that were set");
    }
    if (trial.done(driver.setPixelFormat(0), "set pixel format 0")) {
        const auto current = driver.currentFormat();
        trial.expect(current && *current == 0, "currentFormat is not the format that was set");
    }
    trial.refused(driver.order(kNoCode), "an unknown action");
    const auto unknown = driver.queryLongs(kNoCode);
    trial.refused(unknown ? tdr::Status() : tdr::Status(unknown.failure()), "an unknown query");
}

void lintWithoutFile(LintTrial& trial) {
    tdr::Session& driver = trial.driver();
    auto block = tdr::SharedBlock::create(4096);
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
    trial.refused(driver.connectToFile(pathOf("missing"), tdr::Access::Read), "a missing file");
    std::ofstream(pathOf("text")) << "A text, and not a picture at all, whatever its name says.\n";
    const auto text = driver.connectToFile(pathOf("text"), tdr::Access::Read);
    trial.refused(text, "a file of another format");
    trial.expect(text || text.failure().kind != tdr::FailureKind::Refused,
                 "a file of another format is refused with a line on standard error, which means "
                 "that it is damaged; refuse it without one");
}
