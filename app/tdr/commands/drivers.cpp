// SPDX-License-Identifier: MIT
// tdr drivers: lists the drivers with their descriptions of themselves.
#include "output/console.h"
#include "output/table.h"
#include "pictures/driverSet.h"
#include "subcommands.h"

namespace {

/// The row of one driver, or why it has none.
tdr::Result<std::vector<std::string>> describe(const std::filesystem::path& program,
                                               const DriverOptions& options) {
    auto running = startDriver(program, options);
    if (!running) {
        return running.failure();
    }
    tdr::Session& driver = running->session;
    const auto vendor = driver.vendorName();
    const auto format = vendor ? driver.formatName() : vendor;
    if (!format) {
        return format.failure();
    }
    const auto naming = driver.fileNaming();
    if (!naming) {
        return naming.failure();
    }
    return std::vector{program.filename().string(),  printable(*vendor),         printable(*format),
                       printable(naming->extension), printable(naming->pattern), program.string()};
}

ExitCode listDrivers(const DriverOptions& options) {
    ExitCode exit = ExitCode::Done;
    for (const Problem& problem : driverlessDirectories(options)) {
        exit = worse(exit, fail(problem));
    }
    const auto programs = findDrivers(options);
    if (programs.empty()) {
        return fail({ExitCode::Failed, "no drivers found"});
    }
    Table table({"DRIVER", "VENDOR", "FORMAT", "ENDING", "SEQUENCE", "PROGRAM"});
    for (const auto& program : programs) {
        auto row = describe(program, options);
        if (row) {
            table.add(std::move(*row));
        } else {
            exit = worse(exit, fail(problemWith(row.failure())));
        }
    }
    return worse(exit, say(table.text()));
}

} // namespace

void addDrivers(Arguments& arguments, Command& command) {
    arguments.run([&command] { command.exit = listDrivers(command.drivers); });
}
